#include "console_host.h"

#include <shellapi.h>

#include <cstdio>
#include <cstring>

#include "editor_node.h"
#include "property_sheet.h"

using Microsoft::WRL::ComPtr;

namespace vx::console {
namespace {

constexpr wchar_t kWindowClass[] = L"VXConsoleHost";
const LPOLESTR kCallback = reinterpret_cast<LPOLESTR>(static_cast<INT_PTR>(-1));

std::vector<CLSID> RegisteredExtensions(const GUID& type) {
  wchar_t text[40];
  ::StringFromGUID2(type, text, 40);
  const std::wstring path = std::wstring(L"Software\\Microsoft\\MMC\\NodeTypes\\") + text + L"\\Extensions\\NameSpace";
  std::vector<CLSID> found;
  HKEY key;
  if (::RegOpenKeyExW(HKEY_LOCAL_MACHINE, path.c_str(), 0, KEY_READ, &key) != ERROR_SUCCESS) return found;
  for (DWORD index = 0;; ++index) {
    wchar_t name[256];
    DWORD length = 256;
    if (::RegEnumValueW(key, index, name, &length, nullptr, nullptr, nullptr, nullptr) != ERROR_SUCCESS) break;
    CLSID clsid;
    if (SUCCEEDED(::CLSIDFromString(name, &clsid))) found.push_back(clsid);
  }
  ::RegCloseKey(key);
  return found;
}

// A display name without a leading "[...]" tag, so a node can be named either way.
bool NameMatches(const std::wstring& text, const std::wstring& name) {
  if (text == name) return true;
  if (!text.empty() && text[0] == L'[') {
    const size_t end = text.find(L']');
    if (end != std::wstring::npos && text.compare(end + 1, std::wstring::npos, name) == 0) return true;
  }
  return false;
}

}  // namespace

std::vector<ConsoleRoot> EditorRoots(IGPEInformation* gpe) {
  return {{kMachineSoftwareSettings, L"Computer Configuration\\Software Settings", IID_IGPEInformation, gpe},
          {kUserSoftwareSettings, L"User Configuration\\Software Settings", IID_IGPEInformation, gpe}};
}

HRESULT ConsoleHost::Create(const std::wstring& title) {
  m_propertyChangeMessage = ::RegisterWindowMessageW(kPropertyChangeMessageName);
  INITCOMMONCONTROLSEX controls{sizeof(controls), ICC_TREEVIEW_CLASSES | ICC_LISTVIEW_CLASSES};
  if (!::InitCommonControlsEx(&controls)) return E_FAIL;
  WNDCLASSEXW windowClass{};
  windowClass.cbSize = sizeof(windowClass);
  windowClass.lpfnWndProc = WindowProc;
  windowClass.hInstance = ::GetModuleHandleW(nullptr);
  windowClass.hCursor = ::LoadCursorW(nullptr, IDC_ARROW);
  windowClass.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_BTNFACE + 1);
  windowClass.lpszClassName = kWindowClass;
  ::RegisterClassExW(&windowClass);
  m_window = ::CreateWindowExW(0, kWindowClass, title.c_str(), WS_OVERLAPPEDWINDOW, 20, 20, 960, 600,
                               nullptr, nullptr, windowClass.hInstance, this);
  if (!m_window) return HRESULT_FROM_WIN32(::GetLastError());
  m_tree = ::CreateWindowExW(WS_EX_CLIENTEDGE, WC_TREEVIEWW, L"",
                             WS_CHILD | WS_VISIBLE | TVS_HASLINES | TVS_HASBUTTONS | TVS_LINESATROOT | TVS_SHOWSELALWAYS,
                             0, 0, 0, 0, m_window, nullptr, windowClass.hInstance, nullptr);
  m_list = ::CreateWindowExW(WS_EX_CLIENTEDGE, WC_LISTVIEWW, L"", WS_CHILD | WS_VISIBLE | LVS_REPORT | LVS_SHOWSELALWAYS,
                             0, 0, 0, 0, m_window, nullptr, windowClass.hInstance, nullptr);
  if (!m_tree || !m_list) return HRESULT_FROM_WIN32(::GetLastError());
  const wchar_t* headings[] = {L"Name", L"State"};
  for (int column = 0; column < 2; ++column) {
    LVCOLUMNW lv{};
    lv.mask = LVCF_TEXT | LVCF_WIDTH;
    lv.cx = column == 0 ? 330 : 200;
    lv.pszText = const_cast<wchar_t*>(headings[column]);
    ::SendMessageW(m_list, LVM_INSERTCOLUMNW, column, reinterpret_cast<LPARAM>(&lv));
  }
  Layout();
  ::ShowWindow(m_window, SW_SHOW);
  ::UpdateWindow(m_window);
  return S_OK;
}

