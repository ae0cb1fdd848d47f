// The objects the test locator's query returns: the seven properties of a registry policy setting
// each, as values that become VARIANTs when asked for.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "platform/wintypes.h"

#include <oaidl.h>

namespace vx::rsop::testserver {

struct FixtureValue {
  enum class Kind { Null, Text, Int32, Boolean, Bytes } kind = Kind::Null;
  std::wstring text;
  LONG number = 0;
  std::vector<BYTE> bytes;
  LONG lowerBound = 0;  // of a byte array

  // A new VARIANT the caller clears.
  HRESULT ToVariant(VARIANT* target) const;
};

using FixtureObject = std::vector<std::pair<std::wstring, FixtureValue>>;

// The objects of a namespace, in query order; false for a namespace the server does not know.
bool FixtureObjects(const std::wstring& ns, std::vector<FixtureObject>& objects);

}  // namespace vx::rsop::testserver
