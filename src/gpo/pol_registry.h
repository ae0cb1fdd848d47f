// Between Registry.pol records and a registry key: applying a file's records to the key that stands
// for the policy's root (HKLM or HKCU of the GPO), and dumping such a key back into plain records, so
// that settings loaded from a file and written back are the same settings.
#pragma once

#include <vector>

#include "gpo/registry_pol.h"
#include "platform/registry.h"
#include "platform/wintypes.h"

namespace vx::gpo {

// What the deletion markers do when records are applied.
enum class PolMarkers {
  Apply,  // as a client applies a policy: delete what they name
  Keep,   // as an editor keeps a GPO: each marker is a value of its own name, so it is written back
};

// Applies the records in their order below root. Values are set with their exact type and bytes; an
// empty value name without data creates the key. With PolMarkers::Apply the deletion markers
// (**del.<name>, **delvals., **DeleteValues, **DeleteKeys) delete from the key if it exists and
// **SecureKey is skipped, as a private key has no security of its own to reset; with Keep every
// marker is set as a value like any other. The first failing registry call stops the work and gives
// its error as an HRESULT.
HRESULT ApplyRegistryPol(platform::IRegistryKey& root, const std::vector<PolRecord>& records,
                         PolMarkers markers = PolMarkers::Apply);

// Every setting below root as plain records: each key's values in enumeration order (its default
// value under the empty name), then its subkeys, depth first in enumeration order; a key that holds
// no value and no subkey gives a key-creation record (empty name, REG_NONE, no data).
HRESULT DumpRegistryPol(platform::IRegistryKey& root, std::vector<PolRecord>& records);

}  // namespace vx::gpo
