// A small Windows program that traces through the facility as configured in the real registry: scopes on
// two threads, a message with narrow and wide arguments, a checked failure that unwinds to a boundary.
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

}  // namespace

int main() {
  VXTraceNS::CWin32Trace trace;
  VXTraceNS::CTraceScope scope("CTraceDemo::main");
  std::thread worker([] {
    for (int round = 1; round <= 3; ++round) Operation(round);
  });
  worker.join();
  Operation(1);
}