int ConsoleHost::AddExtension(const CLSID& clsid) {
  for (size_t i = 0; i < m_extensions.size(); ++i)
    if (m_extensions[i].clsid == clsid) return static_cast<int>(i);
  Extension extension{clsid, nullptr, nullptr};
  const HRESULT created = ::CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IComponentData,
                                             reinterpret_cast<void**>(extension.data.GetAddressOf()));
  if (FAILED(created)) {
    wchar_t text[40];
    ::StringFromGUID2(clsid, text, 40);
    std::fwprintf(stderr, L"console: cannot create the extension %ls (0x%08lX)\n", text, static_cast<unsigned long>(created));
    return -1;
  }
  m_extensions.push_back(extension);
  const int index = static_cast<int>(m_extensions.size() - 1);
  m_current = index;
  Extension& added = m_extensions.back();
  if (FAILED(added.data->Initialize(static_cast<IConsole2*>(this))) ||
      FAILED(added.data->CreateComponent(added.component.GetAddressOf())) ||
      FAILED(added.component->Initialize(static_cast<IConsole2*>(this)))) {
    added.component.Reset();  // the extension still inserts scope items; it shows no results
  }
  m_current = -1;
  return index;
}

void ConsoleHost::AddRoot(const ConsoleRoot& root) {
  auto node = std::make_unique<ScopeNode>();
  node->root = &root;
  for (const CLSID& clsid : RegisteredExtensions(root.nodeType)) {
    const int index = AddExtension(clsid);
    if (index >= 0) node->rootExtensions.push_back(index);
  }
  AddTreeItem(TVI_ROOT, root.text, node.get(), !node->rootExtensions.empty());
  m_nodes.push_back(std::move(node));
}

size_t ConsoleHost::LoadExtensions() {
  for (const ConsoleRoot& root : m_roots) AddRoot(root);
  return m_extensions.size();
}

HTREEITEM ConsoleHost::AddTreeItem(HTREEITEM parent, const std::wstring& text, ScopeNode* node, bool children) {
  TVINSERTSTRUCTW insert{};
  insert.hParent = parent;
  insert.hInsertAfter = TVI_LAST;
  insert.item.mask = TVIF_TEXT | TVIF_PARAM | TVIF_CHILDREN;
  insert.item.pszText = const_cast<wchar_t*>(text.c_str());
  insert.item.lParam = reinterpret_cast<LPARAM>(node);
  insert.item.cChildren = children ? 1 : 0;
  return reinterpret_cast<HTREEITEM>(::SendMessageW(m_tree, TVM_INSERTITEMW, 0, reinterpret_cast<LPARAM>(&insert)));
}

ConsoleHost::ScopeNode* ConsoleHost::NodeOf(HTREEITEM item) const {
  TVITEMW tv{};
  tv.mask = TVIF_PARAM;
  tv.hItem = item;
  if (!::SendMessageW(m_tree, TVM_GETITEMW, 0, reinterpret_cast<LPARAM>(&tv))) return nullptr;
  return reinterpret_cast<ScopeNode*>(tv.lParam);
}

std::wstring ConsoleHost::TextOf(HTREEITEM item) const {
  wchar_t text[260] = {};
  TVITEMW tv{};
  tv.mask = TVIF_TEXT;
  tv.hItem = item;
  tv.pszText = text;
  tv.cchTextMax = 260;
  ::SendMessageW(m_tree, TVM_GETITEMW, 0, reinterpret_cast<LPARAM>(&tv));
  return text;
}

