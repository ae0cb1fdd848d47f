// User-facing ports: message boxes, language resource strings, and the texts of error codes.
#pragma once

#include <string>
#include <string_view>

#include "platform/wintypes.h"

namespace vx::platform {

class IMessageBox {
 public:
  virtual ~IMessageBox() = default;
  // MessageBoxW: returns the button pressed (IDOK ...), 0 when no box could be shown.
  virtual int Show(HWND owner, std::u16string_view text, std::u16string_view caption, UINT type) = 0;
};

class IStringTable {
 public:
  virtual ~IStringTable() = default;
  // The text of a string identifier of the language resources; empty when there is none.
  virtual std::u16string LoadText(UINT id) = 0;
};

// The maker's UI library VXFPApiUI, loaded at run time: it gives the user-facing text of an HRESULT.
class IErrorTextLibrary {
 public:
  virtual ~IErrorTextLibrary() = default;
  // KELTFormatMessage(hr, flags, &buffer). An implementation whose library or function is missing
  // answers a failure and leaves *buffer null.
  virtual HRESULT FormatMessage(HRESULT hr, DWORD flags, char16_t** buffer) = 0;
  // KELTBufferFree(buffer).
  virtual void BufferFree(char16_t* buffer) = 0;
};

// The system's own message table (FormatMessageW from the system).
class ISystemMessages {
 public:
  virtual ~ISystemMessages() = default;
  // False when the system has no text for the code.
  virtual bool Lookup(HRESULT hr, std::u16string& text) = 0;
};

}  // namespace vx::platform
