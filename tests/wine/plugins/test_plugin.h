// What the element factory test and its test plug-in modules agree on.
#pragma once

#include "platform/wintypes.h"

namespace vx::plugins::testplugin {

// A group ("TestGroup", hint -5) whose sub-elements, at bounds 3 to 7, are: the "Password" token,
// a null IUnknown, the "Fingerprint" token (with a site), an object that is no element, a string.
constexpr GUID kClsidGroup = {0x5c1f0a01, 0x7d2e, 0x4b8a, {0x9e, 0x31, 0x0c, 0x4d, 0x6a, 0x11, 0x20, 0x01}};
// The "Password" token alone (hint 42, mask VT_UI4 0x80000000, raw type 1, reliable).
constexpr GUID kClsidPassword = {0x5c1f0a01, 0x7d2e, 0x4b8a, {0x9e, 0x31, 0x0c, 0x4d, 0x6a, 0x11, 0x20, 0x02}};
// A class whose class object refuses to create anything, with kFactoryFailure.
constexpr GUID kClsidRefusing = {0x5c1f0a01, 0x7d2e, 0x4b8a, {0x9e, 0x31, 0x0c, 0x4d, 0x6a, 0x11, 0x20, 0x03}};
// Any other class: DllGetClassObject answers CLASS_E_CLASSNOTAVAILABLE.
constexpr GUID kClsidUnknown = {0x5c1f0a01, 0x7d2e, 0x4b8a, {0x9e, 0x31, 0x0c, 0x4d, 0x6a, 0x11, 0x20, 0xff}};

constexpr HRESULT kFactoryFailure = static_cast<HRESULT>(0x80040112);  // CLASS_E_NOTLICENSED

// Exports besides DllGetClassObject.
using LiveObjectsFunction = LONG(WINAPI*)();          // "VxTestLiveObjects": objects of the module alive
using SiteStateFunction = LONG(WINAPI*)();            // "VxTestSiteState": 1 site set, 0 none, -1 never called

}  // namespace vx::plugins::testplugin
