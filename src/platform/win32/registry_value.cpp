// SPDX-License-Identifier: MIT
#include "platform/win32/registry_value.h"

#include <cerrno>
#include <cstring>

#include "platform/win32/win32_error.h"
#include "platform/win32/win32_text.h"

namespace relaybird {
namespace {

// Values may change between the call that tells their size and the one that reads them.
constexpr int kTries = 10;

struct Value {
  DWORD type = REG_NONE;
  std::vector<unsigned char> bytes;
};

Error registryError(const std::string& what, LSTATUS code) {
  return win32Error(what, static_cast<DWORD>(code));
}

Result<Value> query(HKEY key, const std::string& name) {
  const std::wstring wide = toWide(name);
  Value value;
  LSTATUS code = ERROR_MORE_DATA;
  for (int tries = 0; code == ERROR_MORE_DATA && tries < kTries; ++tries) {
    DWORD size = static_cast<DWORD>(value.bytes.size());
    code = ::RegQueryValueExW(key, wide.c_str(), nullptr, &value.type, value.bytes.data(), &size);
    // Without a buffer the call succeeds and tells the size.
    if (code == ERROR_SUCCESS && size > value.bytes.size()) {
      code = ERROR_MORE_DATA;
    }
    value.bytes.resize(size);
  }
  if (code != ERROR_SUCCESS) {
    return registryError("read the value " + name + " of the registry", code);
  }
  return value;
}

// A text need not end in a NUL, and its size may be odd.
std::wstring textOf(const Value& value) {
  std::wstring text(value.bytes.size() / sizeof(wchar_t), L'\0');
  std::memcpy(text.data(), value.bytes.data(), text.size() * sizeof(wchar_t));
  text.resize(std::min(text.find(L'\0'), text.size()));
  return text;
}

std::wstring withVariables(const std::wstring& text) {
  const DWORD size = ::ExpandEnvironmentStringsW(text.c_str(), nullptr, 0);
  std::wstring expanded(size, L'\0');
  const DWORD length = ::ExpandEnvironmentStringsW(text.c_str(), expanded.data(), size);
  // The length counts the closing NUL.
  if (length == 0 || length > size) {
    return text;
  }
  expanded.resize(length - 1);
  return expanded;
}

}  // namespace

Result<RegistryKeyHandle> openRegistryKey(HKEY root, const std::string& name, REGSAM access) {
  HKEY key = nullptr;
  const LSTATUS code = ::RegOpenKeyExW(root, toWide(name).c_str(), 0, access, &key);
  if (code != ERROR_SUCCESS) {
    return registryError("open the key " + name + " of the registry", code);
  }
  return RegistryKeyHandle(key);
}

Result<RegistryKeyHandle> makeRegistryKey(HKEY root, const std::string& name, REGSAM access) {
  HKEY key = nullptr;
  const LSTATUS code =
      ::RegCreateKeyExW(root, toWide(name).c_str(), 0, nullptr, 0, access, nullptr, &key, nullptr);
  if (code != ERROR_SUCCESS) {
    return registryError("make the key " + name + " of the registry", code);
  }
  return RegistryKeyHandle(key);
}

Result<RegistryTextOrNumber> readRegistryValue(HKEY key, const std::string& name,
                                               std::size_t mostCharacters) {
  const std::string what = "read the value " + name + " of the registry";
  const auto value = query(key, name);
  if (!value) {
    return value.error();
  }
  std::uint32_t number = 0;
  if (value->type == REG_DWORD && value->bytes.size() == sizeof number) {
    std::memcpy(&number, value->bytes.data(), sizeof number);
    return RegistryTextOrNumber(number);
  }
  if (value->type != REG_SZ && value->type != REG_EXPAND_SZ) {
    return ownError(what, EINVAL, "it is neither a text nor a 32-bit number");
  }
  if (value->bytes.size() > mostCharacters * sizeof(wchar_t)) {
    return ownError(what, ENAMETOOLONG, "it is too long");
  }
  const std::wstring text = textOf(*value);
  return RegistryTextOrNumber(fromWide(value->type == REG_EXPAND_SZ ? withVariables(text) : text));
}

Result<std::vector<unsigned char>> readRegistryBytes(HKEY key, const std::string& name) {
  auto value = query(key, name);
  if (!value) {
    return value.error();
  }
  return std::move(value->bytes);
}

Result<void> writeRegistryText(HKEY key, const std::string& name, const std::string& text) {
  const std::wstring wide = toWide(text);
  const auto size = static_cast<DWORD>((wide.size() + 1) * sizeof(wchar_t));
  const LSTATUS code = ::RegSetValueExW(key, toWide(name).c_str(), 0, REG_SZ,
                                        reinterpret_cast<const BYTE*>(wide.c_str()), size);
  return code == ERROR_SUCCESS
             ? Result<void>()
             : registryError("write the value " + name + " of the registry", code);
}

Result<void> removeRegistryValue(HKEY key, const std::string& name) {
  const LSTATUS code = ::RegDeleteValueW(key, toWide(name).c_str());
  return code == ERROR_SUCCESS
             ? Result<void>()
             : registryError("remove the value " + name + " of the registry", code);
}

}  // namespace relaybird
