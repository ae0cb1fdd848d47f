// The registry port's contract: one GoogleTest suite, RegistryContract, that every implementation
// passes. It runs natively over MemoryRegistry and under Wine over Win32Registry, which is what shows
// that the in-memory registry behaves like the real one.
//
// An implementation instantiates it with a factory of its environment:
//   INSTANTIATE_TEST_SUITE_P(Memory, RegistryContract,
//                            ::testing::Values(RegistryTarget{"Memory", &MakeMemoryEnvironment}),
//                            RegistryTargetName);
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <ostream>
#include <string>
#include <string_view>

#include "platform/registry.h"

namespace vx::contract {

using platform::IRegistry;
using platform::IRegistryKey;
using platform::RegistryRoot;

// Scratch places for one test; whatever they hold is removed when the environment is destroyed.
class RegistryEnvironment {
 public:
  virtual ~RegistryEnvironment() = default;
  // A fresh, empty key opened with KEY_ALL_ACCESS.
  virtual std::unique_ptr<IRegistryKey> NewScratchKey() = 0;
  // The registry under test, for root and view cases.
  virtual IRegistry& Registry() = 0;
  // A fresh path below root that does not exist yet: under LocalMachine it starts with "SOFTWARE\",
  // under CurrentUser with "Software\", under ClassesRoot it is one component.
  virtual std::u16string NewScratchPath(RegistryRoot root) = 0;
};

// The scratch path of each root for a unique id, as NewScratchPath describes it.
std::u16string ScratchPathFor(RegistryRoot root, std::u16string_view id);

struct RegistryTarget {
  const char* name;
  std::unique_ptr<RegistryEnvironment> (*make)();
};

inline void PrintTo(const RegistryTarget& target, std::ostream* os) { *os << target.name; }
inline std::string RegistryTargetName(const ::testing::TestParamInfo<RegistryTarget>& info) {
  return info.param.name;
}

class RegistryContract : public ::testing::TestWithParam<RegistryTarget> {
 protected:
  void SetUp() override;
  void TearDown() override;

  std::unique_ptr<RegistryEnvironment> env_;
  std::unique_ptr<IRegistryKey> key_;  // the scratch key of the test
};

}  // namespace vx::contract
