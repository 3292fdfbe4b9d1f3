// SPDX-License-Identifier: MIT
// The table of the keys of section "mail" of the preference file: where the value of each is in the
// settings, in which form the file has it, and what an absent key stands for.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "mail/mail_settings.h"

namespace relaybird {

/// The places of values in the settings, by the form that they have in the file.
namespace mail_place {

struct Text {
  std::string& (*at)(MailSettings&);
};
struct Path {
  std::string& (*at)(MailSettings&);
};
struct Command {
  std::string& (*at)(MailSettings&);
};
struct Port {
  std::uint16_t& (*at)(MailSettings&);
};
struct Flag {
  bool& (*at)(MailSettings&);
};
struct Limit {
  std::optional<std::size_t>& (*at)(MailSettings&);
};
template <class T>
struct Choice {
  T& (*at)(MailSettings&);
};

}  // namespace mail_place

class MailSettingKey {
 public:
  using SignInChoice = std::optional<SignInMethod>;
  using Place =
      std::variant<mail_place::Text, mail_place::Path, mail_place::Command, mail_place::Port,
                   mail_place::Flag, mail_place::Limit, mail_place::Choice<MailboxKind>,
                   mail_place::Choice<DeliveryKind>, mail_place::Choice<Security>,
                   mail_place::Choice<SignInChoice>, mail_place::Choice<SecretSource>>;
  /// A default for a key that is absent or empty. It may depend on the keys before it.
  using Default = std::string (*)(const MailSettings&, const LocalIdentity&);

  MailSettingKey(std::string_view name, Place place, Default byDefault = nullptr)
      : name_(name), place_(place), absent_(byDefault) {}

  std::string_view name() const { return name_; }
  /// Puts a text from the file into the settings. False: the text is not a value of this key, and
  /// the settings are unchanged.
  bool take(MailSettings& settings, std::string_view text, const std::string& home) const;
  /// The value as the file has it.
  std::string textIn(const MailSettings& settings) const;
  /// What the file would have to say for the same as an absent key.
  std::string absent(const MailSettings& settings, const LocalIdentity& user) const;
  /// "a number from 1 to 65535"
  std::string whatIsAllowed() const;
  /// Whether nothing at all is a value, which the file has as kNothing.
  bool mayBeNothing() const;

 private:
  std::string_view name_;
  Place place_;
  Default absent_;
};

/// An empty value counts as absent, so "nothing" is written like this where the default is
/// something.
inline constexpr std::string_view kNothing = "-";

/// All keys, in the order of reading and writing.
const std::vector<MailSettingKey>& mailSettingKeys();

/// Whether the source gives an access token, and whether the method takes one.
bool givesToken(SecretSource source);
bool takesToken(const std::optional<SignInMethod>& method);

}  // namespace relaybird
