// Registry.pol, the file in which a GPO keeps its registry settings: the header "PReg" and version 1,
// then records [key;value;type;size;data] with UTF-16LE brackets and separators, NUL-terminated
// UTF-16LE key and value names, little-endian 32-bit type and size, and size bytes of data.
// The parser works on bytes with a bounds-checked cursor and explicit limits; the writer is exact,
// so writing what was parsed gives the same bytes back. See docs/registry-pol.md.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/wintypes.h"

namespace vx::gpo {

inline constexpr std::uint32_t kPolSignature = 0x67655250;  // "PReg"
inline constexpr std::uint32_t kPolVersion = 1;
inline constexpr size_t kPolHeaderBytes = 8;

struct PolRecord {
  std::u16string key;    // relative to the policy's root (HKLM or HKCU), "\"-separated
  std::u16string value;  // a value name, empty, or one of the "**" markers
  DWORD type = REG_NONE;
  std::vector<BYTE> data;
  bool operator==(const PolRecord&) const = default;
};

// Explicit bounds, so hostile input cannot exhaust memory.
struct PolLimits {
  size_t maxRecords = 1u << 20;
  size_t maxStringChars = 32767;  // of a key or value name, without its NUL
  size_t maxDataBytes = 16u << 20;
};

struct PolError {
  size_t offset = 0;  // byte offset of what was expected
  std::u16string expected;
  std::u16string Text() const;  // "byte 12: expected ';'"
};

// True and every record in file order, or false and where and what was expected.
bool ParseRegistryPol(std::span<const BYTE> bytes, std::vector<PolRecord>& records, PolError& error,
                      const PolLimits& limits = {});

// The file's bytes: the header, then each record as it stands.
std::vector<BYTE> WriteRegistryPol(std::span<const PolRecord> records);

// What a record asks for, by its value name (markers compare case-insensitively).
enum class PolAction {
  SetValue,         // a plain value name, or the key's default value when data is present
  CreateKey,        // an empty value name and no data
  DeleteValue,      // "**del.<name>": target is <name>
  DeleteAllValues,  // "**delvals."
  DeleteValues,     // "**DeleteValues": data is a REG_SZ list of value names separated by ';'
  DeleteKeys,       // "**DeleteKeys": data is a REG_SZ list of subkey names separated by ';'
  SecureKey,        // "**SecureKey": data is a DWORD asking for the key's security to be reset
};

// The action of a record; for DeleteValue, target receives the value name.
PolAction ClassifyRecord(const PolRecord& record, std::u16string* target = nullptr);

// The names of a DeleteValues / DeleteKeys list: REG_SZ data up to its first NUL, split at ';',
// empty elements dropped.
std::vector<std::u16string> MarkerList(std::span<const BYTE> data);

}  // namespace vx::gpo
