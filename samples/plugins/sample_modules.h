// What each sample module describes: its class and its element, or a group with its members.
#pragma once

#include <windows.h>

#include <cstddef>

namespace vxsample {

// One element of the contract. A credential also answers IKELTCredential.
struct ElementDescription {
  const wchar_t* name;
  const wchar_t* displayString;
  bool hasOrderHint;
  LONG orderHint;
  bool credential;
  ULONGLONG mask;
  bool maskAsUI8;  // VT_UI8 instead of VT_UI4
  ULONG rawType;   // 1 or 2 primary or secondary, 3 secondary only
  bool reliable;
  WORD icon;  // icon resource of this module (sample_icons.h) answered as eKELT_LST_ICON; 0: none
};

// One module: the class it serves and the element its class object creates. A group element
// lists its members, which the module creates itself and hands out through the sub-elements property.
struct ModuleDescription {
  const wchar_t* clsid;
  ElementDescription element;
  const ElementDescription* members;
  size_t memberCount;
};

// The module this DLL was built as (chosen by VX_SAMPLE_<NAME> at compile time).
const ModuleDescription& ThisModule();

}  // namespace vxsample
