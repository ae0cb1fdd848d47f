// libFuzzer entry on the stored-policy reader: any bytes are read in bounds, the masks are distinct,
// and writing them and reading them back gives the same list.
#include <cstdint>
#include <cstdlib>
#include <unordered_set>

#include "policy/multi_sz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace vx::policy;
  const auto masks = ParseMultiSz({data, size});
  if (std::unordered_set<ULONGLONG>(masks.begin(), masks.end()).size() != masks.size()) std::abort();
  if (masks.size() > size / 2) std::abort();  // every element takes at least one character

  if (ParseMultiSz(SerializeMultiSz(masks)) != masks) std::abort();
  return 0;
}
