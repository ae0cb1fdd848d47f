// libFuzzer entry on the Registry.pol parser: any bytes are read in bounds and within the limits, a
// failure names an offset inside the input, and what parses writes back to exactly the same bytes.
#include <cstdint>
#include <cstdlib>

#include "gpo/registry_pol.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace vx::gpo;
  const std::span<const BYTE> bytes(data, size);
  const PolLimits limits{.maxRecords = 1000, .maxStringChars = 512, .maxDataBytes = 4096};
  std::vector<PolRecord> records;
  PolError error;
  if (!ParseRegistryPol(bytes, records, error, limits)) {
    if (error.offset > size || error.expected.empty()) std::abort();
    return 0;
  }
  if (records.size() > limits.maxRecords) std::abort();
  for (const PolRecord& record : records) {
    if (record.key.size() > limits.maxStringChars || record.value.size() > limits.maxStringChars) std::abort();
    if (record.data.size() > limits.maxDataBytes) std::abort();
    std::u16string target;
    if (ClassifyRecord(record, &target) == PolAction::DeleteValue && target.size() + 6 != record.value.size())
      std::abort();
    for (const auto& name : MarkerList(record.data))
      if (name.empty() || name.size() > record.data.size() / 2) std::abort();
  }
  if (WriteRegistryPol(records) != std::vector<BYTE>(bytes.begin(), bytes.end())) std::abort();
  return 0;
}
