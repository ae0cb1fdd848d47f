// The registry port's contract: the suite RegistryContract, which every implementation passes. It runs
// natively over MemoryRegistry and under Wine over Win32Registry, which keeps the two alike. The test
// program that links it defines MakeRegistryEnvironment for the implementation it tests.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/registry.h"

namespace vx::contract {

// Scratch places for one test; whatever they hold is removed when the environment is destroyed.
class RegistryEnvironment {
 public:
  virtual ~RegistryEnvironment() = default;
  virtual platform::IRegistry& Registry() = 0;
  // A fresh path below root that does not exist yet: "SOFTWARE\VXGPOSnapinTests\<id>" below LocalMachine
  // (so that it has a 32-bit view), one component "VXGPOSnapinTests.<id>" below ClassesRoot,
  // "Software\VXGPOSnapinTests\<id>" elsewhere.
  std::u16string NewScratchPath(platform::RegistryRoot root);

 protected:
  std::vector<std::pair<platform::RegistryRoot, std::u16string>> made_;  // every path handed out
};

std::unique_ptr<RegistryEnvironment> MakeRegistryEnvironment();

// Key or value names by index until ERROR_NO_MORE_ITEMS.
std::vector<std::u16string> Subkeys(platform::IRegistryKey& key);
std::vector<std::u16string> ValueNames(platform::IRegistryKey& key);

}  // namespace vx::contract
