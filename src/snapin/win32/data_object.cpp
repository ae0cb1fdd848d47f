#include "snapin/win32/data_object.h"

#include <cstring>

#include "module/win32/com_object.h"
#include "platform/text.h"
#include "snapin/win32/clipboard_formats.h"
#include "support/check.h"
#include "support/trace.h"

namespace vx::snapin {

namespace {

template <class T>
void Append(std::basic_string<BYTE>& bytes, const T* data, size_t count) {
  const BYTE* begin = reinterpret_cast<const BYTE*>(data);
  bytes.append(begin, begin + count * sizeof(T));
}

std::u16string GuidText(const GUID& guid) {
  wchar_t text[40] = {};
  StringFromGUID2(guid, text, 40);
  return AsU16(text);
}

}  // namespace

CDataObject::CDataObject(DataObjectContent content) : m_content(std::move(content)) {
  if (m_content.gpoInformation) m_content.gpoInformation->AddRef();
}

CDataObject::~CDataObject() {
  if (m_content.gpoInformation) m_content.gpoInformation->Release();
}

bool CDataObject::FindInterface(REFIID iid, void** out) {
  if (iid == IID_IUnknown || iid == IID_IDataObject) {
    *out = static_cast<IDataObject*>(this);
    return true;
  }
  if (iid == IID_IVXSnapinDataObject) {  // no interface of its own: the object itself
    *out = this;
    return true;
  }
  return false;
}

HRESULT CDataObject::Create(DataObjectContent content, IDataObject** out) {
  if (out == nullptr) return E_POINTER;
  *out = nullptr;
  try {
    *out = new module::CComObject<CDataObject>(std::move(content));
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  }
  return S_OK;
}

const DataObjectContent* CDataObject::ContentOf(IDataObject* object) {
  if (object == nullptr) return nullptr;
  void* self = nullptr;
  if (FAILED(object->QueryInterface(IID_IVXSnapinDataObject, &self)) || self == nullptr) return nullptr;
  auto* data = static_cast<CDataObject*>(self);
  const DataObjectContent* content = &data->m_content;
  data->Release();  // the console holds the object for as long as it hands it to us
  return content;
}

bool CDataObject::Bytes(CLIPFORMAT format, std::basic_string<BYTE>& bytes) const {
  const ClipboardFormats& f = Formats();
  if (format == f.nodeType) {
    Append(bytes, &m_content.nodeType, 1);
  } else if (format == f.szNodeType) {
    const std::u16string text = GuidText(m_content.nodeType);
    Append(bytes, text.c_str(), text.size() + 1);
  } else if (format == f.displayName) {
    Append(bytes, m_content.displayName.c_str(), m_content.displayName.size() + 1);
  } else if (format == f.snapinClassId) {
    Append(bytes, &m_content.snapinClassId, 1);
  } else if (format == f.gpeInfo) {
    if (m_content.gpoInformation == nullptr) return false;
    Append(bytes, &m_content.gpoInformation, 1);  // one pointer-sized value
  } else if (format == f.rsopMachineNamespace || format == f.rsopUserNamespace) {
    if (m_content.rsopNamespace.empty()) return false;
    if ((format == f.rsopMachineNamespace) != m_content.machineSection) return false;
    Append(bytes, m_content.rsopNamespace.c_str(), m_content.rsopNamespace.size() + 1);
  } else {
    return false;
  }
  return true;
}

HRESULT CDataObject::QueryGetData(FORMATETC* format) {
  if (format == nullptr) return E_POINTER;
  std::basic_string<BYTE> bytes;
  return Bytes(format->cfFormat, bytes) ? S_OK : DV_E_FORMATETC;
}

HRESULT CDataObject::GetDataHere(FORMATETC* format, STGMEDIUM* medium) {
  VXTraceNS::CTraceScope scope("CDataObject::GetDataHere");
  return HResultBoundary(scope, [&]() -> HRESULT {
    if (format == nullptr || medium == nullptr) return E_POINTER;
    if (medium->tymed != TYMED_HGLOBAL || medium->hGlobal == nullptr) return DV_E_TYMED;
    std::basic_string<BYTE> bytes;
    if (!Bytes(format->cfFormat, bytes)) return DV_E_FORMATETC;
    // The console's block: written through a stream so that it grows when it is too small.
    IStream* stream = nullptr;
    VX_CHECK(CreateStreamOnHGlobal(medium->hGlobal, FALSE, &stream));
    ULONG written = 0;
    const HRESULT hr = stream->Write(bytes.data(), static_cast<ULONG>(bytes.size()), &written);
    stream->Release();
    return hr;
  });
}

HRESULT NodeTypeOf(IDataObject* object, GUID& nodeType) {
  if (object == nullptr) return E_POINTER;
  FORMATETC format = {static_cast<CLIPFORMAT>(Formats().nodeType), nullptr, DVASPECT_CONTENT, -1, TYMED_HGLOBAL};
  STGMEDIUM medium = {};
  medium.tymed = TYMED_HGLOBAL;
  medium.hGlobal = GlobalAlloc(GMEM_SHARE | GMEM_MOVEABLE, sizeof(GUID));
  if (medium.hGlobal == nullptr) return E_OUTOFMEMORY;
  const HRESULT hr = object->GetDataHere(&format, &medium);
  if (SUCCEEDED(hr)) {
    const void* data = GlobalLock(medium.hGlobal);
    if (data != nullptr) std::memcpy(&nodeType, data, sizeof(GUID));
    GlobalUnlock(medium.hGlobal);
  }
  GlobalFree(medium.hGlobal);
  return hr;
}

}  // namespace vx::snapin