HRESULT ConsoleHost::ScopeObject(const ScopeNode& node, ComPtr<IDataObject>& object) {
  if (node.extension < 0) return E_UNEXPECTED;
  return m_extensions[node.extension].data->QueryDataObject(node.cookie, CCT_SCOPE, object.GetAddressOf());
}

// Expansion as the console does it: the roots through every extension of their node type with the
// editor's data object, the extensions' own nodes through their owner.
void ConsoleHost::EnsureExpanded(HTREEITEM item) {
  ScopeNode* node = NodeOf(item);
  if (!node || node->expanded) return;
  node->expanded = true;
  const LPARAM param = reinterpret_cast<LPARAM>(item);
  if (node->extension < 0) {
    const ConsoleRoot& given = *node->root;
    ComPtr<EditorNode> root(new EditorNode(given.nodeType, given.offeredIid, given.offered));
    root->Release();  // the ComPtr holds the only reference
    for (int index : node->rootExtensions) {
      m_current = index;
      m_extensions[index].data->Notify(root.Get(), MMCN_EXPAND, TRUE, param);
    }
  } else {
    ComPtr<IDataObject> object;
    if (SUCCEEDED(ScopeObject(*node, object))) {
      m_current = node->extension;
      m_extensions[node->extension].data->Notify(object.Get(), MMCN_EXPAND, TRUE, param);
    }
  }
  m_current = -1;
  if (!TreeView_GetChild(m_tree, item)) {
    TVITEMW tv{};
    tv.mask = TVIF_CHILDREN;
    tv.hItem = item;
    tv.cChildren = 0;
    ::SendMessageW(m_tree, TVM_SETITEMW, 0, reinterpret_cast<LPARAM>(&tv));
  }
}

void ConsoleHost::HideNode() {
  if (!m_shown) return;
  ScopeNode* node = NodeOf(m_shown);
  ComPtr<IDataObject> object;
  if (node && node->extension >= 0 && m_extensions[node->extension].component && SUCCEEDED(ScopeObject(*node, object))) {
    const int previous = m_current;
    m_current = node->extension;
    m_extensions[node->extension].component->Notify(object.Get(), MMCN_SHOW, FALSE, reinterpret_cast<LPARAM>(m_shown));
    m_current = previous;
  }
  m_shown = nullptr;
  ListView_DeleteAllItems(m_list);
}

void ConsoleHost::ShowNode(HTREEITEM item) {
  HideNode();
  ScopeNode* node = NodeOf(item);
  if (!node || node->extension < 0 || !m_extensions[node->extension].component) return;
  ComPtr<IDataObject> object;
  if (FAILED(ScopeObject(*node, object))) return;
  m_shown = item;
  const int previous = m_current;
  m_current = node->extension;
  m_extensions[node->extension].component->Notify(object.Get(), MMCN_SHOW, TRUE, reinterpret_cast<LPARAM>(item));
  m_current = previous;
}

HTREEITEM ConsoleHost::Find(HTREEITEM first, const std::wstring& name) {
  for (HTREEITEM item = first; item; item = TreeView_GetNextSibling(m_tree, item)) {
    if (NameMatches(TextOf(item), name)) return item;
    EnsureExpanded(item);
    if (HTREEITEM found = Find(TreeView_GetChild(m_tree, item), name)) {
      TreeView_Expand(m_tree, item, TVE_EXPAND);
      return found;
    }
  }
  return nullptr;
}

bool ConsoleHost::ExpandTo(const std::wstring& name, size_t root) {
  HTREEITEM start = TreeView_GetRoot(m_tree);
  for (size_t i = 0; i < root && start; ++i) start = TreeView_GetNextSibling(m_tree, start);
  if (!start) return false;
  EnsureExpanded(start);
  HTREEITEM found = NameMatches(TextOf(start), name) ? start : Find(TreeView_GetChild(m_tree, start), name);
  if (!found) return false;
  TreeView_Expand(m_tree, start, TVE_EXPAND);
  TreeView_EnsureVisible(m_tree, found);
  TreeView_SelectItem(m_tree, found);
  ::SetFocus(m_tree);
  return true;
}

