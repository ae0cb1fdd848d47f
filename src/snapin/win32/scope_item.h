// One scope node of the snap-in in the console's namespace: what kind it is, its section, its parent
// and console item, and (on the product node) the editor's GPO information that every node below it
// uses. The decisions about the node live in node_tree; this only carries it through the console.
#pragma once

#include "platform/wintypes.h"

#include <objbase.h>
#include <prsht.h>
#include <gpedit.h>
#include <mmc.h>
#include <wrl/client.h>

#include <vector>

#include "snapin/node_tree.h"

namespace vx::snapin {

enum class ScopeKind { ComputerRoot, UserRoot, Vantorix, Security, Authentication, Enrollment };

class CScopeItem final : public IGpoInformationSource {
 public:
  CScopeItem(ScopeKind kind, DWORD section, CScopeItem* parent) : m_kind(kind), m_section(section), m_parent(parent) {}

  ScopeKind Kind() const { return m_kind; }
  DWORD Section() const { return m_section; }
  CScopeItem* Parent() const { return m_parent; }
  NodeIdentity Identity() const;
  // Scope children as node_tree decides them (the roots get the product node).
  std::vector<ScopeKind> Children() const;

  HSCOPEITEM ConsoleItem() const { return m_item; }
  void SetConsoleItem(HSCOPEITEM item) { m_item = item; }
  bool Expanded() const { return m_expanded; }
  void SetExpanded(bool expanded) { m_expanded = expanded; }

  // The product node at or above this node; null above it.
  const CScopeItem* ProductNode() const;
  void SetGpeInformation(Microsoft::WRL::ComPtr<IGPEInformation> information) { m_gpe = std::move(information); }
  IGPEInformation* GpeInformation() const;  // the product node's, or null

  // IGpoInformationSource: the product node's GPO information; E_NOINTERFACE without one.
  HRESULT GetGPEInformation(std::shared_ptr<policy::IGpoInformation>& information) override;

 private:
  ScopeKind m_kind;
  DWORD m_section;
  CScopeItem* m_parent;
  HSCOPEITEM m_item = 0;
  bool m_expanded = false;
  Microsoft::WRL::ComPtr<IGPEInformation> m_gpe;
};

ScopeKind ScopeKindOf(ScopeNodeKind kind);

}  // namespace vx::snapin
