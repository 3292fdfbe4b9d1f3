// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>

#include "mail/mail_store.h"

namespace relaybird {

/// The dictionary of every store that runs without the scripting runtime. Look-ups and additions
/// cost the same however many keys there are.
class TextDictionary : public Dictionary {
 public:
  std::string ClassName() const override { return "Dictionary"; }
  bool Exists(const std::string& key) const override;
  void Add(const std::string& key, const std::string& item) override;
  std::int32_t Count() const override;

 private:
  std::unordered_map<std::string, std::string> items_;
};

}  // namespace relaybird
