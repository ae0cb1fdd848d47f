// Set-ups shared by the unit tests of the policy store, RSoP data, plug-ins and node tree: tracing into
// an in-memory file, plug-in elements registered in the in-memory registry, and an RSoP session.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "plugins/memory_plugins.h"
#include "plugins/ui_elements.h"
#include "rsop/memory_rsop_ports.h"
#include "rsop/rsop_data.h"
#include "support/check.h"
#include "trace_test_support.h"

namespace vxtest {

inline bool Has(const std::vector<std::string>& texts, std::string_view part) {
  return std::any_of(texts.begin(), texts.end(),
                     [&](const std::string& t) { return t.find(part) != std::string::npos; });
}

// Text in which each '|' stands for a NUL, so that multi-strings read as stored: u"1|2||".
inline std::u16string Nuls(std::u16string text) {
  std::replace(text.begin(), text.end(), u'|', u'\0');
  return text;
}

// The code of the CHResultError that body throws; S_OK when it throws none.
template <class Body>
HRESULT Thrown(Body&& body) {
  try {
    body();
  } catch (const vx::CHResultError& e) {
    return e.Code();
  }
  return S_OK;
}

using TracedTest = TracingFixture;  // tracing on from the start

// Plug-in elements registered in the order of the calls, which is also the order the registry
// enumerates them in.
class WithPlugins : public TracedTest {
 protected:
  static GUID Clsid(int n) {
    return GUID{static_cast<std::uint32_t>(0xA0000000u + n), 0x1111, 0x2222, {0x80, 0, 1, 2, 3, 4, 5, 6}};
  }
  static std::u16string Module(int n) { return u"C:\\Plugins\\element" + vx::Widen(std::to_string(n)) + u".dll"; }

  std::shared_ptr<vx::plugins::FakeElement> Register(std::shared_ptr<vx::plugins::FakeElement> element,
                                                     std::u16string_view subkey = vx::plugins::kGpoEditorTokensSubkey) {
    const int n = ++m_registered;
    EXPECT_EQ(ERROR_SUCCESS,
              vx::plugins::WriteRegistration(registry, subkey, vx::plugins::GuidToString(Clsid(n)), Module(n)));
    factory.Register(Module(n), Clsid(n), element);
    return element;
  }
  // A password (primary and secondary) and a one-time code (secondary only).
  void RegisterSampleTokens() {
    Register(vx::plugins::MakeFakeToken(u"Password", u"Password", 0x1, 1));
    Register(vx::plugins::MakeFakeToken(u"Code", u"One-time code", 0x10, 3));
  }
  static std::vector<std::string> Names(const vx::plugins::UIElements& elements) {
    std::vector<std::string> names;
    for (int i = 0; i < elements.GetSize(); ++i) names.push_back(vx::Utf16ToUtf8(elements.GetKeyAt(i)));
    return names;
  }

  vx::plugins::FakeElementFactory factory;

 private:
  int m_registered = 0;
};

// Base's set-up plus RSoP data of the machine section, initialised from an in-memory session whose
// settings the test adds.
template <class Base>
class WithRsopSession : public Base {
 protected:
  void SetUp() override {
    Base::SetUp();
    auto data = session.Open();
    ASSERT_NE(data, nullptr);
    rsop = vx::rsop::CRsopDataPtr(data);
  }
  void Setting(std::u16string_view name, std::u16string_view elements) { session.Add(name, elements); }

  vx::rsop::MemoryRsopSession session;
  vx::rsop::CRsopDataPtr rsop;
};

}  // namespace vxtest
