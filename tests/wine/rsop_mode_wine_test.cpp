// The RSoP factories' helpers put a new snap-in object into its mode through IVXRsopSnapinMode,
// called through the real COM vtable: the second operation for RSoP mode, the fourth for the section.
#include <gtest/gtest.h>

#include <vector>

#include "rsop/win32/rsop_snapin_mode.h"

namespace {

class ModeObject : public IVXRsopSnapinMode {
 public:
  explicit ModeObject(bool offersMode) : m_offersMode(offersMode) {}
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    *object = nullptr;
    if (iid == IID_IUnknown || (m_offersMode && iid == vx::rsop::IID_IVXRsopSnapinMode)) {
      *object = static_cast<IVXRsopSnapinMode*>(this);
      AddRef();
      return S_OK;
    }
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++m_references; }
  ULONG STDMETHODCALLTYPE Release() override { return --m_references; }
  HRESULT STDMETHODCALLTYPE get_Rsop(VARIANT_BOOL*) override { return Called("get_Rsop", 0); }
  HRESULT STDMETHODCALLTYPE put_Rsop(VARIANT_BOOL value) override { return Called("put_Rsop", value); }
  HRESULT STDMETHODCALLTYPE get_MachineSection(VARIANT_BOOL*) override { return Called("get_MachineSection", 0); }
  HRESULT STDMETHODCALLTYPE put_MachineSection(VARIANT_BOOL value) override { return Called("put_MachineSection", value); }

  std::vector<std::pair<std::string, int>> calls;
  ULONG m_references = 1;
  HRESULT answer = S_OK;

 private:
  HRESULT Called(const char* name, int value) {
    calls.emplace_back(name, value);
    return answer;
  }
  bool m_offersMode;
};

}  // namespace

TEST(RsopSnapinMode, HelpersCallTheSecondAndFourthOperations) {
  ModeObject object(true);
  EXPECT_EQ(vx::rsop::PutRsop(&object), S_OK);
  EXPECT_EQ(vx::rsop::PutMachineSection(&object, FALSE), S_OK);
  EXPECT_EQ(vx::rsop::PutMachineSection(&object, TRUE), S_OK);
  const std::vector<std::pair<std::string, int>> expected{
      {"put_Rsop", -1}, {"put_MachineSection", 0}, {"put_MachineSection", -1}};
  EXPECT_EQ(object.calls, expected);
  EXPECT_EQ(object.m_references, 1u) << "every reference taken is given back";

  object.answer = E_ACCESSDENIED;
  EXPECT_EQ(vx::rsop::PutRsop(&object), E_ACCESSDENIED) << "the interface's result is returned";
}

TEST(RsopSnapinMode, ObjectWithoutTheInterfaceGivesNoInterface) {
  ModeObject object(false);
  EXPECT_EQ(vx::rsop::PutRsop(&object), E_NOINTERFACE);
  EXPECT_EQ(vx::rsop::PutMachineSection(&object, FALSE), E_NOINTERFACE);
  EXPECT_TRUE(object.calls.empty());
  EXPECT_EQ(vx::rsop::PutRsop(nullptr), E_POINTER);
}
