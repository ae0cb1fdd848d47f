// A COM VARIANT as the core sees it: the variant type is kept, so "not a VT_BSTR" or "not a VT_I4"
// stays a rule the core can state and test. The Win32 adapters convert real VARIANTs into it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/wintypes.h"

namespace vx {

// The VARTYPE codes used by the system (same values as the platform's).
enum VarType : std::uint16_t {
  kVtEmpty = 0,
  kVtNull = 1,
  kVtI4 = 3,
  kVtBstr = 8,
  kVtBool = 11,
  kVtUnknown = 13,
  kVtUi1 = 17,
  kVtUi4 = 19,
  kVtUi8 = 21,
  kVtArray = 0x2000,
};

struct Variant {
  std::uint16_t vt = kVtEmpty;
  std::int64_t integer = 0;       // VT_I4 (sign-extended), VT_UI4, VT_UI8, VT_BOOL (0 or -1)
  std::u16string text;            // VT_BSTR
  bool nullString = false;        // a VT_BSTR whose BSTR is null
  std::vector<BYTE> bytes;        // VT_ARRAY | VT_UI1

  static Variant Empty() { return {}; }
  static Variant I4(std::int32_t v) { Variant r; r.vt = kVtI4; r.integer = v; return r; }
  static Variant Ui4(std::uint32_t v) { Variant r; r.vt = kVtUi4; r.integer = v; return r; }
  static Variant Ui8(std::uint64_t v) { Variant r; r.vt = kVtUi8; r.integer = static_cast<std::int64_t>(v); return r; }
  static Variant Bool(bool v) { Variant r; r.vt = kVtBool; r.integer = v ? -1 : 0; return r; }
  static Variant Bstr(std::u16string v) { Variant r; r.vt = kVtBstr; r.text = std::move(v); return r; }
  static Variant NullBstr() { Variant r; r.vt = kVtBstr; r.nullString = true; return r; }
  static Variant Bytes(std::vector<BYTE> v) { Variant r; r.vt = kVtArray | kVtUi1; r.bytes = std::move(v); return r; }

  bool IsString() const { return vt == kVtBstr && !nullString; }
  bool IsByteArray() const { return vt == (kVtArray | kVtUi1); }
};

}  // namespace vx
