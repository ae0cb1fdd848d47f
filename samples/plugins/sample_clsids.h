/* Class identifiers of the sample plug-ins: VX_SAMPLE_CLSID_<NAME> is the class of the module
 * vxsample_<name>.dll. scripts/register-plugins reads this file, so keep one definition a line.
 * The leading digits fix the order in which the registry enumerates the subkeys (sorted by name),
 * which decides who wins a shared order hint: Fingerprint before Smart card before One-time code. */
#pragma once

#define VX_SAMPLE_CLSID_PASSWORD L"{1D7C9E25-807A-4675-8742-13D133202BBC}"
#define VX_SAMPLE_CLSID_FINGERPRINT L"{2A57F3EB-A718-4E11-9A01-411FF207986B}"
#define VX_SAMPLE_CLSID_SMARTCARD L"{3FA97340-1960-4AB2-8438-6A89792D67E7}"
#define VX_SAMPLE_CLSID_ONETIMECODE L"{4814E701-D3EF-412E-8DF1-784516E5E6F4}"
#define VX_SAMPLE_CLSID_RECOVERYKEY L"{571A1EB3-9F17-4F89-A8BE-004AF83C9E7F}"
#define VX_SAMPLE_CLSID_BIOMETRICS L"{64E907E1-764D-4B93-B9BF-32B6B5FB8EA5}"
#define VX_SAMPLE_CLSID_SECURITYKEY L"{794B0F2B-4C08-4A9E-BC02-2A4B323150E6}"
