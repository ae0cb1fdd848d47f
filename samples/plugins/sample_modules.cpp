// The sample plug-ins, one description per module. The hints are chosen to show the ordering rules:
// Fingerprint and Smart card both ask for 20 (Smart card, enumerated later, moves to 21), One-time code
// asks for 20 as well and, finding 21 taken too, goes after every hinted element; Voice asks for -1,
// which as an unsigned number sorts after every other hint.
#include "sample_modules.h"

#include "sample_clsids.h"
#include "sample_icons.h"

namespace vxsample {

namespace {

#if defined(VX_SAMPLE_PASSWORD)
constexpr ModuleDescription kModule{
    VX_SAMPLE_CLSID_PASSWORD,
    {L"Password", L"Password", true, 10, true, 0x1, false, 1, true, VX_SAMPLE_ICON_ELEMENT},
    nullptr,
    0};
#elif defined(VX_SAMPLE_FINGERPRINT)
constexpr ModuleDescription kModule{
    VX_SAMPLE_CLSID_FINGERPRINT,
    {L"Fingerprint", L"Fingerprint", true, 20, true, 0x2, false, 2, true, VX_SAMPLE_ICON_ELEMENT},
    nullptr,
    0};
#elif defined(VX_SAMPLE_SMARTCARD)
constexpr ModuleDescription kModule{
    VX_SAMPLE_CLSID_SMARTCARD,
    {L"SmartCard", L"Smart card", true, 20, true, 0x4, true, 1, true, VX_SAMPLE_ICON_ELEMENT},
    nullptr,
    0};
#elif defined(VX_SAMPLE_ONETIMECODE)
constexpr ModuleDescription kModule{
    VX_SAMPLE_CLSID_ONETIMECODE,
    {L"OneTimeCode", L"One-time code", true, 20, true, 0x10, false, 3, false, VX_SAMPLE_ICON_ELEMENT},
    nullptr,
    0};
#elif defined(VX_SAMPLE_RECOVERYKEY)
// Mask bit 0x8: only catalogues that ask for such tokens (filter bit 4) keep it.
constexpr ModuleDescription kModule{
    VX_SAMPLE_CLSID_RECOVERYKEY,
    {L"RecoveryKey", L"Recovery key", true, 5, true, 0x8, false, 1, true, VX_SAMPLE_ICON_ELEMENT},
    nullptr,
    0};
#elif defined(VX_SAMPLE_SECURITYKEY)
constexpr ModuleDescription kModule{
    VX_SAMPLE_CLSID_SECURITYKEY,
    {L"SecurityKey", L"Security key", true, 40, true, 0x80, false, 1, true, VX_SAMPLE_ICON_ELEMENT},
    nullptr,
    0};
#elif defined(VX_SAMPLE_BIOMETRICS)
// A group: no credential itself, it contributes its two members when the catalogue expands groups.
constexpr ElementDescription kMembers[] = {
    {L"Face", L"Face", true, 30, true, 0x20, false, 2, false, VX_SAMPLE_ICON_FACE},
    {L"Voice", L"Voice", true, -1, true, 0x40, true, 3, false, VX_SAMPLE_ICON_VOICE},
};
constexpr ModuleDescription kModule{VX_SAMPLE_CLSID_BIOMETRICS,
                                    {L"Biometrics", L"Biometrics", true, 30, false, 0, false, 0, false,
                                     VX_SAMPLE_ICON_ELEMENT},
                                    kMembers,
                                    sizeof(kMembers) / sizeof(kMembers[0])};
#else
#error "Define the sample to build: VX_SAMPLE_PASSWORD, VX_SAMPLE_FINGERPRINT, ..."
#endif

}  // namespace

const ModuleDescription& ThisModule() { return kModule; }

}  // namespace vxsample
