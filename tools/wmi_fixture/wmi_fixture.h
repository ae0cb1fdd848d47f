// A WMI locator served from fixture objects: IWbemLocator -> IWbemServices -> IEnumWbemClassObject ->
// IWbemClassObject, enough for the RSoP registry policy query ("SELECT * FROM RSOP_RegistryPolicySetting"
// in WQL). What the objects are comes from a source; the rest of WMI answers WBEM_E_NOT_SUPPORTED.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/wintypes.h"

#include <objbase.h>
#include <oaidl.h>

namespace vx::wmifixture {

struct FixtureValue {
  enum class Kind { Null, Text, Int32, Boolean, Bytes } kind = Kind::Null;
  std::wstring text;
  LONG number = 0;
  std::vector<BYTE> bytes;
  LONG lowerBound = 0;  // of a byte array

  static FixtureValue Null() { return {}; }
  static FixtureValue Text(std::wstring text);
  static FixtureValue Int(LONG number);
  static FixtureValue Bool(bool value);
  static FixtureValue Bytes(std::vector<BYTE> bytes, LONG lowerBound = 0);

  // A new VARIANT the caller clears.
  HRESULT ToVariant(VARIANT* target) const;
};

// Named properties, found ignoring case.
using FixtureObject = std::vector<std::pair<std::wstring, FixtureValue>>;

// What a namespace holds. Called on whatever thread the WMI objects are called on.
class IFixtureSource {
 public:
  virtual ~IFixtureSource() = default;
  // The objects of a namespace in query order; false for a namespace the source does not know
  // (ConnectServer then fails with WBEM_E_INVALID_NAMESPACE).
  virtual bool Objects(const std::wstring& ns, std::vector<FixtureObject>& out) = 0;
  // What Next answers once the objects are used up: S_FALSE, or a failure to pass on.
  virtual HRESULT EndOfEnumeration(const std::wstring& /*ns*/) { return S_FALSE; }
  // One line per call the objects receive, with its arguments.
  virtual void Log(const std::wstring& /*line*/) {}
};

// A new class object (IClassFactory) of the locator over source, for iid. Every object it makes keeps
// the source alive.
HRESULT CreateLocatorFactory(std::shared_ptr<IFixtureSource> source, REFIID iid, void** out);

// COM objects of this library alive in the module (class objects included).
LONG LiveObjects();

}  // namespace vx::wmifixture
