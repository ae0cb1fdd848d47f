// One owner template for every kind of system handle, and typed GetProcAddress.
#pragma once

#include <memory>
#include <type_traits>

#include "platform/wintypes.h"

namespace vx::platform {

// A deleter that closes with the given function; null and INVALID_HANDLE_VALUE are never closed.
template <auto Close>
struct CloseWith {
  template <class Handle>
  void operator()(Handle handle) const {
    if (handle != nullptr && handle != INVALID_HANDLE_VALUE) Close(handle);
  }
};

using UniqueHandle = std::unique_ptr<void, CloseWith<&::CloseHandle>>;
using UniqueFindHandle = std::unique_ptr<void, CloseWith<&::FindClose>>;
using UniqueLibrary = std::unique_ptr<std::remove_pointer_t<HMODULE>, CloseWith<&::FreeLibrary>>;
using UniqueKey = std::unique_ptr<std::remove_pointer_t<HKEY>, CloseWith<&::RegCloseKey>>;
template <class T>
using UniqueLocal = std::unique_ptr<T, CloseWith<&::LocalFree>>;

template <class Function>
Function ProcAddress(HMODULE module, const char* name) {
  // Through void*: FARPROC and the real signature are unrelated function types.
  return reinterpret_cast<Function>(reinterpret_cast<void*>(::GetProcAddress(module, name)));
}

}  // namespace vx::platform
