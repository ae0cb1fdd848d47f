// Cost of loading and saving a 1,000-mask policy over the in-memory registry, per mask, each figure a
// ratio against a baseline measured in the same run: Deserialize against reading the value's bytes,
// Serialize against writing the same bytes. Tracing is off (no facility installed), as in the console
// when it is not configured.
#include <benchmark/benchmark.h>

#include "ratio_reporter.h"

#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/memory/memory_registry.h"
#include "policy/auth_policy.h"
#include "policy/multi_sz.h"

using namespace vx::policy;
namespace platform = vx::platform;

namespace {

constexpr size_t kMasks = 1000;

// A GPO application key holding the 1,000-mask value, and the policy that wrote it.
struct Fixture {
  Fixture() {
    registry.CreateKey(platform::RegistryRoot::CurrentUser, kApplicationKey, KEY_ALL_ACCESS, key);
    for (ULONGLONG i = 0; i < kMasks; ++i) policy.Add(0x9E3779B97F4A7C15ull * (i + 1));
    bytes = SerializeMultiSz(policy.Masks());
    key->SetValue(kLogonPolicy, REG_MULTI_SZ, bytes.data(), static_cast<DWORD>(bytes.size()));
  }
  platform::MemoryRegistry registry;
  CRegKey key;
  CGPOAuthPolicy policy;
  std::vector<BYTE> bytes;
};

void PerMask(benchmark::State& state) {
  state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * kMasks));
  state.counters["per_mask"] = benchmark::Counter(static_cast<double>(kMasks),
                                                  benchmark::Counter::kIsIterationInvariantRate |
                                                      benchmark::Counter::kInvert);
}

void BM_Baseline_ReadValue(benchmark::State& state) {
  Fixture f;
  std::vector<BYTE> buffer(f.bytes.size());
  for (auto _ : state) {
    DWORD type = 0;
    DWORD size = static_cast<DWORD>(buffer.size());
    benchmark::DoNotOptimize(f.key->QueryValue(kLogonPolicy, &type, buffer.data(), &size));
    benchmark::ClobberMemory();
  }
  PerMask(state);
}

void BM_Parse(benchmark::State& state) {
  Fixture f;
  for (auto _ : state) benchmark::DoNotOptimize(ParseMultiSz(f.bytes));
  PerMask(state);
}

void BM_Deserialize(benchmark::State& state) {
  Fixture f;
  for (auto _ : state) {
    CGPOAuthPolicy policy;
    benchmark::DoNotOptimize(policy.Deserialize(f.key, kLogonPolicy));
    if (policy.Count() != static_cast<int>(kMasks)) state.SkipWithError("wrong mask count");
  }
  PerMask(state);
}

void BM_Baseline_WriteValue(benchmark::State& state) {
  Fixture f;
  for (auto _ : state) {
    benchmark::DoNotOptimize(f.key->SetValue(kLogonPolicy, REG_MULTI_SZ, f.bytes.data(), static_cast<DWORD>(f.bytes.size())));
  }
  PerMask(state);
}

void BM_Serialize(benchmark::State& state) {
  Fixture f;
  for (auto _ : state) benchmark::DoNotOptimize(f.policy.Serialize(f.key, kLogonPolicy));
  PerMask(state);
}

BENCHMARK(BM_Baseline_ReadValue);
BENCHMARK(BM_Parse);
BENCHMARK(BM_Deserialize);
BENCHMARK(BM_Baseline_WriteValue);
BENCHMARK(BM_Serialize);

// Prints the ratios after the usual table.
class PolicyRatios : public RatioReporter {
 public:
  void Finalize() override {
    RatioReporter::Finalize();
    std::printf("\nRatios (same run):\n");
    PrintRatio("parse / read value", "BM_Parse", "BM_Baseline_ReadValue");
    PrintRatio("Deserialize / read value", "BM_Deserialize", "BM_Baseline_ReadValue");
    PrintRatio("Serialize / write value", "BM_Serialize", "BM_Baseline_WriteValue");
  }
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  PolicyRatios reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
