// The objects the test locator's query returns: the seven properties of a registry policy setting
// each, as values that become VARIANTs when asked for.
#pragma once

#include <string>
#include <vector>

#include "wmi_fixture.h"

namespace vx::rsop::testserver {

using wmifixture::FixtureObject;
using wmifixture::FixtureValue;

// The objects of a namespace, in query order; false for a namespace the server does not know.
bool FixtureObjects(const std::wstring& ns, std::vector<FixtureObject>& objects);

}  // namespace vx::rsop::testserver
