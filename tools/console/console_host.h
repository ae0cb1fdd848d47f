// The host's console: the main window with the scope tree and the result list, offering the
// snap-ins IConsole2, IConsoleNameSpace2 and IResultData over those controls.
#pragma once

#include <windows.h>

#include <commctrl.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <mmc.h>
#include <prsht.h>
#include <gpedit.h>
#include <wrl/client.h>

#include "property_notify.h"

namespace vx::console {

// One root of the host's tree: a console node that extensions register for, with the interface its
// data object offers them (the editor's IGPEInformation, or the RSoP console's IRSOPInformation).
struct ConsoleRoot {
  GUID nodeType;
  std::wstring text;
  IID offeredIid;
  IUnknown* offered;  // outlives the host
};

// The editor's Software Settings node types (machine, user).
inline constexpr GUID kMachineSoftwareSettings = {0x8FC0B73A, 0xA0E1, 0x11D1, {0xA7, 0xD3, 0x00, 0x00, 0xF8, 0x75, 0x71, 0xE3}};
inline constexpr GUID kUserSoftwareSettings = {0x8FC0B73C, 0xA0E1, 0x11D1, {0xA7, 0xD3, 0x00, 0x00, 0xF8, 0x75, 0x71, 0xE3}};

// The editor's two roots over a GPO.
std::vector<ConsoleRoot> EditorRoots(IGPEInformation* gpe);

class ConsoleHost final : public IConsole2, public IConsoleNameSpace2, public IResultData, public IDisplayHelp {
 public:
  explicit ConsoleHost(std::vector<ConsoleRoot> roots) : m_roots(std::move(roots)) {}
  HRESULT Create(const std::wstring& title = L"Group Policy Console Host");
  // Creates every extension registered for the roots' node types and inserts the roots.
  size_t LoadExtensions();
  // Expands the tree below the root of that index down to the first node of that name and selects it.
  bool ExpandTo(const std::wstring& name, size_t root = 0);
  // Expands and selects the node at that path of display names (the first name is a root's); a
  // name matches with or without a leading "[...]" tag.
  bool Select(const std::vector<std::wstring>& path);
  // What the windows show: the names below a tree node (expanding it), and the result rows.
  std::vector<std::wstring> Children(const std::vector<std::wstring>& path);
  std::vector<std::vector<std::wstring>> ResultRows() const;
  // Opens the property sheet of the result row of that name (modal, as a double click does); false
  // when there is no such row or it has no pages.
  bool OpenProperties(const std::wstring& name);
  // The same sheet left open (as the console shows it); null when it could not be made.
  HWND OpenPropertiesModeless(const std::wstring& name);
  // The notify handle a property sheet of the scope node at path is given, and the node's cookie
  // (what its pages name in MMCPropertyChangeNotify); 0 when there is no such node of an extension.
  LONG_PTR ScopeNotifyHandle(const std::vector<std::wstring>& path, MMC_COOKIE* cookie);
  // Help on the result row of that name, as F1 or the console's help verb asks for it
  // (MMCN_CONTEXTHELP to the snap-in's view): the snap-in's answer, S_FALSE when there is no such row.
  HRESULT Help(const std::wstring& name);
  // The last topic a snap-in asked the console to show; empty when none was asked for.
  const std::wstring& HelpTopic() const { return m_helpTopic; }
  // The program's window opens the topics it is asked to show in the HTML Help viewer.
  void ShowHelpTopics() { m_showHelpTopics = true; }
  void OnTimer(std::function<void()> action) { m_timer = std::move(action); }
  // The program's main window ends the message loop when it closes; a host inside a test does not.
  void QuitWhenClosed() { m_quitWhenClosed = true; }
  void Shutdown();
  HWND Window() const { return m_window; }

  // IUnknown (the host lives as long as the program: references are only counted).
  STDMETHODIMP QueryInterface(REFIID iid, void** out) override;
  STDMETHODIMP_(ULONG) AddRef() override { return ++m_refs; }
  STDMETHODIMP_(ULONG) Release() override { return --m_refs; }

  // IConsole2
  STDMETHODIMP SetHeader(LPHEADERCTRL) override { return S_OK; }
  STDMETHODIMP SetToolbar(LPTOOLBAR) override { return E_NOTIMPL; }
  STDMETHODIMP QueryResultView(LPUNKNOWN*) override { return E_NOTIMPL; }
  STDMETHODIMP QueryScopeImageList(LPIMAGELIST*) override { return E_NOTIMPL; }
  STDMETHODIMP QueryResultImageList(LPIMAGELIST*) override { return E_NOTIMPL; }
  STDMETHODIMP UpdateAllViews(LPDATAOBJECT object, LPARAM data, LONG_PTR hint) override;
  STDMETHODIMP MessageBox(LPCWSTR text, LPCWSTR title, UINT style, int* result) override;
  STDMETHODIMP QueryConsoleVerb(LPCONSOLEVERB*) override { return E_NOTIMPL; }
  STDMETHODIMP SelectScopeItem(HSCOPEITEM item) override;
  STDMETHODIMP GetMainWindow(HWND* window) override;
  STDMETHODIMP NewWindow(HSCOPEITEM, ULONG) override { return E_NOTIMPL; }
  STDMETHODIMP Expand(HSCOPEITEM item, BOOL expand) override;
  STDMETHODIMP IsTaskpadViewPreferred() override { return S_FALSE; }
  STDMETHODIMP SetStatusText(LPOLESTR) override { return S_OK; }

