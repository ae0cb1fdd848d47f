#include "gpo/pol_registry.h"

#include <memory>
#include <string>

#include "support/check.h"
#include "support/trace.h"

namespace vx::gpo {
namespace {

using platform::IRegistryKey;

// The key at path, or null when it does not exist.
std::unique_ptr<IRegistryKey> OpenIfPresent(IRegistryKey& root, const std::u16string& path) {
  std::unique_ptr<IRegistryKey> key;
  const LONG error = root.OpenKey(path, KEY_ALL_ACCESS, key);
  if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND) return nullptr;
  _W32_TEST_ERROR(error);
  return key;
}

void DeleteValueIfPresent(IRegistryKey& key, const std::u16string& name) {
  const LONG error = key.DeleteValue(name);
  if (error != ERROR_FILE_NOT_FOUND) _W32_TEST_ERROR(error);
}

void DeleteAllValues(IRegistryKey& key) {
  std::u16string name;
  // Deleting shifts the indexes, so always take the first.
  for (LONG error; (error = key.EnumValue(0, name)) != ERROR_NO_MORE_ITEMS;) {
    _W32_TEST_ERROR(error);
    _W32_TEST_ERROR(key.DeleteValue(name));
  }
}

// Deletes parent\name with its whole subtree; the port deletes only keys without subkeys.
void DeleteTree(IRegistryKey& parent, const std::u16string& name) {
  std::unique_ptr<IRegistryKey> key = OpenIfPresent(parent, name);
  if (!key) return;
  std::u16string child;
  for (LONG error; (error = key->EnumKey(0, child)) != ERROR_NO_MORE_ITEMS;) {
    _W32_TEST_ERROR(error);
    DeleteTree(*key, child);
  }
  key.reset();
  _W32_TEST_ERROR(parent.DeleteKey(name));
}

void ApplyRecord(IRegistryKey& root, const PolRecord& record, PolMarkers markers) {
  std::u16string target;
  PolAction action = ClassifyRecord(record, &target);
  if (markers == PolMarkers::Keep && action != PolAction::CreateKey) action = PolAction::SetValue;
  if (action == PolAction::SecureKey) return;
  if (action == PolAction::SetValue || action == PolAction::CreateKey) {
    std::unique_ptr<IRegistryKey> key;
    _W32_TEST_ERROR(root.CreateKey(record.key, KEY_ALL_ACCESS, key));
    if (action == PolAction::SetValue)
      _W32_TEST_ERROR(key->SetValue(record.value, record.type, record.data.data(),
                                    static_cast<DWORD>(record.data.size())));
    return;
  }
  std::unique_ptr<IRegistryKey> key = OpenIfPresent(root, record.key);
  if (!key) return;
  switch (action) {
    case PolAction::DeleteValue:
      DeleteValueIfPresent(*key, target);
      break;
    case PolAction::DeleteAllValues:
      DeleteAllValues(*key);
      break;
    case PolAction::DeleteValues:
      for (const std::u16string& name : MarkerList(record.data)) DeleteValueIfPresent(*key, name);
      break;
    case PolAction::DeleteKeys:
      for (const std::u16string& name : MarkerList(record.data)) DeleteTree(*key, name);
      break;
    default:
      VX_UNEXPECTED();
  }
}

void DumpKey(IRegistryKey& key, const std::u16string& path, std::vector<PolRecord>& records, int depth) {
  // The registry nests at most 512 levels; deeper means a port that loops.
  if (depth > 512) _W32_TEST_ERROR(ERROR_BADKEY);
  DWORD values = 0;
  DWORD subkeys = 0;
  _W32_TEST_ERROR(key.QueryInfo(&subkeys, &values));
  std::u16string name;
  DWORD index = 0;
  for (LONG error; (error = key.EnumValue(index, name)) != ERROR_NO_MORE_ITEMS; ++index) {
    _W32_TEST_ERROR(error);
    PolRecord record{path, name, REG_NONE, {}};
    DWORD size = 0;
    _W32_TEST_ERROR(key.QueryValue(name, &record.type, nullptr, &size));
    record.data.resize(size);
    _W32_TEST_ERROR(key.QueryValue(name, &record.type, record.data.data(), &size));
    record.data.resize(size);
    records.push_back(std::move(record));
  }
  if (index == 0 && subkeys == 0) records.push_back(PolRecord{path, {}, REG_NONE, {}});
  for (DWORD i = 0;; ++i) {
    const LONG error = key.EnumKey(i, name);
    if (error == ERROR_NO_MORE_ITEMS) break;
    _W32_TEST_ERROR(error);
    std::unique_ptr<IRegistryKey> child;
    _W32_TEST_ERROR(key.OpenKey(name, KEY_READ, child));
    DumpKey(*child, path.empty() ? name : path + u"\\" + name, records, depth + 1);
  }
}

}  // namespace

HRESULT ApplyRegistryPol(platform::IRegistryKey& root, const std::vector<PolRecord>& records, PolMarkers markers) {
  VXTraceNS::CTraceScope scope("PolRegistry::Apply");
  return HResultBoundary(scope, [&] {
    scope.Message("%zu records", records.size());
    for (const PolRecord& record : records) ApplyRecord(root, record, markers);
    return S_OK;
  });
}

HRESULT DumpRegistryPol(platform::IRegistryKey& root, std::vector<PolRecord>& records) {
  VXTraceNS::CTraceScope scope("PolRegistry::Dump");
  return HResultBoundary(scope, [&] {
    std::vector<PolRecord> dumped;
    DumpKey(root, {}, dumped, 0);
    // An empty root is no setting at all, not a key to create.
    if (dumped.size() == 1 && dumped.front().key.empty() && dumped.front().value.empty() && dumped.front().data.empty())
      dumped.clear();
    records = std::move(dumped);
    scope.Message("%zu records", records.size());
    return S_OK;
  });
}

}  // namespace vx::gpo