HTREEITEM ConsoleHost::FindPath(const std::vector<std::wstring>& path) {
  HTREEITEM item = nullptr;
  HTREEITEM level = TreeView_GetRoot(m_tree);
  for (const std::wstring& name : path) {
    if (item) {
      EnsureExpanded(item);
      TreeView_Expand(m_tree, item, TVE_EXPAND);
      level = TreeView_GetChild(m_tree, item);
    }
    item = nullptr;
    for (HTREEITEM candidate = level; candidate; candidate = TreeView_GetNextSibling(m_tree, candidate)) {
      if (NameMatches(TextOf(candidate), name)) {
        item = candidate;
        break;
      }
    }
    if (!item) return nullptr;
  }
  return item;
}

bool ConsoleHost::Select(const std::vector<std::wstring>& path) {
  HTREEITEM found = FindPath(path);
  if (!found) return false;
  TreeView_EnsureVisible(m_tree, found);
  TreeView_SelectItem(m_tree, found);
  ::SetFocus(m_tree);
  return true;
}

std::vector<std::wstring> ConsoleHost::Children(const std::vector<std::wstring>& path) {
  std::vector<std::wstring> names;
  HTREEITEM parent = FindPath(path);
  if (!parent) return names;
  EnsureExpanded(parent);
  TreeView_Expand(m_tree, parent, TVE_EXPAND);
  for (HTREEITEM child = TreeView_GetChild(m_tree, parent); child; child = TreeView_GetNextSibling(m_tree, child))
    names.push_back(TextOf(child));
  return names;
}

std::vector<std::vector<std::wstring>> ConsoleHost::ResultRows() const {
  std::vector<std::vector<std::wstring>> rows;
  const int count = ListView_GetItemCount(m_list);
  for (int row = 0; row < count; ++row) {
    std::vector<std::wstring> texts;
    for (int column = 0; column < 2; ++column) {
      wchar_t text[260] = {};
      ListView_GetItemText(m_list, row, column, text, 260);
      texts.emplace_back(text);
    }
    rows.push_back(std::move(texts));
  }
  return rows;
}

void ConsoleHost::Shutdown() {
  if (m_window) ::DestroyWindow(m_window);  // hides the shown node on the way
  for (Extension& extension : m_extensions) {
    if (extension.component) extension.component->Destroy(0);
    extension.component.Reset();
    if (extension.data) extension.data->Destroy();
    extension.data.Reset();
  }
}

void ConsoleHost::Layout() {
  RECT client;
  ::GetClientRect(m_window, &client);
  const int split = client.right * 2 / 5;
  ::MoveWindow(m_tree, 0, 0, split, client.bottom, TRUE);
  ::MoveWindow(m_list, split + 4, 0, client.right - split - 4, client.bottom, TRUE);
}

// A double-clicked result item opens its properties; the list shows what they changed.
int ConsoleHost::ResultRow(const std::wstring& name) const {
  const auto rows = ResultRows();
  for (size_t row = 0; row < rows.size(); ++row) {
    if (!rows[row].empty() && (rows[row][0] == name || rows[row][0] == L"[DNL]" + name)) return static_cast<int>(row);
  }
  return -1;
}

bool ConsoleHost::OpenProperties(const std::wstring& name) { return OpenProperties(ResultRow(name)); }

HWND ConsoleHost::OpenPropertiesModeless(const std::wstring& name) {
  HWND sheet = nullptr;
  return ShowProperties(ResultRow(name), &sheet) == S_OK ? sheet : nullptr;
}

bool ConsoleHost::OpenProperties(int row) {
  if (ShowProperties(row, nullptr) != S_OK) return false;
  RefreshResults();
  return true;
}

