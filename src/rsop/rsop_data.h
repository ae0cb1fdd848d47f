// RSoP data: the winning registry policy settings of this product in an RSoP session, merged per
// value name by precedence, with the GPOs that set them. Shared by the RSoP snap-in's nodes and
// policy objects through CRsopDataPtr; an object is in RSoP mode when its RSoP data has a namespace.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/wintypes.h"
#include "rsop/rsop_ports.h"

namespace VXTraceNS {
class CTraceScope;
}

namespace vx::rsop {

namespace detail {
// The next capacity of a growing entry or precedence array: doubling from 1. A capacity of 2^25
// elements or more (or a negative one) throws E_OUTOFMEMORY.
std::int32_t GrowCapacity(std::int32_t capacity);
}  // namespace detail

struct RsopPrecedenceItem {
  std::u16string gpoName;  // display name of the GPO
  std::int32_t precedence = 0;  // 1 is the GPO that wins
};

struct RsopPolicyEntry {
  std::u16string valueName;
  std::vector<BYTE> data;  // the winning setting's value bytes (a REG_MULTI_SZ image), as stored
  std::u16string gpoId;    // GPOID of the first setting seen for this value name
  std::int32_t deleted = 0;
  RsopPrecedenceItem winner;
  std::vector<RsopPrecedenceItem> precedenceList;  // every GPO that set the value, in query order
};

class CRsopData {
 public:
  explicit CRsopData(const RsopPorts& ports);

  void SetMachineSection(bool machine) { m_machineSection = machine; }
  bool MachineSection() const { return m_machineSection; }
  const std::u16string& Namespace() const { return m_namespace; }
  bool IsRsopMode() const { return !m_namespace.empty(); }

  // Finds the namespace (from the console's object, else the clipboard) and connects, once.
  HRESULT InitRsop(IRsopInformationSource* unknown);
  // Runs QueryRsop until it has once succeeded. Failures pass as CHResultError (not caught here).
  HRESULT LoadRsop();
  HRESULT QueryRsop();
  HRESULT getFriendlyName(const RsopPolicyEntry& entry, std::u16string& name);

  const std::vector<RsopPolicyEntry>& Entries() const { return m_entries; }
  // The first entry whose value name equals name ignoring case; null when there is none.
  const RsopPolicyEntry* FindEntry(std::u16string_view valueName) const;

  // Test and tool access: a namespace given directly (as the clipboard would give it).
  void SetNamespace(std::u16string ns) { m_namespace = std::move(ns); }

 private:
  void ReadObject(IRsopObject& object, VXTraceNS::CTraceScope& scope);
  void Merge(RsopPolicyEntry&& entry, RsopPrecedenceItem&& item, VXTraceNS::CTraceScope& scope);

  RsopPorts m_ports;
  bool m_machineSection = false;
  std::unique_ptr<IRsopServices> m_services;
  std::u16string m_namespace;
  std::vector<RsopPolicyEntry> m_entries;
  // Upper-cased value name -> index in m_entries: keeps the merge linear in the number of objects.
  std::unordered_map<std::u16string, std::size_t> m_index;
  bool m_loaded = false;
};

// The shared, reference-counted holder the snap-in, its nodes and policies keep.
class CRsopDataPtr {
 public:
  CRsopDataPtr() = default;
  explicit CRsopDataPtr(std::shared_ptr<CRsopData> data) : m_pRsop(std::move(data)) {}
  CRsopData* operator->() const { return m_pRsop.get(); }
  CRsopData* get() const { return m_pRsop.get(); }
  explicit operator bool() const { return m_pRsop != nullptr; }
  // Nothing when set; otherwise traces "this->m_pRsop: NULL pointer detected" and throws E_UNEXPECTED.
  void _ASSERTE_RSOP_PTR_() const;
  // RSoP mode: set, with a non-empty namespace.
  bool IsRsopMode() const { return m_pRsop && m_pRsop->IsRsopMode(); }

 private:
  std::shared_ptr<CRsopData> m_pRsop;
};

}  // namespace vx::rsop
