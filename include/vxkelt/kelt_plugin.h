/* The credential plug-in contract of the Vantorix Keystone client's policy snap-in.
 * A plug-in is an in-process COM server (a signed DLL) registered under
 * HKLM\SOFTWARE\Vantorix\KELT\Plugins\UIElements\<list>\{CLSID} (default value: the DLL's full path).
 * Its class object creates an object that implements IKELTElementUI; a credential token also
 * implements IKELTCredential; IKELTObjectWithSite is optional. See docs/plugin-contract.md.
 * Plain C++ COM declarations, usable with MSVC and mingw-w64. */
#pragma once

#include <objbase.h>
#include <oaidl.h>

/* Properties of IKELTElementUI::GetProperty. */
enum eKELT_LST_PROPERTY {
  eKELT_LST_NAME = 1,           /* VT_BSTR: the element's name, its key in the snap-in's catalogues */
  eKELT_LST_DISPLAYSTRING = 3,  /* VT_BSTR: the text the administrator sees */
  eKELT_LST_ICON = 4,           /* VT_UI8: an HICON the element owns; the snap-in copies the image */
  eKELT_LST_ORDERHINT = 7,      /* VT_I4: where the element wants to stand (ascending, as unsigned) */
  eKELT_LST_SUBELEMENTS = 102   /* VT_ARRAY of VARIANTs holding IUnknown: the members of a group */
};

/* Properties of IKELTCredential::GetCredProperty. */
enum eKELT_CRED_PROPERTY {
  eKELT_CRED_MASK = 0,      /* VT_UI4 or VT_UI8: the credential's bit(s) in a policy mask */
  eKELT_CRED_RELIABLE = 2,  /* VT_BOOL: whether the credential counts as reliable */
  eKELT_CRED_TYPE = 7       /* VT_UI4: 1 or 2 primary or secondary, 3 secondary only */
};

/* {94B2C874-B9DB-4149-B100-3675207B3723} */
MIDL_INTERFACE("94B2C874-B9DB-4149-B100-3675207B3723")
IKELTElementUI : public IUnknown {
 public:
  virtual HRESULT STDMETHODCALLTYPE GetProperty(long id, VARIANT* value) = 0;
};

/* {6F84CB9B-38F6-4435-9A33-1B078B56BE9A} */
MIDL_INTERFACE("6F84CB9B-38F6-4435-9A33-1B078B56BE9A")
IKELTObjectWithSite : public IUnknown {
 public:
  virtual HRESULT STDMETHODCALLTYPE SetSite(IUnknown* callback) = 0;
};

/* {FDD41111-BE1D-4C08-98D2-1C2860C87015} */
MIDL_INTERFACE("FDD41111-BE1D-4C08-98D2-1C2860C87015")
IKELTCredential : public IUnknown {
 public:
  virtual HRESULT STDMETHODCALLTYPE GetCredProperty(long id, VARIANT* value) = 0;
};

#ifdef __CRT_UUID_DECL
__CRT_UUID_DECL(IKELTElementUI, 0x94b2c874, 0xb9db, 0x4149, 0xb1, 0x00, 0x36, 0x75, 0x20, 0x7b, 0x37, 0x23)
__CRT_UUID_DECL(IKELTObjectWithSite, 0x6f84cb9b, 0x38f6, 0x4435, 0x9a, 0x33, 0x1b, 0x07, 0x8b, 0x56, 0xbe, 0x9a)
__CRT_UUID_DECL(IKELTCredential, 0xfdd41111, 0xbe1d, 0x4c08, 0x98, 0xd2, 0x1c, 0x28, 0x60, 0xc8, 0x70, 0x15)
#endif

/* Plain IID values, for code that does not use __uuidof. */
static const IID IID_IKELTElementUI = {0x94b2c874, 0xb9db, 0x4149, {0xb1, 0x00, 0x36, 0x75, 0x20, 0x7b, 0x37, 0x23}};
static const IID IID_IKELTObjectWithSite = {0x6f84cb9b, 0x38f6, 0x4435, {0x9a, 0x33, 0x1b, 0x07, 0x8b, 0x56, 0xbe, 0x9a}};
static const IID IID_IKELTCredential = {0xfdd41111, 0xbe1d, 0x4c08, {0x98, 0xd2, 0x1c, 0x28, 0x60, 0xc8, 0x70, 0x15}};