  // IConsoleNameSpace2
  STDMETHODIMP InsertItem(LPSCOPEDATAITEM item) override;
  STDMETHODIMP DeleteItem(HSCOPEITEM item, LONG deleteThis) override;
  STDMETHODIMP SetItem(LPSCOPEDATAITEM) override { return E_NOTIMPL; }
  STDMETHODIMP GetItem(LPSCOPEDATAITEM) override { return E_NOTIMPL; }
  STDMETHODIMP GetChildItem(HSCOPEITEM item, HSCOPEITEM* child, MMC_COOKIE* cookie) override;
  STDMETHODIMP GetNextItem(HSCOPEITEM item, HSCOPEITEM* next, MMC_COOKIE* cookie) override;
  STDMETHODIMP GetParentItem(HSCOPEITEM item, HSCOPEITEM* parent, MMC_COOKIE* cookie) override;
  STDMETHODIMP Expand(HSCOPEITEM item) override { return Expand(item, TRUE); }
  STDMETHODIMP AddExtension(HSCOPEITEM, LPCLSID) override { return S_OK; }  // no dynamic extensions here

  // IResultData
  STDMETHODIMP InsertItem(LPRESULTDATAITEM item) override;
  STDMETHODIMP DeleteItem(HRESULTITEM item, int column) override;
  STDMETHODIMP FindItemByLParam(LPARAM lParam, HRESULTITEM* item) override;
  STDMETHODIMP DeleteAllRsltItems() override;
  STDMETHODIMP SetItem(LPRESULTDATAITEM) override { return E_NOTIMPL; }
  STDMETHODIMP GetItem(LPRESULTDATAITEM) override { return E_NOTIMPL; }
  STDMETHODIMP GetNextItem(LPRESULTDATAITEM) override { return E_NOTIMPL; }
  STDMETHODIMP ModifyItemState(int, HRESULTITEM, UINT, UINT) override { return S_OK; }
  STDMETHODIMP ModifyViewStyle(MMC_RESULT_VIEW_STYLE, MMC_RESULT_VIEW_STYLE) override { return S_OK; }
  STDMETHODIMP SetViewMode(LONG) override { return S_OK; }
  STDMETHODIMP GetViewMode(LONG* mode) override;
  STDMETHODIMP UpdateItem(HRESULTITEM item) override;
  STDMETHODIMP Sort(int, DWORD, LPARAM) override { return S_OK; }
  STDMETHODIMP SetDescBarText(LPOLESTR) override { return S_OK; }
  STDMETHODIMP SetItemCount(int, DWORD) override { return S_OK; }

  // IDisplayHelp
  STDMETHODIMP ShowTopic(LPOLESTR topic) override;

 private:
  struct Extension {
    CLSID clsid;
    Microsoft::WRL::ComPtr<IComponentData> data;
    Microsoft::WRL::ComPtr<IComponent> component;
  };
  struct ScopeNode {
    int extension = -1;  // -1: one of the editor's roots
    MMC_COOKIE cookie = 0;
    const ConsoleRoot* root = nullptr;  // for a root: what it is
    std::vector<int> rootExtensions;  // for a root: the extensions registered for its node type
    bool expanded = false;
  };

  static LRESULT CALLBACK WindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
  LRESULT OnNotify(NMHDR* header);
  void Layout();
  HTREEITEM AddTreeItem(HTREEITEM parent, const std::wstring& text, ScopeNode* node, bool children);
  ScopeNode* NodeOf(HTREEITEM item) const;
  std::wstring TextOf(HTREEITEM item) const;
  void EnsureExpanded(HTREEITEM item);
  void ShowNode(HTREEITEM item);
  void HideNode();
  HRESULT ScopeObject(const ScopeNode& node, Microsoft::WRL::ComPtr<IDataObject>& object);
  HTREEITEM Find(HTREEITEM first, const std::wstring& name);
  int AddExtension(const CLSID& clsid);
  void AddRoot(const ConsoleRoot& root);
  HTREEITEM FindPath(const std::vector<std::wstring>& path);
  void RefreshResults();
  bool OpenProperties(int row);
  int ResultRow(const std::wstring& name) const;
  HRESULT ShowProperties(int row, HWND* modelessSheet);
  HRESULT Help(int row);
  // The result row's cookie and its snap-in's view; false when the row is no extension's item.
  bool RowItem(int row, MMC_COOKIE& cookie, IComponent*& component, std::wstring* text = nullptr);
  LONG_PTR NotifyHandle(int extension, bool scope);
  void OnPropertyChange(WPARAM handle, LPARAM param);

  std::vector<ConsoleRoot> m_roots;
  HWND m_window = nullptr, m_tree = nullptr, m_list = nullptr;
  std::vector<Extension> m_extensions;
  std::vector<std::unique_ptr<ScopeNode>> m_nodes;
  int m_current = -1;  // the extension the host is calling; it owns what it inserts
  HTREEITEM m_shown = nullptr;
  bool m_refreshing = false;
  bool m_quitWhenClosed = false;
  bool m_showHelpTopics = false;
  std::wstring m_helpTopic;
  std::function<void()> m_timer;
  std::vector<std::unique_ptr<PropertyNotifyTarget>> m_notifyTargets;  // live until the host closes
  UINT m_propertyChangeMessage = 0;
  std::atomic<ULONG> m_refs{1};
};

}  // namespace vx::console
