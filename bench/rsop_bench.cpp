// Cost of QueryRsop per object: reading, resolving the GPO name and merging by value name. The merge
// must stay linear, so ten times the objects should cost about ten times as much, also when every
// object has its own value name (where a search through the entries would grow quadratically).
// Tracing is not installed: this measures the data path only.
#include <benchmark/benchmark.h>

#include "ratio_reporter.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/format.h"
#include "rsop/memory_rsop_ports.h"
#include "rsop/rsop_data.h"

using namespace vx::rsop;

namespace {

constexpr const char16_t* kGpos[] = {
    u"cn={31B2F340-016D-11D2-945F-00C04FB984F9},cn=policies,cn=system,DC=corp,DC=example",
    u"cn={6AC1786C-016F-11D2-945F-00C04FB984F9},cn=policies,cn=system,DC=corp,DC=example",
    u"cn={A7E5F0B2-5C1D-4E8F-9B3A-2D6C8E1F4A70},cn=policies,cn=system,DC=corp,DC=example",
    u"LocalGPO",
};

struct Fixture {
  MemoryRsopInformation info;
  MemoryRsopLocator locator;
  MemoryDirectory directory;
  MemoryRsopClipboard clipboard;
  CRsopData data{RsopPorts{&locator, &directory, &clipboard}};

  Fixture(int objects, int names) {
    info.userNamespace = u"\\\\.\\root\\rsop\\ns1\\User";
    for (int g = 0; g < 3; ++g)
      directory.displayNames[u"LDAP://" + std::u16string(kGpos[g])] = vx::Format(u"GPO %d", g);
    std::u16string image = u"0000000000000011";
    image.push_back(u'\0');
    image += u"0000000000000003";
    image.append(2, u'\0');
    const std::vector<BYTE> value = Utf16Bytes(image);
    for (int i = 0; i < objects; ++i) {
      RegistryPolicySetting s;
      // Every other object spells its name in upper case: the merge compares ignoring case.
      s.valueName = vx::Format(i % 2 ? u"RUNTIMEPOLICY%05d" : u"RuntimePolicy%05d", i % names);
      s.value = value;
      s.gpoId = kGpos[i % 4];
      s.precedence = 1 + (i / names) % 4;
      locator.objects.push_back(MakeRegistryPolicySetting(s));
    }
    if (data.InitRsop(&info) != S_OK) std::abort();
  }
};

void BM_QueryRsop(benchmark::State& state) {
  const int objects = static_cast<int>(state.range(0));
  const int names = static_cast<int>(state.range(1));
  Fixture fixture(objects, names);
  for (auto _ : state) {
    benchmark::DoNotOptimize(fixture.data.QueryRsop());
    if (fixture.data.Entries().size() != static_cast<size_t>(std::min(objects, names))) std::abort();
  }
  state.SetItemsProcessed(state.iterations() * objects);
}
BENCHMARK(BM_QueryRsop)->Args({1000, 100})->Args({10000, 100})->Args({1000, 1000})->Args({10000, 10000});

// Baseline: the same objects read through the same ports (every property), with nothing kept. The
// bigger inputs no longer fit in the caches, which slows the reading itself; the ratio of QueryRsop
// to this baseline isolates what the merge adds.
void BM_ReadObjects(benchmark::State& state) {
  const int objects = static_cast<int>(state.range(0));
  Fixture fixture(objects, static_cast<int>(state.range(1)));
  std::unique_ptr<IRsopServices> services;
  if (fixture.locator.ConnectServer(fixture.info.userNamespace, services) != S_OK) std::abort();
  for (auto _ : state) {
    std::unique_ptr<IRsopObjectEnum> list;
    services->ExecQuery(u"WQL", u"SELECT * FROM RSOP_RegistryPolicySetting", 0x30, list);
    for (std::unique_ptr<IRsopObject> object; list->Next(object) == S_OK;) {
      for (const char16_t* name :
           {u"registryKey", u"valueName", u"valueType", u"value", u"deleted", u"GPOID", u"precedence"}) {
        vx::Variant value;
        benchmark::DoNotOptimize(object->Get(name, value));
      }
    }
  }
  state.SetItemsProcessed(state.iterations() * objects);
}
BENCHMARK(BM_ReadObjects)->Args({1000, 100})->Args({10000, 100})->Args({1000, 1000})->Args({10000, 10000});

// Prints the growth ratios after the usual table. Linear growth is 10x for ten times the objects; a
// search through the entries would make the merge grow a hundredfold when every name is distinct.
class RsopRatios : public RatioReporter {
 public:
  RsopRatios() : RatioReporter(true) {}
  void Finalize() override {
    RatioReporter::Finalize();
    std::printf("\nCPU ns per object (objects/names):\n");
    for (const char* args : {"/1000/100", "/10000/100", "/1000/1000", "/10000/10000"}) {
      const double objects = std::atof(args + 1);
      const double query = Time(std::string("BM_QueryRsop") + args) / objects;
      const double read = Time(std::string("BM_ReadObjects") + args) / objects;
      if (query > 0) std::printf("  %-14s QueryRsop %8.1f   reading alone %8.1f\n", args + 1, query, read);
    }
    std::printf("\nRatios (same run, CPU time):\n");
    Growth("100 names", "/10000/100", "/1000/100");
    Growth("all names distinct", "/10000/10000", "/1000/1000");
  }

 private:
  void Growth(const char* what, const std::string& big, const std::string& small) {
    const double query = Time("BM_QueryRsop" + big) / Time("BM_QueryRsop" + small);
    const double read = Time("BM_ReadObjects" + big) / Time("BM_ReadObjects" + small);
    if (!(query > 0) || !(read > 0)) return;
    // Relative growth: 1 when QueryRsop grows as reading the objects does; a search through the entries
    // would make it about 10 with distinct names. The larger entry arrays miss the caches more, hence
    // the margin.
    const double relative = query / read;
    std::printf("  %-20s QueryRsop 10,000/1,000 %6.2fx, reading alone %6.2fx, relative %5.2f (goal <= 2: %s)\n",
                what, query, read, relative, relative <= 2.0 ? "met" : "NOT met");
  }
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  RsopRatios reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  return 0;
}
