// The data object the snap-in hands the console for one of its nodes or result items: it answers the
// console's standard clipboard formats and our private ones, and carries the node it names so the
// snap-in can find that node again when the console passes the object back.
#pragma once

#include "platform/wintypes.h"

#include <objbase.h>
#include <mmc.h>

#include <string>

namespace vx::snapin {

// What a data object names: the node's identity and our own cookie for it.
struct DataObjectContent {
  GUID nodeType{};
  std::u16string displayName;
  CLSID snapinClassId{};
  DATA_OBJECT_TYPES context = CCT_UNINITIALIZED;
  MMC_COOKIE cookie = 0;
  IUnknown* gpoInformation = nullptr;  // CCF_VX_GPEINFO; a reference is held
  std::u16string rsopNamespace;        // the namespace formats; empty: not answered
  bool machineSection = true;
};

// {A6F2D3E1-5B0C-4C55-9E61-3D2B7C4F1A90}: asked by the snap-in to recognise its own data objects.
inline constexpr IID IID_IVXSnapinDataObject = {
    0xa6f2d3e1, 0x5b0c, 0x4c55, {0x9e, 0x61, 0x3d, 0x2b, 0x7c, 0x4f, 0x1a, 0x90}};

class CDataObject : public IDataObject {
 public:
  explicit CDataObject(DataObjectContent content);
  virtual ~CDataObject();
  CDataObject(const CDataObject&) = delete;
  CDataObject& operator=(const CDataObject&) = delete;

  bool FindInterface(REFIID iid, void** out);
  const DataObjectContent& Content() const { return m_content; }

  // A new data object (reference count 1) in *out.
  static HRESULT Create(DataObjectContent content, IDataObject** out);
  // Our own content when object is one of our data objects, null otherwise (no reference kept).
  static const DataObjectContent* ContentOf(IDataObject* object);

  // IDataObject: only GetDataHere is supported, into a caller's global memory block.
  HRESULT STDMETHODCALLTYPE GetData(FORMATETC*, STGMEDIUM*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetDataHere(FORMATETC* format, STGMEDIUM* medium) override;
  HRESULT STDMETHODCALLTYPE QueryGetData(FORMATETC* format) override;
  HRESULT STDMETHODCALLTYPE GetCanonicalFormatEtc(FORMATETC*, FORMATETC*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE SetData(FORMATETC*, STGMEDIUM*, BOOL) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE EnumFormatEtc(DWORD, IEnumFORMATETC**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE DAdvise(FORMATETC*, DWORD, IAdviseSink*, DWORD*) override {
    return OLE_E_ADVISENOTSUPPORTED;
  }
  HRESULT STDMETHODCALLTYPE DUnadvise(DWORD) override { return OLE_E_ADVISENOTSUPPORTED; }
  HRESULT STDMETHODCALLTYPE EnumDAdvise(IEnumSTATDATA**) override { return OLE_E_ADVISENOTSUPPORTED; }

 private:
  // The bytes of a format, or false for one we do not answer.
  bool Bytes(CLIPFORMAT format, std::basic_string<BYTE>& bytes) const;

  DataObjectContent m_content;
};

// The node type a console data object names (CCF_NODETYPE through GetDataHere into 16 bytes of
// global memory).
HRESULT NodeTypeOf(IDataObject* object, GUID& nodeType);

}  // namespace vx::snapin
