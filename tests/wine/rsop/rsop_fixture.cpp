#include "rsop/rsop_fixture.h"

#include <cstring>

#include "rsop/rsop_test_server.h"

namespace vx::rsop::testserver {

namespace {

constexpr wchar_t kKey[] = L"Software\\Policies\\Vantorix\\Applications\\{5ED04F3F-AC3E-4BE0-A157-782B204E2B8C}";

FixtureValue Null() { return FixtureValue::Null(); }
FixtureValue Text(std::wstring text) { return FixtureValue::Text(std::move(text)); }
FixtureValue Int(LONG number) { return FixtureValue::Int(number); }
FixtureValue Bool(bool value) { return FixtureValue::Bool(value); }
// A REG_MULTI_SZ image of the elements, as WMI hands out registry data: a byte array.
FixtureValue Multi(std::initializer_list<std::wstring_view> elements, LONG lowerBound = 0) {
  std::wstring image;
  for (std::wstring_view element : elements) {
    image.append(element);
    image.push_back(L'\0');
  }
  image.push_back(L'\0');
  std::vector<BYTE> bytes(image.size() * sizeof(wchar_t));
  std::memcpy(bytes.data(), image.data(), bytes.size());
  return FixtureValue::Bytes(std::move(bytes), lowerBound);
}

FixtureObject Setting(FixtureValue key, FixtureValue name, FixtureValue type, FixtureValue value,
                      FixtureValue deleted, FixtureValue gpoId, FixtureValue precedence) {
  return {{L"registryKey", std::move(key)}, {L"valueName", std::move(name)}, {L"valueType", std::move(type)},
          {L"value", std::move(value)},     {L"deleted", std::move(deleted)},  {L"GPOID", std::move(gpoId)},
          {L"precedence", std::move(precedence)}};
}

// Every rule of the filter and the merge, in one query. Only one GPO id names a directory object (with
// a server that cannot be reached); the others are taken as display names as they stand.
std::vector<FixtureObject> Settings() {
  const std::wstring lower = L"software\\policies\\vantorix\\applications\\{5ed04f3f-ac3e-4be0-a157-782b204e2b8c}";
  return {
      // 0: precedence 2 first, then 2: precedence 1 of another GPO (the name differs in case) wins.
      Setting(Text(kKey), Text(L"LogonPolicy"), Int(7), Multi({L"0000000000000003"}), Bool(false), Text(L"GPO-Site"),
              Int(2)),
      Setting(Text(L"Software\\Policies\\Other"), Text(L"LogonPolicy"), Int(7), Multi({L"0000000000000009"}),
              Bool(false), Text(L"GPO-Other"), Int(1)),
      Setting(Text(lower), Text(L"logonpolicy"), Int(7), Multi({L"0000000000000005", L"0000000000000001"}),
              Bool(false), Text(L"GPO-Domain"), Int(1)),
      Setting(Text(kKey), Text(L"RuntimePolicy"), Int(1), Multi({L"00000000000000FF"}), Bool(false),
              Text(L"GPO-Sz"), Int(1)),
      Setting(Text(kKey), Text(L""), Int(7), Multi({L"00000000000000FF"}), Bool(false), Text(L"GPO-NoName"), Int(1)),
      // 5: no precedence counts as 1; 6 (precedence 2) only joins the list.
      Setting(Text(kKey), Text(L"RuntimePolicy"), Int(7), Multi({L"0000000000000002"}), Bool(true),
              Text(L"LocalGPO"), Null()),
      Setting(Text(kKey), Text(L"RuntimePolicy"), Int(7), Multi({L"0000000000000004"}), Bool(false),
              Text(L"GPO-Domain"), Int(2)),
      // Mistyped: a value type given as text, value data given as text, a missing key.
      Setting(Text(kKey), Text(L"KioskRuntimePolicy"), Text(L"7"), Multi({L"00000000000000FF"}), Bool(false),
              Text(L"GPO-TypeText"), Int(1)),
      Setting(Text(kKey), Text(L"KioskRuntimePolicy"), Int(7), Text(L"0000000000000001"), Bool(false),
              Text(L"GPO-DataText"), Int(1)),
      Setting(Null(), Text(L"KioskRuntimePolicy"), Int(7), Multi({L"00000000000000FF"}), Bool(false),
              Text(L"GPO-NoKey"), Int(1)),
      // 10: mistyped optional properties: an integer GPO id, an integer "deleted", a text precedence.
      Setting(Text(kKey), Text(L"DisableCredentials"), Int(7), Multi({L"0000000000000008"}, 1), Int(1), Int(42),
              Text(L"3")),
      // 11, 12: precedences 3 then 2, no 1: the data of the first stays.
      Setting(Text(kKey), Text(L"KioskRuntimePolicy"), Int(7), Multi({L"0000000000000006"}), Bool(false),
              Text(L"vx.invalid/CN={6AC1786C-016F-11D2-945F-00C04FB984F9},CN=Policies,CN=System,DC=vx"), Int(3)),
      Setting(Text(kKey), Text(L"KioskRuntimePolicy"), Int(7), Multi({L"0000000000000007"}), Bool(false),
              Text(L"GPO-Domain"), Int(2)),
  };
}

std::vector<FixtureObject> Broken() {
  return {Setting(Text(kKey), Text(L"LogonPolicy"), Int(7), Multi({L"0000000000000001"}), Bool(false),
                  Text(L"LocalGPO"), Int(1))};
}

}  // namespace

bool FixtureObjects(const std::wstring& ns, std::vector<FixtureObject>& objects) {
  if (::_wcsicmp(ns.c_str(), kSettingsNamespace) == 0) {
    objects = Settings();
    return true;
  }
  if (::_wcsicmp(ns.c_str(), kBrokenNamespace) == 0) {
    objects = Broken();
    return true;
  }
  return false;
}

}  // namespace vx::rsop::testserver
