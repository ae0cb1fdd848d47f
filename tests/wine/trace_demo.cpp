// A small Windows program that traces a few scopes through the facility, configured by the real
// registry: nested scopes on two threads, messages, a checked failure that unwinds to a boundary.
#include <thread>

#include "support/check.h"
#include "support/win32/trace_win32.h"

namespace {

HRESULT Denied() { return E_ACCESSDENIED; }

HRESULT Operation(int round) {
  VXTraceNS::CTraceScope scope("CTraceDemo::Operation");
  return vx::HResultBoundary(scope, [&]() -> HRESULT {
    scope.Message("round %d of %s, wide %ls", round, "demo", u"\u00e9t\u00e9");
    if (round == 2) VX_CHECK(Denied());
    return S_OK;
  });
}

void Worker() {
  VXTraceNS::CTraceScope scope("CTraceDemo::Worker");
  for (int round = 1; round <= 3; ++round) Operation(round);
}

}  // namespace

int main() {
  VXTraceNS::CWin32Trace trace;
  VXTraceNS::CTraceScope scope("CTraceDemo::main");
  std::thread worker(Worker);
  worker.join();
  Operation(1);
  return 0;
}
