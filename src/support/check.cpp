#include "support/check.h"

#include "platform/format.h"
#include "platform/text.h"

namespace vx {

namespace {
constexpr size_t kMaxCheckText = 2047;
}

HRESULT CheckResult(HRESULT hr, const char* expression, const char* file, int line) noexcept {
  if (SUCCEEDED(hr)) return hr;
  try {
    const std::string text = FormatNarrowV(
        "[%d : %s] %s",
        std::initializer_list<FormatArg>{line, std::string(FileNamePart(file ? file : "")), expression ? expression : ""},
        kMaxCheckText);
    VXTraceNS::CTraceScope scope(" ");
    VXTraceNS::TraceResult(scope, text.c_str(), hr);
  } catch (...) {
    // Tracing a failure must never change it.
  }
  return hr;
}

void ThrowHResult(HRESULT hr) { throw CHResultError(hr); }

}  // namespace vx
