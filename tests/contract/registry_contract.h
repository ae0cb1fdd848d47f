// The registry port's contract: one suite, RegistryContract, that every implementation passes. It runs
// natively over MemoryRegistry and under Wine over Win32Registry, which keeps the two alike.
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
  virtual IRegistry& Registry() = 0;
  // A fresh path below root that does not exist yet, as ScratchPathFor makes it.
  virtual std::u16string NewScratchPath(RegistryRoot root) = 0;
};

// "SOFTWARE\VXGPOSnapinTests\<id>" below LocalMachine (so that it has a 32-bit view), one component
// "VXGPOSnapinTests.<id>" below ClassesRoot, "Software\VXGPOSnapinTests\<id>" elsewhere.
std::u16string ScratchPathFor(RegistryRoot root, std::u16string_view id);

struct RegistryTarget {
  const char* name;
  std::unique_ptr<RegistryEnvironment> (*make)();
};

inline void PrintTo(const RegistryTarget& target, std::ostream* os) { *os << target.name; }
inline std::string RegistryTargetName(const ::testing::TestParamInfo<RegistryTarget>& info) { return info.param.name; }

class RegistryContract : public ::testing::TestWithParam<RegistryTarget> {
 protected:
  void SetUp() override;

  std::unique_ptr<RegistryEnvironment> env_;
  std::unique_ptr<IRegistryKey> key_;  // the test's scratch key, closed before its environment goes
};

}  // namespace vx::contract
