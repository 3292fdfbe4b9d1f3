// SPDX-License-Identifier: MIT
// Gets a secret as the programs do and signs in to the IMAP server of its preference file, for
// secret_leaks.py to look into its memory and files.
//
// secret_keeper sign-in PREFERENCES LOG: signs in, with the protocol in LOG, and prints "signed in"
// while the connection is open, "closed" after it; waits for a line of input after each.
// secret_keeper refused PREFERENCES LOG: the same for a sign-in that the server refuses.
// secret_keeper store PREFERENCES LOG: puts the first line of its input into the keyring instead;
// store-for-sending does so for the server for sending.
// secret_keeper leak PREFERENCES LOG: signs in, and keeps a copy in ordinary memory.
#include <signal.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <string>

#include "mail/mail_settings.h"
#include "mail/sign_in_source.h"
#include "platform/curl/curl_network.h"
#include "platform/freedesktop/desktop_keyring.h"
#include "platform/freedesktop/desktop_online_accounts.h"
#include "platform/posix/posix_clock.h"
#include "platform/posix/posix_file_system.h"
#include "platform/posix/posix_processes.h"
#include "platform/posix/secret_pages.h"
#include "platform/profile/profile_file.h"
#include "platform/system/trace_log.h"

namespace relaybird {
namespace {

void show(const std::string& words) {
  std::cout << words << std::endl;
}

void waitForALine() {
  char c = 0;
  while (::read(STDIN_FILENO, &c, 1) == 1 && c != '\n') {
  }
}

Secret secretOfInput() {
  Secret secret = Secret::ofSize(1000);
  std::size_t size = 0;
  while (::read(STDIN_FILENO, secret.writable().data() + size, 1) == 1 &&
         secret.bytes()[size] != '\n') {
    ++size;
  }
  secret.cut(size);
  return secret;
}

class Keeper {
 public:
  Keeper(const std::string& preferences, std::string log)
      : trace_(files_, clock_, std::move(log), preferences) {
    auto read = readMailSettings(*profiles_.read(preferences), {});
    for (const std::string& error : read.errors) {
      show(error);
    }
    account_ = read.settings.imap;
    sending_ = read.settings.smtp;
  }

  void store(bool forSending) {
    const SecretAnswer answer =
        keyring_.store(secretKeyOf(forSending ? sending_ : account_), secretOfInput(), {});
    show(answer.end == SecretAnswer::End::kDone ? "stored" : answer.words);
    waitForALine();
  }

  void signIn(bool leak) {
    CurlNetwork network;
    SignInSource source({&keyring_, &accounts_, &commands_, credentialFolder(), steadyTime}, files_,
                        account_, account_);
    const SignInMaterial material = source.get({});
    if (!material.signIn) {
      show(material.failure.words);
      return;
    }
    if (leak) {
      leaked_ = material.signIn->secret.bytes();
    }
    auto connection =
        network.connect(account_.server, material.signIn, std::chrono::seconds{20},
                        [this](const ProtocolLine& line) { trace_.trace(line.text); });
    while (connection->state() == Connection::State::kOpening) {
      network.wait(std::chrono::seconds{1});
    }
    if (const auto& failure = connection->failure()) {
      source.refused();
      trace_.trace(failure->words + failure->answer);
      show("refused: " + failure->words + " " + failure->answer);
    } else {
      source.accepted();
      show("signed in");
    }
    waitForALine();
    connection.reset();
    show("closed");
    waitForALine();
  }

 private:
  static std::string credentialFolder() {
    const char* const folder = std::getenv("CREDENTIALS_DIRECTORY");
    return folder != nullptr ? folder : "";
  }

  PosixSleeper sleeper_;
  PosixFileSystem files_{sleeper_};
  PosixClock clock_;
  ProfileFile profiles_{files_};
  TraceFile trace_;
  DesktopKeyring keyring_;
  DesktopOnlineAccounts accounts_;
  PosixCommandRunner commands_{steadyTime};
  AccountSettings account_;
  AccountSettings sending_;
  std::string leaked_;
};

}  // namespace
}  // namespace relaybird

int main(int argc, char** argv) {
  if (argc != 4) {
    std::cerr << "secret_keeper sign-in|refused|store|store-for-sending|leak PREFERENCES LOG\n";
    return 2;
  }
  ::signal(SIGPIPE, SIG_IGN);

  relaybird::keepSecretsIn(*new relaybird::SecretPages);
  const std::string what = argv[1];
  relaybird::Keeper keeper(argv[2], argv[3]);
  if (what.starts_with("store")) {
    keeper.store(what == "store-for-sending");
  } else {
    keeper.signIn(what == "leak");
  }
}
