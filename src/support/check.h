// Checking and reporting failures. A failed step is traced once, where it is first seen, with its
// expression text, source file and line (CheckResult), then travels as a CHResultError to the nearest
// operation that returns an HRESULT, which turns it back into its code (HResultBoundary).
#pragma once

#include <exception>
#include <new>
#include <type_traits>
#include <utility>

#include "platform/wintypes.h"
#include "support/trace.h"

namespace vx {

// The only exception the system throws on purpose.
class CHResultError : public std::exception {
 public:
  explicit CHResultError(HRESULT hr) : m_hr(hr) {}
  HRESULT Code() const { return m_hr; }
  const char* what() const noexcept override { return "HRESULT failure"; }

 private:
  HRESULT m_hr;
};

// Returns hr. For a failure, traces "[line : file] expression" in a scope named " ".
HRESULT CheckResult(HRESULT hr, const char* expression, const char* file, int line) noexcept;

[[noreturn]] void ThrowHResult(HRESULT hr);
inline void ThrowIfFailed(HRESULT hr) {
  if (FAILED(hr)) ThrowHResult(hr);
}

namespace detail {
// Only an HRESULT may be checked as a call result: a BOOL or a Win32 code would pass silently.
template <class T>
HRESULT CheckedHResult(T value) {
  static_assert(std::is_same_v<T, HRESULT>, "a checked call must return an HRESULT");
  return value;
}
}  // namespace detail

// Runs body (returning an HRESULT): an error object becomes its code, exhausted memory E_OUTOFMEMORY,
// any other exception E_UNEXPECTED (both traced). For callers that write their own result record.
template <class Body>
HRESULT HResultGuard(Body&& body) noexcept {
  try {
    return body();
  } catch (const CHResultError& error) {
    return error.Code();
  } catch (const std::bad_alloc&) {
    return CheckResult(E_OUTOFMEMORY, "E_OUTOFMEMORY", __FILE__, __LINE__);
  } catch (...) {
    return CheckResult(E_UNEXPECTED, "E_UNEXPECTED", __FILE__, __LINE__);
  }
}

// An operation's boundary: HResultGuard, then the scope's result record.
template <class Body>
HRESULT HResultBoundary(VXTraceNS::CTraceScope& scope, Body&& body) noexcept {
  const HRESULT hr = HResultGuard(std::forward<Body>(body));
  VXTraceNS::TraceResult(scope, "", hr);
  return hr;
}

}  // namespace vx

// The call check: the call's result, with the call's own text.
#define VX_CHECK(call) \
  ::vx::ThrowIfFailed(::vx::CheckResult(::vx::detail::CheckedHResult((call)), #call, __FILE__, __LINE__))

// A pointer that must be set; null gives E_POINTER.
#define HPTR(p) \
  ::vx::ThrowIfFailed(::vx::CheckResult((p) ? S_OK : E_POINTER, "HPTR(" #p ")", __FILE__, __LINE__))

// A condition that must hold; false gives E_POINTER.
#define _COM_TEST_BOOL(condition)                                                                  \
  do {                                                                                             \
    if (!(condition))                                                                              \
      ::vx::ThrowHResult(::vx::CheckResult(E_POINTER, "_COM_TEST_BOOL(" #condition ")", __FILE__, __LINE__)); \
  } while (0)

// A Win32 error code that must be 0.
#define _W32_TEST_ERROR(error)                                                                    \
  do {                                                                                            \
    const long vx_w32_error_ = static_cast<long>(error);                                          \
    if (vx_w32_error_ != 0)                                                                       \
      ::vx::ThrowHResult(                                                                         \
          ::vx::CheckResult(::vx::HResultFromWin32(vx_w32_error_), "_W32_TEST_ERROR", __FILE__, __LINE__)); \
  } while (0)

// A path that must not be reached.
#define VX_UNEXPECTED() ::vx::ThrowHResult(::vx::CheckResult(E_UNEXPECTED, "E_UNEXPECTED", __FILE__, __LINE__))
