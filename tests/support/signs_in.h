// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string_view>
#include <utility>

#include "support/scripted_network.h"

namespace relaybird {

/// Signs in whoever wants to, as a Network's trace shows it, and goes on with another script. A
/// script alone is a server that offers no sign-in.
class SignsIn : public ServerScript {
 public:
  explicit SignsIn(std::unique_ptr<ServerScript> then) : then_(std::move(then)) {}
  void connecting(ServerEnd& end) override {
    if (end.signIn()) {
      const bool imap = end.server().protocol == MailProtocol::kImap;
      end.trace({true, imap ? "A2 AUTHENTICATE PLAIN ***" : "AUTH PLAIN ***"});
    }
    then_->connecting(end);
  }
  void heard(ServerEnd& end, std::string_view bytes) override { then_->heard(end, bytes); }

 private:
  std::unique_ptr<ServerScript> then_;
};

}  // namespace relaybird
