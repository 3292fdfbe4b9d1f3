// SPDX-License-Identifier: MIT
// What is found on this computer is looked for at once: a few files, which the dialog waits for.
// The keyring, the online accounts and the test of an account may each wait for the user or a
// server, so they run on a thread, one after the other, and report by events. A dialog that closes
// begins a new round: what is still on its way for the old one is stopped, and its reports are
// dropped.
#include "app/program_mail_setup.h"

#include <algorithm>
#include <set>
#include <utility>

#include "mail/sign_in_source.h"
#include "platform/paths.h"
#include "platform/system/command_runner.h"
#include "platform/text/ascii_text.h"

namespace relaybird {

namespace {

// A configuration file that is larger is not one.
constexpr std::size_t kConfigurationLimit = 65536;

std::string contentsOf(FileSystem& files, const std::string& path) {
  const auto resolved = files.resolve(path);
  const auto file = files.open(resolved ? *resolved : path);
  if (!file) {
    return {};
  }
  std::string text(kConfigurationLimit, '\0');
  const auto size = (*file)->readAt(0, text.data(), text.size());
  text.resize(size ? *size : 0);
  return text;
}

// The value of a line "KEY VALUE", without quotes; empty for another key.
std::string valueOf(std::string_view line, std::string_view key) {
  line = trimmed(line);
  if (!equalsAsciiCase(line.substr(0, key.size()), key) || line.size() <= key.size() ||
      !isBlank(line[key.size()])) {
    return {};
  }
  return std::string(trimmed(line.substr(key.size()), " \t\""));
}

}  // namespace

ProgramMailSetup::ProgramMailSetup(AccountTestWorld world, EventQueue& events, LocalIdentity user,
                                   std::string configFolder, Reopening reopen,
                                   std::function<std::string()> whyClosed,
                                   std::function<std::string()> given)
    : world_(std::move(world)),
      events_(events),
      user_(std::move(user)),
      configFolder_(std::move(configFolder)),
      reopen_(std::move(reopen)),
      whyClosed_(std::move(whyClosed)),
      given_(std::move(given)) {}

ProgramMailSetup::~ProgramMailSetup() {
  forgetReports();
}

// tmp/ is not asked for, because this program delivers nothing there.
bool ProgramMailSetup::isMaildir(const std::string& folder) const {
  const auto has = [&](const char* part) {
    const auto resolved = world_.files.resolve(folder);
    const auto found = world_.files.inspect(joinPath(resolved ? *resolved : folder, part));
    return found && found->type == FileType::kFolder;
  };
  return has("new") && has("cur");
}

// The inboxes of mbsync's Maildir stores: the line "Inbox", or INBOX below the line "Path". mbsync
// reads isyncrc since release 1.5, and the older file where that one is missing. Here both count: a
// folder that is offered needlessly costs less than one that is missing.
std::vector<std::string> ProgramMailSetup::foldersOfMbsync() const {
  std::vector<std::string> folders;
  const std::string text = contentsOf(world_.files, joinPath(configFolder_, "isyncrc")) + '\n' +
                           contentsOf(world_.files, joinPath(user_.homeFolder, ".mbsyncrc"));
  std::string_view rest = text;
  while (!rest.empty()) {
    const std::size_t end = std::min(rest.find('\n'), rest.size());
    const std::string_view line = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    std::string folder = valueOf(line, "Inbox");
    if (const std::string path = valueOf(line, "Path"); folder.empty() && !path.empty()) {
      folder = joinPath(path, "INBOX");
    }
    if (folder.starts_with("~/")) {
      folder.replace(0, 1, user_.homeFolder);
    }
    if (isAbsolutePath(folder)) {
      folders.emplace_back(withoutClosingSeparators(folder));
    }
  }
  return folders;
}

// Where mail programs put a Maildir by themselves, and where the configuration of mbsync says.
std::vector<std::string> ProgramMailSetup::foundMaildirs() {
  std::vector<std::string> candidates = {joinPath(user_.homeFolder, "Maildir"),
                                         joinPath(user_.homeFolder, "Maildir/INBOX")};
  const std::vector<std::string> more = foldersOfMbsync();
  candidates.insert(candidates.end(), more.begin(), more.end());
  std::vector<std::string> found;
  for (const std::string& folder : candidates) {
    if (isMaildir(folder) && std::find(found.begin(), found.end(), folder) == found.end()) {
      found.push_back(folder);
    }
  }
  return found;
}

// Where a link leads, if that is a program for this user. The settings have a command without
// quoting, so a path with a blank in it would not be run.
std::optional<std::string> ProgramMailSetup::programAt(const std::string& path) const {
  const auto target = world_.files.resolve(path);
  if (!target || commandWords(path).size() != 1) {
    return std::nullopt;
  }
  const auto info = world_.files.inspect(*target);
  const bool runs =
      info && info->type == FileType::kRegular && world_.mayRun && world_.mayRun(path);
  return runs ? std::optional(*target) : std::nullopt;
}

// The system's own command in its usual places (Filesystem Hierarchy Standard), then msmtp, which
// some systems have alone, and what users have put into their own folders. On many systems several
// of these names are links to one program: the first name is offered, as a program may look at the
// name that it was started by.
std::vector<std::string> ProgramMailSetup::foundCommands() {
  std::vector<std::string> candidates = {"/usr/sbin/sendmail",      "/usr/lib/sendmail",
                                         "/usr/bin/sendmail",       "/usr/local/sbin/sendmail",
                                         "/usr/local/bin/sendmail", "/usr/bin/msmtp",
                                         "/usr/local/bin/msmtp"};
  if (isAbsolutePath(user_.homeFolder)) {
    candidates.push_back(joinPath(user_.homeFolder, ".local/bin/msmtp"));
    candidates.push_back(joinPath(user_.homeFolder, "bin/msmtp"));
  }
  std::vector<std::string> found;
  std::set<std::string> programs;
  for (const std::string& command : candidates) {
    const auto program = programAt(command);
    if (program && programs.insert(*program).second) {
      found.push_back(command);
    }
  }
  return found;
}

// The round is that of the request, so that a report made for a dialog that was closed meanwhile
// does not reach the one that is open now.
void ProgramMailSetup::post(std::uint64_t round, std::function<void()> report) {
  events_.post([this, round, report = std::move(report), alive = std::weak_ptr(alive_)] {
    if (!alive.expired() && round == round_) {
      report();
    }
  });
}

void ProgramMailSetup::listOnlineAccounts(std::function<void(const OnlineAccountList&)> report) {
  executor_.run([this, report = std::move(report), round = round_, stop = stop_.get_token()] {
    OnlineAccountList list;
    if (world_.secrets.accounts == nullptr) {
      list.failure = {OnlineAccountsFailure::Cause::kNoService,
                      "This program was built without the desktop's online accounts."};
    } else {
      list = world_.secrets.accounts->list(stop);
    }
    post(round, [report, list] { report(list); });
  });
}

// The password is copied into the job: the dialog forgets its own when it closes.
void ProgramMailSetup::keepPassword(const AccountSettings& account, const Secret& password,
                                    std::function<void(const Result<void>&)> report) {
  executor_.run([this, account, password, report = std::move(report), round = round_,
                 stop = stop_.get_token()] {
    Result<void> kept;
    if (world_.secrets.keyring == nullptr) {
      kept = Error{0, "this program was built without a keyring."};
    } else {
      const SecretAnswer answer =
          world_.secrets.keyring->store(secretKeyOf(account), password, stop);
      if (answer.end != SecretAnswer::End::kDone) {
        kept = Error{0, answer.words};
      }
    }
    post(round, [report, kept] { report(kept); });
  });
}

// A stop source of its own, for the user stops the test without closing the dialog.
void ProgramMailSetup::test(const MailSettings& settings, const TypedSecrets& secrets,
                            std::function<void(const TestLine&)> line,
                            std::function<void(bool good)> end) {
  testStop_ = std::stop_source();
  executor_.run([this, settings, secrets, line = std::move(line), end = std::move(end),
                 round = round_, stop = testStop_.get_token()] {
    const bool good = testAccount(world_, settings, secrets, stop, [&](const TestLine& each) {
      post(round, [line, each] { line(each); });
    });
    post(round, [end, good] { end(good); });
  });
}

void ProgramMailSetup::stopTest() {
  testStop_.request_stop();
}

// All requests share one thread. One whose dialog is gone, such as a keyring that waits for the
// user to unlock it, must not keep the requests of the next dialog waiting.
void ProgramMailSetup::forgetReports() {
  ++round_;
  stop_.request_stop();
  testStop_.request_stop();
  stop_ = std::stop_source();
}

}  // namespace relaybird