bool ConsoleHost::RowItem(int row, MMC_COOKIE& cookie, IComponent*& component, std::wstring* text) {
  ScopeNode* node = m_shown ? NodeOf(m_shown) : nullptr;
  if (row < 0 || !node || node->extension < 0 || !m_extensions[node->extension].component) return false;
  LVITEMW item{};
  item.mask = LVIF_PARAM | LVIF_TEXT;
  item.iItem = row;
  wchar_t buffer[260] = {};
  item.pszText = buffer;
  item.cchTextMax = 260;
  if (!::SendMessageW(m_list, LVM_GETITEMW, 0, reinterpret_cast<LPARAM>(&item))) return false;
  cookie = static_cast<MMC_COOKIE>(item.lParam);
  component = m_extensions[node->extension].component.Get();
  if (text) *text = buffer;
  return true;
}

HRESULT ConsoleHost::ShowProperties(int row, HWND* modelessSheet) {
  MMC_COOKIE cookie = 0;
  IComponent* component = nullptr;
  std::wstring text;
  if (!RowItem(row, cookie, component, &text)) return S_FALSE;
  return ShowPropertySheet(m_window, component, cookie, text.c_str(), NotifyHandle(NodeOf(m_shown)->extension, false),
                           modelessSheet);
}

HRESULT ConsoleHost::Help(const std::wstring& name) { return Help(ResultRow(name)); }

HRESULT ConsoleHost::Help(int row) {
  MMC_COOKIE cookie = 0;
  IComponent* component = nullptr;
  if (!RowItem(row, cookie, component)) return S_FALSE;
  ComPtr<IDataObject> object;
  const HRESULT hr = component->QueryDataObject(cookie, CCT_RESULT, object.GetAddressOf());
  if (FAILED(hr)) return hr;
  return component->Notify(object.Get(), MMCN_CONTEXTHELP, 0, 0);
}

// The topic is the snap-in's allocation, which the console frees.
STDMETHODIMP ConsoleHost::ShowTopic(LPOLESTR topic) {
  if (topic == nullptr) return E_POINTER;
  m_helpTopic = topic;
  ::CoTaskMemFree(topic);
  if (m_showHelpTopics)
    ::ShellExecuteW(m_window, L"open", L"hh.exe", m_helpTopic.c_str(), nullptr, SW_SHOWNORMAL);
  return S_OK;
}

LONG_PTR ConsoleHost::NotifyHandle(int extension, bool scope) {
  auto target = std::make_unique<PropertyNotifyTarget>();
  target->window = m_window;
  target->extension = extension;
  target->scope = scope;
  m_notifyTargets.push_back(std::move(target));
  return reinterpret_cast<LONG_PTR>(m_notifyTargets.back().get());
}

LONG_PTR ConsoleHost::ScopeNotifyHandle(const std::vector<std::wstring>& path, MMC_COOKIE* cookie) {
  HTREEITEM item = FindPath(path);
  ScopeNode* node = item ? NodeOf(item) : nullptr;
  if (!node || node->extension < 0) return 0;
  if (cookie) *cookie = node->cookie;
  return NotifyHandle(node->extension, true);
}

// A page's MMCPropertyChangeNotify, posted here: the snap-in object that created the pages hears
// MMCN_PROPERTY_CHANGE (arg: TRUE for a scope item). As in the console, views change only when the
// snap-in updates them.
void ConsoleHost::OnPropertyChange(WPARAM handle, LPARAM param) {
  const auto* target = reinterpret_cast<const PropertyNotifyTarget*>(handle);
  bool known = false;
  for (const auto& kept : m_notifyTargets) known = known || kept.get() == target;
  if (!known || target->extension < 0 || target->extension >= static_cast<int>(m_extensions.size())) return;
  Extension& extension = m_extensions[target->extension];
  const int previous = m_current;
  m_current = target->extension;
  if (target->scope) {
    extension.data->Notify(nullptr, MMCN_PROPERTY_CHANGE, TRUE, param);
  } else if (extension.component) {
    extension.component->Notify(nullptr, MMCN_PROPERTY_CHANGE, FALSE, param);
  }
  m_current = previous;
}

