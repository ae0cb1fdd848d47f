// A test WMI locator served by a COM DLL of its own (vx_rsop_test_server.dll), registered in the test
// prefix only. It answers the registry policy query of a few fixed namespaces and logs what it is asked.
#pragma once

#include "platform/wintypes.h"

#include <objbase.h>

namespace vx::rsop::testserver {

// The locator's class: {5808847F-1A6C-4D6F-B9A9-D2B53F5E03DA}.
inline constexpr CLSID kLocatorClsid = {0x5808847f, 0x1a6c, 0x4d6f, {0xb9, 0xa9, 0xd2, 0xb5, 0x3f, 0x5e, 0x03, 0xda}};
inline constexpr wchar_t kLocatorClsidText[] = L"{5808847F-1A6C-4D6F-B9A9-D2B53F5E03DA}";
inline constexpr wchar_t kModuleName[] = L"vx_rsop_test_server.dll";

// The policy settings of the fixture (see rsop_fixture.cpp).
inline constexpr wchar_t kSettingsNamespace[] = L"\\\\.\\root\\rsop\\vxtest\\settings";
// One good object, then Next fails with kBrokenNextResult.
inline constexpr wchar_t kBrokenNamespace[] = L"\\\\.\\root\\rsop\\vxtest\\broken";
inline constexpr HRESULT kBrokenNextResult = static_cast<HRESULT>(0x80041001);  // WBEM_E_FAILED
// Any other namespace: ConnectServer gives WBEM_E_INVALID_NAMESPACE.

// Exports, found with GetProcAddress once the locator is created.
// Copies the calls logged so far (one per line) into buffer and forgets them.
using TakeCallsFunction = HRESULT(WINAPI*)(wchar_t* buffer, int chars);
inline constexpr char kTakeCallsExport[] = "VxRsopTestTakeCalls";
// COM objects of the server that are still alive.
using LiveObjectsFunction = LONG(WINAPI*)();
inline constexpr char kLiveObjectsExport[] = "VxRsopTestLiveObjects";

}  // namespace vx::rsop::testserver
