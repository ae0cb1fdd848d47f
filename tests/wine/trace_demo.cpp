// A small Windows program that traces through the facility as configured in the real registry: nested
// scopes, a message with narrow and wide arguments, a checked failure that unwinds to a boundary.
#include "support/check.h"
#include "support/win32/trace_win32.h"

namespace {

HRESULT Operation(int round) {
  VXTraceNS::CTraceScope scope("CTraceDemo::Operation");
  return vx::HResultBoundary(scope, [&]() -> HRESULT {
    scope.Message("round %d of %s, wide %ls", round, "demo", u"\u00e9t\u00e9");
    if (round == 2) VX_CHECK(E_ACCESSDENIED);
    return S_OK;
  });
}

}  // namespace

int main() {
  VXTraceNS::CWin32Trace trace;
  VXTraceNS::CTraceScope scope("CTraceDemo::main");
  for (int round = 1; round <= 4; ++round) Operation(round);
}
