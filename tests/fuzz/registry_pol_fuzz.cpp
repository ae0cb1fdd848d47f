// libFuzzer entry on the Registry.pol parser: any bytes are read in bounds, a failure names an offset
// inside the input, and what parses writes back to exactly the same bytes (the limits: registry_pol_test).
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
  if (WriteRegistryPol(records) != std::vector<BYTE>(bytes.begin(), bytes.end())) std::abort();
  return 0;
}
