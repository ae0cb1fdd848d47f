// What the element factory test and its test plug-in modules agree on.
#pragma once

#include "platform/wintypes.h"

namespace vx::plugins::testplugin {

// A group ("TestGroup") whose sub-elements, at bounds 3 to 7, are: a token ("Token", a credential with a
// site), a null IUnknown, another token, an object that is no element, an empty entry.
constexpr GUID kClsidGroup = {0x5c1f0a01, 0x7d2e, 0x4b8a, {0x9e, 0x31, 0x0c, 0x4d, 0x6a, 0x11, 0x20, 0x01}};
// A class whose class object refuses to create anything, with kFactoryFailure.
constexpr GUID kClsidRefusing = {0x5c1f0a01, 0x7d2e, 0x4b8a, {0x9e, 0x31, 0x0c, 0x4d, 0x6a, 0x11, 0x20, 0x03}};
// Any other class: DllGetClassObject answers CLASS_E_CLASSNOTAVAILABLE.
constexpr GUID kClsidUnknown = {0x5c1f0a01, 0x7d2e, 0x4b8a, {0x9e, 0x31, 0x0c, 0x4d, 0x6a, 0x11, 0x20, 0xff}};

constexpr HRESULT kFactoryFailure = static_cast<HRESULT>(0x80040112);  // CLASS_E_NOTLICENSED
constexpr ULONG kTokenMask = 0x80000000u;                              // as VT_UI4
// What SetSite answers for a null site, so that the test tells it from a site that arrived.
constexpr HRESULT kNoSite = S_FALSE;

// The export "VxTestLiveObjects": how many objects of the module are alive.
using LiveObjectsFunction = LONG(WINAPI*)();

}  // namespace vx::plugins::testplugin
