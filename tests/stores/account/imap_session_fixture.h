// SPDX-License-Identifier: MIT
// A session with a server that the test plays, on the thread of the test. Waits are asked for in
// the time of the scripted network and take none.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "message/header_block.h"
#include "platform/posix/posix_file_system.h"
#include "stores/account/imap_server_script.h"
#include "stores/account/imap_session.h"
#include "stores/mailbox/inbox.h"
#include "support/fake_clock.h"
#include "support/scripted_network.h"
#include "support/temp_folder.h"

namespace relaybird {

class ImapSessionFixture : public testing::Test {
 protected:
  ImapSessionFixture() {
    network_.serve([this](ServerEnd& end) {
      if (arrange_) {
        arrange_(end);
      }
      return imapServer(account_);
    });
    for (std::uint32_t uid = 1; uid <= 5; ++uid) {
      account_.add(uid, simpleMail("m" + std::to_string(uid)));
    }
    session_ = std::make_unique<ImapSession>(world());
    session_->watch(true);
  }

  ImapSessionWorld world() {
    return {network_,
            {MailProtocol::kImap, "imap.example.org", 993, Security::kTls, ""},
            "INBOX",
            "1.0",
            {[this](std::stop_token stop) {
               ++signIns_;
               if (whileSigningIn_) {
                 whileSigningIn_(stop);
               }
               if (missing_) {
                 return SignInMaterial{std::nullopt, *missing_};
               }
               return SignInMaterial{SignIn{"ann", SignInMethod::kPassword, Secret("x")}, {}};
             },
             [this] { ++accepted_; }, [this] { ++refused_; }},
            [this](std::size_t count) { return std::string(count, chance_); },
            files_,
            folder_.path("spool"),
            {},
            [] {},
            [this](const std::string& words) { complaints_.push_back(words); }};
  }

  // Runs the session until `reached`; false if that takes more than `limit` of the network's time.
  template <class Reached>
  bool runUntil(const Reached& reached,
                std::chrono::milliseconds limit = std::chrono::minutes(10)) {
    const auto until = network_.steadyTime() + limit;
    // Ends the last wait at the limit.
    network_.after(limit, [this] { network_.wake(); });
    while (!reached()) {
      if (network_.steadyTime() >= until || !session_->step()) {
        return reached();
      }
    }
    return true;
  }

  Wanted refresh() {
    const auto number = session_->work([](ImapWork& work) { return work.wantRefresh(); });
    Wanted state = Wanted::kComing;
    runUntil([&] {
      state = session_->look([&](const ImapWork& work) { return work.refreshed(number); });
      return state != Wanted::kComing;
    });
    return state;
  }
  std::vector<std::uint32_t> unseen() {
    return session_->look([](const ImapWork& work) {
      return work.unseen() ? *work.unseen() : std::vector<std::uint32_t>();
    });
  }
  std::string failure() {
    const auto status = session_->status();
    return status.failure ? status.failure->text : "";
  }
  std::string subject(std::uint32_t uid) {
    session_->work([&](ImapWork& work) { work.wantHeads({uid}); });
    runUntil([&] { return head(uid) != Wanted::kComing; });
    if (head(uid) != Wanted::kThere) {
      return head(uid) == Wanted::kGone
                 ? "gone"
                 : session_->work([&](ImapWork& work) { return work.takeHeadFailure(uid); }).text;
    }
    return HeaderBlock(session_->work([&](ImapWork& work) { return work.takeHead(uid); }).header)
        .subject();
  }
  Wanted head(std::uint32_t uid) {
    return session_->look([&](const ImapWork& work) { return work.head(uid); });
  }
  std::string body(std::uint32_t uid) {
    session_->work([&](ImapWork& work) { work.wantBody(uid); });
    runUntil([&] {
      return session_->look([&](const ImapWork& work) { return work.body(uid); }) !=
             Wanted::kComing;
    });
    auto file = session_->work([&](ImapWork& work) { return work.takeBody(uid); });
    if (!file) {
      return file.error().text;
    }
    std::string bytes((*file)->info().size, '\0');
    EXPECT_EQ((*file)->readAt(0, bytes.data(), bytes.size()).value(), bytes.size());
    return bytes;
  }
  void mark(std::uint32_t uid, bool seen = true) {
    session_->work([&](ImapWork& work) { work.setSeen(uid, seen); });
  }
  bool runUntilMarked(std::uint32_t uid) {
    return runUntil([&] {
      return session_->look([&](const ImapWork& work) { return work.mark(uid); }) !=
             ImapWork::Mark::kOnItsWay;
    });
  }

  ScriptedNetwork network_;
  FakeClock clock_;
  RecordingSleeper sleeper_{clock_};
  PosixFileSystem files_{sleeper_};
  TempFolder folder_;
  ServerAccount account_;
  std::function<void(ServerEnd&)> arrange_;
  std::function<void(const std::stop_token&)> whileSigningIn_;
  std::optional<SignInFailure> missing_;  // instead of a password
  char chance_ = '\x80';                  // the middle of what is possible
  int signIns_ = 0;
  int accepted_ = 0;
  int refused_ = 0;
  std::vector<std::string> complaints_;
  std::unique_ptr<ImapSession> session_;
};

}  // namespace relaybird
