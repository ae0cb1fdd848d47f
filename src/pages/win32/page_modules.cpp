#include "pages/win32/page_modules.h"

#include <prsht.h>

#include "pages/page_types.h"

#include "platform/win32/win32_clock.h"
#include "platform/win32/win32_handles.h"

namespace vx::pages {

namespace {

PageModules g_modules;

const LPCWSTR kManifestResource = MAKEINTRESOURCEW(2);  // ISOLATIONAWARE_MANIFEST_RESOURCE_ID

HMODULE ConsoleLibrary() {
  // The console has it loaded; a host without it has no notifications to pass on.
  HMODULE library = ::GetModuleHandleW(L"mmcbase.dll");
  return library ? library : ::LoadLibraryW(L"mmcbase.dll");
}

}  // namespace

void InstallPageModules(const PageModules& modules) { g_modules = modules; }

const PageModules& CurrentPageModules() {
  if (g_modules.dll == nullptr) g_modules.dll = ::GetModuleHandleW(nullptr);
  if (g_modules.resources == nullptr) g_modules.resources = g_modules.dll;
  return g_modules;
}

HANDLE PagesActivationContext() {
  static const HANDLE context = [] {
    ACTCTXW request{};
    request.cbSize = sizeof(request);
    request.dwFlags = ACTCTX_FLAG_HMODULE_VALID | ACTCTX_FLAG_RESOURCE_NAME_VALID;
    request.hModule = CurrentPageModules().dll;
    request.lpResourceName = kManifestResource;
    HANDLE made = ::CreateActCtxW(&request);
    if (made == INVALID_HANDLE_VALUE) return HANDLE{nullptr};
    // The control classes of version 6 are registered inside the context.
    ULONG_PTR cookie = 0;
    if (::ActivateActCtx(made, &cookie)) {
      INITCOMMONCONTROLSEX controls{sizeof(controls), ICC_LISTVIEW_CLASSES | ICC_LINK_CLASS | ICC_USEREX_CLASSES |
                                                          ICC_STANDARD_CLASSES | ICC_DATE_CLASSES};
      ::InitCommonControlsEx(&controls);
      ::DeactivateActCtx(0, cookie);
    }
    return made;
  }();
  return context;
}

CActivationScope::CActivationScope() {
  if (HANDLE context = PagesActivationContext()) m_active = ::ActivateActCtx(context, &m_cookie) != FALSE;
}

CActivationScope::~CActivationScope() {
  if (m_active) ::DeactivateActCtx(0, m_cookie);
}

HICON LoadResourceIcon(UINT id, int size) {
  return static_cast<HICON>(
      ::LoadImageW(CurrentPageModules().resources, MAKEINTRESOURCEW(id), IMAGE_ICON, size, size, LR_DEFAULTCOLOR));
}

int AddResourceIcon(HIMAGELIST list, UINT id, int size) {
  HICON icon = LoadResourceIcon(id, size);
  const int index = icon ? ImageList_AddIcon(list, icon) : -1;
  if (icon) ::DestroyIcon(icon);
  return index;
}

int CTokenImages::Add(HIMAGELIST list, const PageToken& token, int size) {
  if (token.icon != 0) {
    const auto known = m_byMask.find(token.mask);
    if (token.mask != 0 && known != m_byMask.end()) return known->second;
    const auto icon = reinterpret_cast<HICON>(static_cast<UINT_PTR>(token.icon));
    int index = -1;
    if (!m_deferred) {
      index = ImageList_AddIcon(list, icon);
    } else {
      constexpr int kReserve = 16;  // growing an image list copies it: a few slots at a time
      if (m_nextSlot == m_endSlot) {
        const int count = ImageList_GetImageCount(list);
        if (ImageList_SetImageCount(list, static_cast<UINT>(count + kReserve))) {
          m_nextSlot = count;
          m_endSlot = count + kReserve;
        }
      }
      if (m_nextSlot < m_endSlot) {
        index = m_nextSlot++;
        m_pending.emplace(index, icon);
      }
    }
    if (index >= 0) {
      if (token.mask != 0) m_byMask.emplace(token.mask, index);
      return index;
    }
  }
  if (m_generic < 0) m_generic = AddResourceIcon(list, IDI_CREDENTIAL, size);
  return m_generic;
}

void CTokenImages::Realise(HIMAGELIST list, int index) {
  const auto pending = m_pending.find(index);
  if (pending == m_pending.end()) return;
  ImageList_ReplaceIcon(list, index, pending->second);
  m_pending.erase(pending);
}

HRESULT PropertyChangeNotify(LONG_PTR handle, LPARAM param) {
  using Notify = HRESULT(STDAPICALLTYPE*)(LONG_PTR, LPARAM);
  HMODULE library = ConsoleLibrary();
  const auto notify = library ? platform::ProcAddress<Notify>(library, "MMCPropertyChangeNotify") : nullptr;
  return notify ? notify(handle, param) : E_NOTIMPL;
}

void FreeNotifyHandle(LONG_PTR handle) {
  using Free = HRESULT(STDAPICALLTYPE*)(LONG_PTR);
  if (handle == 0) return;
  HMODULE library = ConsoleLibrary();
  if (const auto free = library ? platform::ProcAddress<Free>(library, "MMCFreeNotifyHandle") : nullptr) free(handle);
}

platform::IClock& PagesClock() {
  static platform::Win32Clock clock;
  return clock;
}

std::wstring ControlText(HWND dialog, int id) {
  HWND control = ::GetDlgItem(dialog, id);
  const int length = control ? ::GetWindowTextLengthW(control) : 0;
  std::wstring text(static_cast<size_t>(length) + 1, L'\0');
  if (length > 0) ::GetWindowTextW(control, text.data(), length + 1);
  text.resize(static_cast<size_t>(length));
  return text;
}

HPROPSHEETPAGE CreateModulePage(UINT templateId, UINT titleId, DLGPROC proc, LPFNPSPCALLBACKW callback, LPARAM param) {
  PROPSHEETPAGEW page{};
  page.dwSize = sizeof(page);
  page.dwFlags = PSP_USECALLBACK | (titleId != 0 ? PSP_USETITLE : 0);
  page.hInstance = CurrentPageModules().resources;
  page.pszTemplate = MAKEINTRESOURCEW(templateId);
  if (titleId != 0) page.pszTitle = MAKEINTRESOURCEW(titleId);
  page.pfnDlgProc = proc;
  page.pfnCallback = callback;
  page.lParam = param;
  if (HANDLE context = PagesActivationContext()) {
    page.dwFlags |= PSP_USEFUSIONCONTEXT;  // the sheet creates the page inside the DLL's context
    page.hActCtx = context;
  }
  CActivationScope activation;
  return ::CreatePropertySheetPageW(&page);
}

void SetPageModified(HWND page, bool modified) {
  HWND sheet = ::GetParent(page);
  if (modified) {
    PropSheet_Changed(sheet, page);
  } else {
    PropSheet_UnChanged(sheet, page);
  }
}

void BroadcastPolicyChange(std::uintptr_t wParam, std::intptr_t lParam) {
  static const UINT message = ::RegisterWindowMessageW(L"KELT_BROADCAST_NOTIFICATION");
  DWORD recipients = BSM_APPLICATIONS;
  ::BroadcastSystemMessageW(BSF_POSTMESSAGE, &recipients, message, static_cast<WPARAM>(wParam),
                            static_cast<LPARAM>(lParam));
}

}  // namespace vx::pages
