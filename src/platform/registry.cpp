#include "platform/registry.h"

#include <limits>

namespace vx::platform {

namespace {

// Reads a whole value. It may change size between asking and reading (another writer), so a short
// read asks again a few times.
LONG QueryWhole(IRegistryKey& key, std::u16string_view name, DWORD& type, std::vector<BYTE>& data) {
  DWORD size = 0;
  LONG rc = key.QueryValue(name, &type, nullptr, &size);
  for (int attempt = 0; rc == ERROR_SUCCESS && attempt < 4; ++attempt) {
    data.resize(size + 1u);  // never empty, so the call below always reads data
    DWORD got = size + 1u;
    rc = key.QueryValue(name, &type, data.data(), &got);
    if (rc == ERROR_SUCCESS) {
      data.resize(got);
      return rc;
    }
    if (rc == ERROR_MORE_DATA) {
      size = got;
      rc = ERROR_SUCCESS;
    }
  }
  return rc == ERROR_SUCCESS ? ERROR_MORE_DATA : rc;
}

}  // namespace

LONG ReadDword(IRegistryKey& key, std::u16string_view name, DWORD& value) {
  BYTE data[4] = {};
  DWORD type = REG_NONE;
  DWORD size = sizeof data;
  const LONG rc = key.QueryValue(name, &type, data, &size);
  if (rc == ERROR_MORE_DATA) return ERROR_UNSUPPORTED_TYPE;  // longer than a DWORD
  if (rc != ERROR_SUCCESS) return rc;
  if (type != REG_DWORD || size != sizeof data) return ERROR_UNSUPPORTED_TYPE;
  value = static_cast<DWORD>(data[0]) | static_cast<DWORD>(data[1]) << 8 | static_cast<DWORD>(data[2]) << 16 |
          static_cast<DWORD>(data[3]) << 24;
  return ERROR_SUCCESS;
}

LONG ReadString(IRegistryKey& key, std::u16string_view name, std::u16string& value, DWORD* type) {
  DWORD valueType = REG_NONE;
  std::vector<BYTE> data;
  const LONG rc = QueryWhole(key, name, valueType, data);
  if (rc != ERROR_SUCCESS) return rc;
  if (type != nullptr) *type = valueType;
  if (valueType != REG_SZ && valueType != REG_EXPAND_SZ) return ERROR_UNSUPPORTED_TYPE;
  // UTF-16LE; an odd last byte is ignored, the text ends at the first NUL or with the data.
  std::u16string text;
  for (size_t i = 0; i + 1 < data.size(); i += 2) {
    const auto c = static_cast<char16_t>(data[i] | (data[i + 1] << 8));
    if (c == u'\0') break;
    text += c;
  }
  value = std::move(text);
  return ERROR_SUCCESS;
}

LONG ReadBytes(IRegistryKey& key, std::u16string_view name, std::vector<BYTE>& value, DWORD* type) {
  DWORD valueType = REG_NONE;
  std::vector<BYTE> data;
  const LONG rc = QueryWhole(key, name, valueType, data);
  if (rc != ERROR_SUCCESS) return rc;
  if (type != nullptr) *type = valueType;
  value = std::move(data);
  return ERROR_SUCCESS;
}

LONG WriteDword(IRegistryKey& key, std::u16string_view name, DWORD value) {
  const BYTE data[4] = {static_cast<BYTE>(value), static_cast<BYTE>(value >> 8), static_cast<BYTE>(value >> 16),
                        static_cast<BYTE>(value >> 24)};
  return key.SetValue(name, REG_DWORD, data, sizeof data);
}

LONG WriteString(IRegistryKey& key, std::u16string_view name, std::u16string_view value, DWORD type) {
  if (value.size() >= std::numeric_limits<DWORD>::max() / 2) return ERROR_INVALID_PARAMETER;
  std::vector<BYTE> data;
  data.reserve(2 * (value.size() + 1));
  for (char16_t c : value) {
    data.push_back(static_cast<BYTE>(c));
    data.push_back(static_cast<BYTE>(c >> 8));
  }
  data.push_back(0);  // the terminating NUL
  data.push_back(0);
  return key.SetValue(name, type, data.data(), static_cast<DWORD>(data.size()));
}

}  // namespace vx::platform
