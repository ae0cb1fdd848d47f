#include "gpo/registry_pol.h"

#include "platform/format.h"
#include "platform/text.h"

namespace vx::gpo {
namespace {

// Reads forward over the file's bytes; every step checks what is left before it reads.
class Cursor {
 public:
  Cursor(std::span<const BYTE> bytes, PolError& error) : m_bytes(bytes), m_error(error) {}

  size_t Offset() const { return m_at; }
  bool AtEnd() const { return m_at == m_bytes.size(); }

  bool ReadUInt32(std::uint32_t& value, const char16_t* what) {
    if (m_bytes.size() - m_at < 4) return Fail(what);
    value = static_cast<std::uint32_t>(m_bytes[m_at]) | static_cast<std::uint32_t>(m_bytes[m_at + 1]) << 8 |
            static_cast<std::uint32_t>(m_bytes[m_at + 2]) << 16 | static_cast<std::uint32_t>(m_bytes[m_at + 3]) << 24;
    m_at += 4;
    return true;
  }

  bool Expect(char16_t c, const char16_t* what) {
    if (m_bytes.size() - m_at < 2 || Char(m_at) != c) return Fail(what);
    m_at += 2;
    return true;
  }

  // A NUL-terminated string; the cursor ends after the NUL.
  bool ReadString(std::u16string& text, size_t maxChars) {
    const size_t start = m_at;
    text.clear();
    for (size_t at = m_at;; at += 2) {
      if (m_bytes.size() - at < 2) return FailAt(start, u"a NUL-terminated UTF-16 string");
      const char16_t c = Char(at);
      if (c == 0) {
        m_at = at + 2;
        return true;
      }
      if (text.size() == maxChars) return FailAt(start, vx::Format(u"a string of at most %zu characters", maxChars));
      text.push_back(c);
    }
  }

  bool ReadData(std::vector<BYTE>& data, size_t size) {
    if (m_bytes.size() - m_at < size) return Fail(vx::Format(u"%zu data bytes", size));
    data.assign(m_bytes.begin() + static_cast<std::ptrdiff_t>(m_at),
                m_bytes.begin() + static_cast<std::ptrdiff_t>(m_at + size));
    m_at += size;
    return true;
  }

  bool Fail(std::u16string expected) { return FailAt(m_at, std::move(expected)); }
  bool FailAt(size_t offset, std::u16string expected) {
    m_error.offset = offset;
    m_error.expected = std::move(expected);
    return false;
  }

 private:
  char16_t Char(size_t at) const {
    return static_cast<char16_t>(m_bytes[at] | static_cast<unsigned>(m_bytes[at + 1]) << 8);
  }

  std::span<const BYTE> m_bytes;
  PolError& m_error;
  size_t m_at = 0;
};

void PutUInt32(std::vector<BYTE>& out, std::uint32_t value) {
  for (int shift = 0; shift < 32; shift += 8) out.push_back(static_cast<BYTE>(value >> shift));
}

void PutChar(std::vector<BYTE>& out, char16_t c) {
  out.push_back(static_cast<BYTE>(c & 0xFF));
  out.push_back(static_cast<BYTE>(c >> 8));
}

void PutString(std::vector<BYTE>& out, std::u16string_view text) {
  for (const char16_t c : text) PutChar(out, c);
  PutChar(out, 0);
}

bool StartsWithIgnoreCase(std::u16string_view text, std::u16string_view prefix) {
  return text.size() >= prefix.size() && vx::EqualsIgnoreCase(text.substr(0, prefix.size()), prefix);
}

}  // namespace

std::u16string PolError::Text() const { return vx::Format(u"byte %zu: expected %ls", offset, expected.c_str()); }

bool ParseRegistryPol(std::span<const BYTE> bytes, std::vector<PolRecord>& records, PolError& error,
                      const PolLimits& limits) {
  records.clear();
  Cursor cursor(bytes, error);
  std::uint32_t signature = 0;
  std::uint32_t version = 0;
  if (!cursor.ReadUInt32(signature, u"the signature \"PReg\"") || signature != kPolSignature)
    return cursor.FailAt(0, u"the signature \"PReg\"");
  if (!cursor.ReadUInt32(version, u"version 1") || version != kPolVersion) return cursor.FailAt(4, u"version 1");

  while (!cursor.AtEnd()) {
    if (records.size() == limits.maxRecords)
      return cursor.Fail(vx::Format(u"the end of the file after %zu records", limits.maxRecords));
    PolRecord record;
    std::uint32_t type = 0;
    std::uint32_t size = 0;
    if (!cursor.Expect(u'[', u"'['") || !cursor.ReadString(record.key, limits.maxStringChars) ||
        !cursor.Expect(u';', u"';' after the key") || !cursor.ReadString(record.value, limits.maxStringChars) ||
        !cursor.Expect(u';', u"';' after the value name") || !cursor.ReadUInt32(type, u"the type") ||
        !cursor.Expect(u';', u"';' after the type") || !cursor.ReadUInt32(size, u"the data size") ||
        !cursor.Expect(u';', u"';' after the data size"))
      return false;
    record.type = type;
    if (size > limits.maxDataBytes) return cursor.FailAt(cursor.Offset() - 6,
                                                         vx::Format(u"a data size of at most %zu", limits.maxDataBytes));
    if (!cursor.ReadData(record.data, size) || !cursor.Expect(u']', u"']'")) return false;
    records.push_back(std::move(record));
  }
  return true;
}

std::vector<BYTE> WriteRegistryPol(std::span<const PolRecord> records) {
  std::vector<BYTE> out;
  PutUInt32(out, kPolSignature);
  PutUInt32(out, kPolVersion);
  for (const PolRecord& record : records) {
    PutChar(out, u'[');
    PutString(out, record.key);
    PutChar(out, u';');
    PutString(out, record.value);
    PutChar(out, u';');
    PutUInt32(out, record.type);
    PutChar(out, u';');
    PutUInt32(out, static_cast<std::uint32_t>(record.data.size()));
    PutChar(out, u';');
    out.insert(out.end(), record.data.begin(), record.data.end());
    PutChar(out, u']');
  }
  return out;
}

PolAction ClassifyRecord(const PolRecord& record, std::u16string* target) {
  const std::u16string_view name = record.value;
  if (name.empty()) return record.data.empty() ? PolAction::CreateKey : PolAction::SetValue;
  if (StartsWithIgnoreCase(name, u"**del.")) {
    if (target) *target = std::u16string(name.substr(6));
    return PolAction::DeleteValue;
  }
  if (vx::EqualsIgnoreCase(name, u"**delvals.")) return PolAction::DeleteAllValues;
  if (vx::EqualsIgnoreCase(name, u"**DeleteValues")) return PolAction::DeleteValues;
  if (vx::EqualsIgnoreCase(name, u"**DeleteKeys")) return PolAction::DeleteKeys;
  if (vx::EqualsIgnoreCase(name, u"**SecureKey")) return PolAction::SecureKey;
  return PolAction::SetValue;
}

std::vector<std::u16string> MarkerList(std::span<const BYTE> data) {
  std::vector<std::u16string> names;
  std::u16string current;
  for (size_t at = 0; at + 1 < data.size(); at += 2) {
    const char16_t c = static_cast<char16_t>(data[at] | static_cast<unsigned>(data[at + 1]) << 8);
    if (c == 0) break;
    if (c == u';') {
      if (!current.empty()) names.push_back(std::move(current));
      current.clear();
    } else {
      current.push_back(c);
    }
  }
  if (!current.empty()) names.push_back(std::move(current));
  return names;
}

}  // namespace vx::gpo