LRESULT ConsoleHost::OnNotify(NMHDR* header) {
  if (header->hwndFrom == m_list && header->code == NM_DBLCLK) {
    OpenProperties(reinterpret_cast<NMITEMACTIVATE*>(header)->iItem);
    return 0;
  }
  if (header->hwndFrom == m_list && header->code == LVN_KEYDOWN &&
      reinterpret_cast<NMLVKEYDOWN*>(header)->wVKey == VK_F1) {
    Help(ListView_GetNextItem(m_list, -1, LVNI_SELECTED));
    return 0;
  }
  if (header->hwndFrom == m_tree) {
    if (header->code == TVN_ITEMEXPANDINGW) {
      auto* view = reinterpret_cast<NMTREEVIEWW*>(header);
      if (view->action & TVE_EXPAND) EnsureExpanded(view->itemNew.hItem);
    } else if (header->code == TVN_SELCHANGEDW) {
      ShowNode(reinterpret_cast<NMTREEVIEWW*>(header)->itemNew.hItem);
    }
  }
  return 0;
}

LRESULT CALLBACK ConsoleHost::WindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
  if (message == WM_NCCREATE) {
    auto* create = reinterpret_cast<CREATESTRUCTW*>(lParam);
    ::SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(create->lpCreateParams));
  }
  auto* host = reinterpret_cast<ConsoleHost*>(::GetWindowLongPtrW(window, GWLP_USERDATA));
  if (host && host->m_propertyChangeMessage != 0 && message == host->m_propertyChangeMessage) {
    host->OnPropertyChange(wParam, lParam);
    return 0;
  }
  if (host) {
    switch (message) {
      case WM_SIZE:
        if (host->m_tree) host->Layout();
        return 0;
      case WM_NOTIFY:
        return host->OnNotify(reinterpret_cast<NMHDR*>(lParam));
      case WM_TIMER:
        ::KillTimer(window, wParam);
        if (host->m_timer) host->m_timer();
        return 0;
      case WM_DESTROY:
        host->HideNode();
        host->m_window = nullptr;
        if (host->m_quitWhenClosed) ::PostQuitMessage(0);
        return 0;
      default:
        break;
    }
  }
  return ::DefWindowProcW(window, message, wParam, lParam);
}

STDMETHODIMP ConsoleHost::QueryInterface(REFIID iid, void** out) {
  if (!out) return E_POINTER;
  *out = nullptr;
  if (iid == IID_IUnknown || iid == IID_IConsole || iid == IID_IConsole2) {
    *out = static_cast<IConsole2*>(this);
  } else if (iid == IID_IConsoleNameSpace || iid == IID_IConsoleNameSpace2) {
    *out = static_cast<IConsoleNameSpace2*>(this);
  } else if (iid == IID_IResultData) {
    *out = static_cast<IResultData*>(this);
  } else if (iid == IID_IDisplayHelp) {
    *out = static_cast<IDisplayHelp*>(this);
  } else {
    return E_NOINTERFACE;
  }
  AddRef();
  return S_OK;
}

// Every view of every extension hears of the change; the shown node is listed again.
STDMETHODIMP ConsoleHost::UpdateAllViews(LPDATAOBJECT object, LPARAM data, LONG_PTR hint) {
  for (Extension& extension : m_extensions)
    if (extension.component) extension.component->Notify(object, MMCN_VIEW_CHANGE, data, hint);
  RefreshResults();
  return S_OK;
}

void ConsoleHost::RefreshResults() {
  if (m_refreshing || !m_shown) return;  // a snap-in may update views while it shows a node
  m_refreshing = true;
  ShowNode(m_shown);
  m_refreshing = false;
}

STDMETHODIMP ConsoleHost::MessageBox(LPCWSTR text, LPCWSTR title, UINT style, int* result) {
  const int answer = ::MessageBoxW(m_window, text, title, style);
  if (result) *result = answer;
  return S_OK;
}

STDMETHODIMP ConsoleHost::SelectScopeItem(HSCOPEITEM item) {
  return TreeView_SelectItem(m_tree, reinterpret_cast<HTREEITEM>(item)) ? S_OK : E_INVALIDARG;
}

STDMETHODIMP ConsoleHost::GetMainWindow(HWND* window) {
  if (!window) return E_POINTER;
  *window = m_window;
  return S_OK;
}

