// A test fixture in RSoP mode: Base's fixture plus an in-memory RSoP session of the machine section
// whose settings the test adds, and the RSoP data initialised from it.
#pragma once

#include <gtest/gtest.h>

#include <string_view>

#include "rsop/memory_rsop_ports.h"
#include "rsop/rsop_data.h"

namespace vxtest {

template <class Base>
class WithRsopSession : public Base {
 protected:
  void SetUp() override {
    Base::SetUp();
    auto data = session.Open();
    ASSERT_NE(data, nullptr);
    rsop = vx::rsop::CRsopDataPtr(data);
  }
  void Setting(std::u16string_view name, std::u16string_view elements, int precedence = 1) {
    session.Add(name, elements, precedence);
  }

  vx::rsop::MemoryRsopSession session;
  vx::rsop::CRsopDataPtr rsop;
};

}  // namespace vxtest
