// What the element factory test and its test plug-in modules agree on.
#pragma once

#include "platform/wintypes.h"

namespace vx::plugins::testplugin {

// A group whose sub-elements, at bounds 3 to 6, are: a token (a credential with a site, answering no
// property), a null IUnknown, an object that is no element, an empty entry. Other classes are not available.
constexpr GUID kClsidGroup = {0x5c1f0a01, 0x7d2e, 0x4b8a, {0x9e, 0x31, 0x0c, 0x4d, 0x6a, 0x11, 0x20, 0x01}};
// A class whose class object refuses to create anything, with CLASS_E_NOTLICENSED.
constexpr GUID kClsidRefusing = {0x5c1f0a01, 0x7d2e, 0x4b8a, {0x9e, 0x31, 0x0c, 0x4d, 0x6a, 0x11, 0x20, 0x03}};

// What SetSite answers for a null site, so that the test tells it from a site that arrived.
constexpr HRESULT kNoSite = S_FALSE;

}  // namespace vx::plugins::testplugin
