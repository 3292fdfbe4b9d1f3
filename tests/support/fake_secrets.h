// SPDX-License-Identifier: MIT
// A keyring, online accounts and secret commands that a test decides, and that count the questions.
#pragma once

#include <map>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "platform/system/command_runner.h"
#include "platform/system/online_accounts.h"
#include "platform/system/secret_store.h"

namespace relaybird {

class FakeSecretStore : public SecretStore {
 public:
  SecretAnswer lookUp(const SecretKey& key, std::stop_token stop) override {
    ++lookUps;
    if (auto obstacle = inTheWay(stop)) {
      return *obstacle;
    }
    const auto found = secrets_.find(order(key));
    if (found == secrets_.end()) {
      return {SecretAnswer::End::kNotThere, {}, "not there"};
    }
    return {SecretAnswer::End::kDone, found->second, {}};
  }
  SecretAnswer store(const SecretKey& key, const Secret& secret, std::stop_token stop) override {
    if (auto obstacle = inTheWay(stop)) {
      return *obstacle;
    }
    secrets_[order(key)] = secret;
    return {SecretAnswer::End::kDone, {}, {}};
  }
  SecretAnswer remove(const SecretKey& key, std::stop_token stop) override {
    if (auto obstacle = inTheWay(stop)) {
      return *obstacle;
    }
    const bool removed = secrets_.erase(order(key)) > 0;
    return {removed ? SecretAnswer::End::kDone : SecretAnswer::End::kNotThere, {}, {}};
  }

  /// How every call ends; kDone: the calls do what they are for.
  SecretAnswer::End end = SecretAnswer::End::kDone;
  int lookUps = 0;

 private:
  using Order = std::tuple<MailProtocol, std::string, std::string, std::uint16_t>;
  static Order order(const SecretKey& key) { return {key.protocol, key.user, key.host, key.port}; }
  std::optional<SecretAnswer> inTheWay(const std::stop_token& stop) const {
    if (stop.stop_requested()) {
      return SecretAnswer{SecretAnswer::End::kCancelled, {}, "cancelled"};
    }
    if (end != SecretAnswer::End::kDone) {
      return SecretAnswer{end, {}, "the words of the keyring"};
    }
    return std::nullopt;
  }

  std::map<Order, Secret> secrets_;
};

class FakeOnlineAccounts : public OnlineAccounts {
 public:
  OnlineAccountList list(std::stop_token) override { return {accounts, failure}; }
  OnlineAccountSecret secret(const std::string& id, MailProtocol protocol,
                             std::stop_token) override {
    asked.emplace_back(id, protocol);
    OnlineAccountSecret result = answer;
    result.failure = failure;
    return result;
  }

  std::vector<OnlineAccount> accounts;
  OnlineAccountSecret answer;
  std::optional<OnlineAccountsFailure> failure;
  std::vector<std::pair<std::string, MailProtocol>> asked;
};

class FakeSecretCommands : public SecretCommandRunner {
 public:
  SecretCommandResult runForSecret(const std::vector<std::string>& arguments,
                                   std::chrono::milliseconds, std::stop_token) override {
    ran.push_back(arguments);
    return result;
  }
  /// The command prints this and succeeds.
  void prints(std::string_view output) {
    result = {{CommandResult::End::kExited, 0, {}}, Secret(output)};
  }

  SecretCommandResult result;
  std::vector<std::vector<std::string>> ran;
};

}  // namespace relaybird
