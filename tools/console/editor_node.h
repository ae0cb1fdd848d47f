// A console root node as its data object: the node type in the console's formats, and the console's
// own interface behind it through QueryInterface — the editor's IGPEInformation for its Software
// Settings nodes, the RSoP console's IRSOPInformation for its own.
#pragma once

#include <windows.h>

#include <atomic>
#include <cstring>

#include <prsht.h>
#include <gpedit.h>
#include <mmc.h>

namespace vx::console {

class EditorNode final : public IDataObject {
 public:
  EditorNode(const GUID& type, const IID& offeredIid, IUnknown* offered)
      : m_type(type), m_offeredIid(offeredIid), m_offered(offered) {}

  STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
    if (!out) return E_POINTER;
    *out = nullptr;
    if (iid == m_offeredIid && m_offered) return m_offered->QueryInterface(iid, out);
    if (iid != IID_IUnknown && iid != IID_IDataObject) return E_NOINTERFACE;
    *out = static_cast<IDataObject*>(this);
    AddRef();
    return S_OK;
  }
  STDMETHODIMP_(ULONG) AddRef() override { return ++m_refs; }
  STDMETHODIMP_(ULONG) Release() override {
    const ULONG left = --m_refs;
    if (left == 0) delete this;
    return left;
  }

  STDMETHODIMP GetData(FORMATETC*, STGMEDIUM*) override { return E_NOTIMPL; }
  // The console's way: the caller's global block receives the node type.
  STDMETHODIMP GetDataHere(FORMATETC* format, STGMEDIUM* medium) override {
    if (!format || !medium || medium->tymed != TYMED_HGLOBAL || !medium->hGlobal) return DV_E_FORMATETC;
    static const UINT nodeType = ::RegisterClipboardFormatW(CCF_NODETYPE);
    static const UINT nodeTypeText = ::RegisterClipboardFormatW(CCF_SZNODETYPE);
    if (format->cfFormat == nodeType) return Copy(medium->hGlobal, &m_type, sizeof(GUID));
    if (format->cfFormat == nodeTypeText) {
      wchar_t text[40];
      const int length = ::StringFromGUID2(m_type, text, 40);
      return Copy(medium->hGlobal, text, length * sizeof(wchar_t));
    }
    return DV_E_FORMATETC;
  }
  STDMETHODIMP QueryGetData(FORMATETC*) override { return E_NOTIMPL; }
  STDMETHODIMP GetCanonicalFormatEtc(FORMATETC*, FORMATETC*) override { return E_NOTIMPL; }
  STDMETHODIMP SetData(FORMATETC*, STGMEDIUM*, BOOL) override { return E_NOTIMPL; }
  STDMETHODIMP EnumFormatEtc(DWORD, IEnumFORMATETC**) override { return E_NOTIMPL; }
  STDMETHODIMP DAdvise(FORMATETC*, DWORD, IAdviseSink*, DWORD*) override { return OLE_E_ADVISENOTSUPPORTED; }
  STDMETHODIMP DUnadvise(DWORD) override { return OLE_E_ADVISENOTSUPPORTED; }
  STDMETHODIMP EnumDAdvise(IEnumSTATDATA**) override { return OLE_E_ADVISENOTSUPPORTED; }

 private:
  static HRESULT Copy(HGLOBAL block, const void* data, size_t size) {
    if (::GlobalSize(block) < size) return STG_E_MEDIUMFULL;
    void* target = ::GlobalLock(block);
    if (!target) return E_OUTOFMEMORY;
    std::memcpy(target, data, size);
    ::GlobalUnlock(block);
    return S_OK;
  }
  GUID m_type;
  IID m_offeredIid;
  IUnknown* m_offered;  // outlives every root object
  std::atomic<ULONG> m_refs{1};
};

}  // namespace vx::console
