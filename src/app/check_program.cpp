// SPDX-License-Identifier: MIT
#include "app/check_program.h"

#include "app/local_identity.h"
#include "prefs/file/preference_location.h"
#include "stores/maildir/maildir_settings.h"
#include "stores/outbox/random_bytes.h"

namespace relaybird {
namespace {

std::string stateFile(const XdgFolders& folders, const char* name) {
  return folders.stateFolder() + "/rbx/" + name;
}

}  // namespace

CheckProgram::CheckProgram(std::ostream& out, std::ostream& err)
    : err_(err),
      console_(out, [this] { loop_.processPending(); }),
      trace_(files_, clock_, stateFile(folders_, "rbxdb.txt"), stateFile(folders_, "rbxkey/db")),
      commands_(posixMainLoopSystem().steadyTime) {}

int CheckProgram::run() {
  if (!openStore()) {
    return 2;
  }
  prefs_ = std::make_unique<clsPref>(PrefWorld{files_, profiles_, folders_, osVersion_,
                                               store_->factory(), itemReaders(store_->factory())});
  prefs_->ReadIniPref();
  std::string question;
  if (prefs_->GetFwdConfirmMessage(question, true) < 1) {
    err_ << "No addresses to forward to are set in " << prefs_->GetPrefIniFname() << '\n';
    return 2;
  }
  engine_ = std::make_unique<ForwardingEngine>(
      EngineWorld{store_->factory(), *prefs_, console_, log_, trace_, clock_, sleeper_, loop_});
  return check() ? 0 : 1;
}

bool CheckProgram::openStore() {
  const std::string file = locatePreferenceFile({files_, profiles_, folders_, osVersion_});
  const auto reader = profiles_.read(file);
  const std::string storeName = mailStoreName(*reader);
  if (storeName != "maildir") {
    err_ << "The mail store \"" << storeName << "\" that " << file << " names is not known\n";
    return false;
  }
  const LocalIdentity user = localIdentity();
  MaildirSettings settings = readMaildirSettings(
      *reader, {user.homeFolder, folders_.stateFolder(), user.userAtHost, user.fullName});
  if (!settings.sendmail.empty()) {
    auto command = splitCommand(settings.sendmail);
    if (!command) {
      err_ << command.error().text << '\n';
      return false;
    }
    transport_ = std::make_unique<SendmailTransport>(commands_, std::move(*command));
  }
  store_ = std::make_unique<MaildirStore>(
      std::move(settings),
      MaildirWorld{files_, clock_, loop_, executor_, systemRandomBytes, transport_.get(),
                   [this](const std::string& line) { log_.AddToLog(line); }});
  return true;
}

/// The session is not open yet, so the check begins with a synchronisation.
bool CheckProgram::check() {
  const EngineState& state = engine_->state();
  engine_->schedule().ForwardTrigger();
  loop_.runUntil([&] { return !state.m_bBusyFwd && !state.syncBusy; });
  return state.lastPassCompleted;
}

}  // namespace relaybird
