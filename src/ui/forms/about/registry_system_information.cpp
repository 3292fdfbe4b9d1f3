// SPDX-License-Identifier: MIT
#include "ui/forms/about/registry_system_information.h"

#include <utility>

#include "platform/system/file_exists.h"

namespace relaybird {
namespace {

constexpr const char* kToolKey = R"(SOFTWARE\Microsoft\Shared Tools\MSINFO)";
constexpr const char* kToolValue = "PATH";
constexpr const char* kFolderKey = R"(SOFTWARE\Microsoft\Shared Tools Location)";
constexpr const char* kFolderValue = "MSINFO";
constexpr const char* kToolFile = R"(\MSINFO32.EXE)";

struct ValueText {
  std::string operator()(const std::string& text) const { return text.substr(0, text.find('\0')); }
  // Written as "&h" and hexadecimal digits and read as a number again, it is the same number.
  std::string operator()(std::uint32_t number) const { return std::to_string(number); }
};

}  // namespace

bool GetKeyValue(Registry& registry, RegistryRoot root, const std::string& keyName,
                 const std::string& valueName, std::string& result) {
  result.clear();
  const auto key = registry.open(root, keyName);
  if (!key) {
    return false;
  }
  const Result<RegistryValue> value = (*key)->query(valueName, kRegistryBufferSize);
  if (!value) {
    return false;
  }
  result = std::visit(ValueText(), *value);
  return true;
}

RegistrySystemInformation::RegistrySystemInformation(Registry& registry, FileSystem& files,
                                                     Starter starter)
    : registry_(registry), files_(files), starter_(std::move(starter)) {}

std::optional<std::string> RegistrySystemInformation::program() {
  std::string value;
  if (GetKeyValue(registry_, RegistryRoot::kLocalMachine, kToolKey, kToolValue, value)) {
    return value;
  }
  if (!GetKeyValue(registry_, RegistryRoot::kLocalMachine, kFolderKey, kFolderValue, value)) {
    return std::nullopt;
  }
  value += kToolFile;
  if (!FileExists(files_, value)) {
    return std::nullopt;
  }
  return value;
}

}  // namespace relaybird