STDMETHODIMP ConsoleHost::Expand(HSCOPEITEM item, BOOL expand) {
  const auto handle = reinterpret_cast<HTREEITEM>(item);
  if (expand) EnsureExpanded(handle);
  TreeView_Expand(m_tree, handle, expand ? TVE_EXPAND : TVE_COLLAPSE);
  return S_OK;
}

STDMETHODIMP ConsoleHost::InsertItem(LPSCOPEDATAITEM item) {
  if (!item || m_current < 0) return E_UNEXPECTED;
  const auto parent = reinterpret_cast<HTREEITEM>(item->relativeID);
  if (!(item->mask & SDI_PARENT) && (item->mask & (SDI_PREVIOUS | SDI_NEXT))) return E_NOTIMPL;
  std::wstring text;
  if (item->mask & SDI_STR) {
    if (item->displayname == kCallback) {
      SCOPEDATAITEM asked = *item;
      asked.mask = SDI_STR;
      if (SUCCEEDED(m_extensions[m_current].data->GetDisplayInfo(&asked)) && asked.displayname) text = asked.displayname;
    } else if (item->displayname) {
      text = item->displayname;
    }
  }
  auto node = std::make_unique<ScopeNode>();
  node->extension = m_current;
  node->cookie = (item->mask & SDI_PARAM) ? static_cast<MMC_COOKIE>(item->lParam) : 0;
  const bool children = !(item->mask & SDI_CHILDREN) || item->cChildren != 0;
  HTREEITEM added = AddTreeItem(parent, text, node.get(), children);
  if (!added) return E_FAIL;
  m_nodes.push_back(std::move(node));
  item->ID = reinterpret_cast<HSCOPEITEM>(added);
  return S_OK;
}

STDMETHODIMP ConsoleHost::DeleteItem(HSCOPEITEM item, LONG deleteThis) {
  const auto handle = reinterpret_cast<HTREEITEM>(item);
  if (deleteThis) return TreeView_DeleteItem(m_tree, handle) ? S_OK : E_INVALIDARG;
  while (HTREEITEM child = TreeView_GetChild(m_tree, handle)) TreeView_DeleteItem(m_tree, child);
  return S_OK;
}

STDMETHODIMP ConsoleHost::GetChildItem(HSCOPEITEM item, HSCOPEITEM* child, MMC_COOKIE* cookie) {
  if (!child || !cookie) return E_POINTER;
  HTREEITEM found = TreeView_GetChild(m_tree, reinterpret_cast<HTREEITEM>(item));
  ScopeNode* node = found ? NodeOf(found) : nullptr;
  *child = reinterpret_cast<HSCOPEITEM>(found);
  *cookie = node ? node->cookie : 0;
  return found ? S_OK : S_FALSE;
}

STDMETHODIMP ConsoleHost::GetNextItem(HSCOPEITEM item, HSCOPEITEM* next, MMC_COOKIE* cookie) {
  if (!next || !cookie) return E_POINTER;
  HTREEITEM found = TreeView_GetNextSibling(m_tree, reinterpret_cast<HTREEITEM>(item));
  ScopeNode* node = found ? NodeOf(found) : nullptr;
  *next = reinterpret_cast<HSCOPEITEM>(found);
  *cookie = node ? node->cookie : 0;
  return found ? S_OK : S_FALSE;
}

STDMETHODIMP ConsoleHost::GetParentItem(HSCOPEITEM item, HSCOPEITEM* parent, MMC_COOKIE* cookie) {
  if (!parent || !cookie) return E_POINTER;
  HTREEITEM found = TreeView_GetParent(m_tree, reinterpret_cast<HTREEITEM>(item));
  ScopeNode* node = found ? NodeOf(found) : nullptr;
  *parent = reinterpret_cast<HSCOPEITEM>(found);
  *cookie = node ? node->cookie : 0;
  return found ? S_OK : S_FALSE;
}

// A result row keeps the snap-in's cookie; its texts come from the shown extension's view.
STDMETHODIMP ConsoleHost::InsertItem(LPRESULTDATAITEM item) {
  if (!item || m_current < 0 || !m_extensions[m_current].component) return E_UNEXPECTED;
  IComponent* component = m_extensions[m_current].component.Get();
  std::wstring texts[2];
  for (int column = 0; column < 2; ++column) {
    RESULTDATAITEM asked{};
    asked.mask = RDI_STR | RDI_PARAM;
    asked.lParam = item->lParam;
    asked.nCol = column;
    if (column == 0 && (item->mask & RDI_STR) && item->str && item->str != kCallback) {
      texts[0] = item->str;
    } else if (SUCCEEDED(component->GetDisplayInfo(&asked)) && asked.str && asked.str != kCallback) {
      texts[column] = asked.str;
    }
  }
  LVITEMW row{};
  row.mask = LVIF_TEXT | LVIF_PARAM;
  row.iItem = ListView_GetItemCount(m_list);
  row.pszText = const_cast<wchar_t*>(texts[0].c_str());
  row.lParam = item->lParam;
  const int index = static_cast<int>(::SendMessageW(m_list, LVM_INSERTITEMW, 0, reinterpret_cast<LPARAM>(&row)));
  if (index < 0) return E_FAIL;
  LVITEMW second{};
  second.iSubItem = 1;
  second.pszText = const_cast<wchar_t*>(texts[1].c_str());
  ::SendMessageW(m_list, LVM_SETITEMTEXTW, index, reinterpret_cast<LPARAM>(&second));
  item->itemID = static_cast<HRESULTITEM>(item->lParam);
  return S_OK;
}

STDMETHODIMP ConsoleHost::FindItemByLParam(LPARAM lParam, HRESULTITEM* item) {
  if (!item) return E_POINTER;
  LVFINDINFOW find{};
  find.flags = LVFI_PARAM;
  find.lParam = lParam;
  if (::SendMessageW(m_list, LVM_FINDITEMW, static_cast<WPARAM>(-1), reinterpret_cast<LPARAM>(&find)) < 0) return E_FAIL;
  *item = static_cast<HRESULTITEM>(lParam);
  return S_OK;
}

STDMETHODIMP ConsoleHost::DeleteItem(HRESULTITEM item, int) {
  LVFINDINFOW find{};
  find.flags = LVFI_PARAM;
  find.lParam = static_cast<LPARAM>(item);
  const LRESULT index = ::SendMessageW(m_list, LVM_FINDITEMW, static_cast<WPARAM>(-1), reinterpret_cast<LPARAM>(&find));
  if (index < 0) return E_INVALIDARG;
  ListView_DeleteItem(m_list, static_cast<int>(index));
  return S_OK;
}

STDMETHODIMP ConsoleHost::DeleteAllRsltItems() {
  ListView_DeleteAllItems(m_list);
  return S_OK;
}

STDMETHODIMP ConsoleHost::GetViewMode(LONG* mode) {
  if (!mode) return E_POINTER;
  *mode = MMCLV_VIEWSTYLE_REPORT;
  return S_OK;
}

STDMETHODIMP ConsoleHost::UpdateItem(HRESULTITEM item) {
  LVFINDINFOW find{};
  find.flags = LVFI_PARAM;
  find.lParam = static_cast<LPARAM>(item);
  const LRESULT index = ::SendMessageW(m_list, LVM_FINDITEMW, static_cast<WPARAM>(-1), reinterpret_cast<LPARAM>(&find));
  ScopeNode* node = m_shown ? NodeOf(m_shown) : nullptr;
  if (index < 0 || !node || node->extension < 0 || !m_extensions[node->extension].component) return E_INVALIDARG;
  for (int column = 0; column < 2; ++column) {
    RESULTDATAITEM asked{};
    asked.mask = RDI_STR | RDI_PARAM;
    asked.lParam = static_cast<LPARAM>(item);
    asked.nCol = column;
    if (FAILED(m_extensions[node->extension].component->GetDisplayInfo(&asked)) || !asked.str || asked.str == kCallback)
      continue;
    LVITEMW text{};
    text.iSubItem = column;
    text.pszText = asked.str;
    ::SendMessageW(m_list, LVM_SETITEMTEXTW, index, reinterpret_cast<LPARAM>(&text));
  }
  return S_OK;
}

}  // namespace vx::console
