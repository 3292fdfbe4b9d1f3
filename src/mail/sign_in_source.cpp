// SPDX-License-Identifier: MIT
// A password is kept while it works, a token until shortly before it expires. After a refusal the
// place is asked once more. If it gives the same, or something that is refused too, it is left
// alone for an hour, because servers lock accounts after some refused sign-ins. So is a keyring
// that the user did not unlock.
#include "mail/sign_in_source.h"

#include <algorithm>
#include <system_error>
#include <utility>

#include "platform/paths.h"
#include "platform/text/utf8_text.h"

namespace relaybird {

namespace {

using Cause = SignInFailure::Cause;
using std::chrono::hours;
using std::chrono::milliseconds;
using std::chrono::minutes;
using std::chrono::seconds;

// A command may ask the user for the passphrase of a key.
constexpr minutes kCommandLimit{2};
// A token is replaced this long before it expires, so that it does not expire during a sign-in.
constexpr minutes kTokenMargin{2};
// A token whose lifetime nobody tells. Services give an hour as a rule; its command is asked at
// nearly each sign-in, and keeps the token itself.
constexpr minutes kUnknownLifetime{5};
// Few enough tries a day not to lock an account; a password that was corrected is found the same
// day.
constexpr hours kQuiet{1};
// The same, where the user asks.
constexpr seconds kUsersQuiet{30};
// A token of a large provider has some 2,500 characters; a file that fills this is something else.
constexpr std::size_t kCredentialLimit = 16384;
// A command may print a whole help text when it fails, and the log has one line for it.
constexpr std::size_t kWordsLimit = 200;

constexpr std::string_view kAlternatives =
    "Let a command print it, or give it to the service as a systemd credential; the manual says "
    "how.";

// A secret is one line: programs and editors end it with a line end that is not part of it.
void keepFirstLine(Secret& secret) {
  const std::string_view bytes = secret.bytes();
  std::size_t end = std::min(bytes.find('\n'), bytes.size());
  if (end > 0 && end < bytes.size() && bytes[end - 1] == '\r') {
    --end;
  }
  secret.cut(end);
}

// What a command said on its error stream, for people: one line, without what it may have repeated
// of the secret.
std::string wordsOf(std::string text, const Secret& secret) {
  const std::string_view hidden = secret.bytes();
  for (auto at = hidden.empty() ? text.npos : text.find(hidden); at != text.npos;
       at = text.find(hidden, at)) {
    overwrite(std::span(text).subspan(at, hidden.size()));
    text.replace(at, hidden.size(), "...");
    at += 3;
  }
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < ' ' || c == '\x7f') {
      c = ' ';
    }
  }
  const auto end = text.find_last_not_of(' ');
  text.resize(end == text.npos ? 0 : end + 1);
  const auto begin = std::min(text.find_first_not_of(' '), text.size());
  return std::string(firstCharacters(std::string_view(text).substr(begin), kWordsLimit));
}

// In words that lead to the cause: a status is the command's own, a signal often means
// that memory ran out.
std::string howItEnded(const CommandResult& command) {
  switch (command.end) {
    case CommandResult::End::kExited:
      return "ended with status " + std::to_string(command.code);
    case CommandResult::End::kKilled:
      return "was killed by signal " + std::to_string(command.code);
    case CommandResult::End::kTimedOut:
      return "did not end within two minutes";
    case CommandResult::End::kCancelled:
      return "was stopped";
    case CommandResult::End::kNotStarted:
      return "could not be started: " + std::generic_category().message(command.code);
    case CommandResult::End::kNoInput:
      break;  // it is given none
  }
  return {};
}

// The name comes from a file that other programs may write. It must not lead out of the folder of
// the credentials.
bool isFileName(const std::string& name) {
  return !name.empty() && name != "." && name != ".." && fileNameOf(name) == name &&
         name.find('\0') == name.npos;
}

Result<Secret> readSecret(FileSystem& files, const std::string& path) {
  auto file = files.open(path);
  if (!file) {
    return file.error();
  }
  // Read straight into the memory of a secret, so that there is no other copy.
  Secret secret = Secret::ofSize(kCredentialLimit);
  std::size_t size = 0;
  while (size < kCredentialLimit) {
    const auto room = secret.writable().subspan(size);
    const auto count = (*file)->readAt(size, room.data(), room.size());
    if (!count) {
      return count.error();
    }
    if (*count == 0) {
      break;
    }
    size += *count;
  }
  secret.cut(size);
  return secret;
}

}  // namespace

SignInSource::SignInSource(SecretWorld world, FileSystem& files, const AccountSettings& account,
                           const AccountSettings& secretOwner, std::size_t appPasswordLength)
    : world_(std::move(world)),
      files_(files),
      account_(account),
      owner_(secretOwner),
      appPasswordLength_(appPasswordLength) {}

// Steady time: a clock that is set back must not keep an expired token alive.
milliseconds SignInSource::now() const {
  return world_.steadyTime ? world_.steadyTime() : milliseconds{0};
}

// A person may have several accounts at one server, so the user name is said too.
std::string SignInSource::whose() const {
  return owner_.user + " at " + owner_.server.host;
}

// The order matters: what works is used without asking anybody, then the two reasons for silence
// are looked at, and only then a place is asked, which may put a question on the user's screen.
SignInMaterial SignInSource::get(std::stop_token stop) {
  if (kept_ && (!kept_->lifetime || now() < keptUntil_)) {
    return material();
  }
  kept_.reset();
  if (declined_ && now() < quietUntil_) {
    return {std::nullopt, *declined_};
  }
  if (now() < quietUntil_) {
    return refusal();
  }
  declined_.reset();
  Found found = ask(std::move(stop));
  overwriteStack();
  if (found.failure) {
    // Whoever has closed the question does not want to see it again at each try of a timer.
    if (found.failure->cause == Cause::kDeclined) {
      declined_ = found.failure;
      quietUntil_ = now() + kQuiet;
    }
    return {std::nullopt, *std::move(found.failure)};
  }
  // Only passwords are shown in groups.
  if (!found.token) {
    found.secret = withoutGroups(found.secret, appPasswordLength_);
  }
  if (refused_ && found.secret == *refused_) {
    quietUntil_ = now() + kQuiet;
    return refusal();
  }
  if (found.lifetime) {
    keptUntil_ = now() + std::max(*found.lifetime - kTokenMargin, milliseconds{0});
  }
  kept_ = std::move(found);
  return material();
}

SignInMaterial SignInSource::material() const {
  // An online account may give a password where a token was expected, and the reverse.
  SignInMethod method = account_.signIn.value_or(SignInMethod::kPassword);
  const bool forToken = method == SignInMethod::kXoauth2 || method == SignInMethod::kOauthBearer;
  if (kept_->token != forToken) {
    method = kept_->token ? SignInMethod::kXoauth2 : SignInMethod::kPassword;
  }
  return {SignIn{account_.user, method, kept_->secret}, {}};
}

// The secret itself is not shown, but a space at its end can be told without giving it away.
SignInMaterial SignInSource::refusal() const {
  std::string words =
      "The server has refused the sign-in of " + account_.user + " at " + account_.server.host +
      ", and there is nothing new to sign in with. It is not tried again by itself "
      "before the password or token changes. Correct it, and start forwarding again.";
  if (refused_ && hasSpaceAtAnEnd(*refused_)) {
    words += " It begins or ends with a space, which may have slipped in when it was copied.";
  }
  return {std::nullopt, {Cause::kRefused, std::move(words)}};
}

// The first refusal costs nothing: the password may have been changed in the keyring meanwhile, so
// the place is asked once more at once. From the second one on it is quiet.
void SignInSource::refused() {
  overwriteStack();
  if (kept_) {
    refused_ = std::move(kept_->secret);
    refusedAt_ = now();
    kept_.reset();
  }
  if (++refusals_ > 1) {
    quietUntil_ = now() + kQuiet;
  }
}

// A server that is out of order may refuse a good password for a while. One success clears that.
void SignInSource::accepted() {
  overwriteStack();
  refused_.reset();
  tryAgain();
}

void SignInSource::tryAgain() {
  declined_.reset();
  if (now() - refusedAt_ >= kUsersQuiet) {
    refused_.reset();
  }
  refusals_ = 0;
  quietUntil_ = milliseconds{0};
}

SignInSource::Found SignInSource::failed(Cause cause, std::string words) const {
  return {{}, false, std::nullopt, SignInFailure{cause, std::move(words)}};
}

// Without a default branch, so that the compiler finds a source that is forgotten here.
SignInSource::Found SignInSource::ask(std::stop_token stop) const {
  switch (owner_.secret) {
    case SecretSource::kKeyring:
      return askKeyring(std::move(stop));
    case SecretSource::kCommand:
    case SecretSource::kTokenCommand:
      return askCommand(std::move(stop));
    case SecretSource::kCredential:
      return askCredential();
    case SecretSource::kOnlineAccount:
      return askOnlineAccount(std::move(stop));
    case SecretSource::kSameAsImap:
      break;
  }
  return failed(Cause::kMissing,
                "The settings do not say where the password of " + whose() + " is.");
}

// Each way to fail has its own sentence, because what the user can do about it differs: enter the
// password, unlock the keyring, or choose another place.
SignInSource::Found SignInSource::askKeyring(std::stop_token stop) const {
  using End = SecretAnswer::End;
  const std::string noKeyring = "There is no keyring here with the password of " + whose() + ". ";
  if (world_.keyring == nullptr) {
    return failed(Cause::kMissing, noKeyring + std::string(kAlternatives));
  }
  SecretAnswer answer = world_.keyring->lookUp(secretKeyOf(owner_), std::move(stop));
  switch (answer.end) {
    case End::kDone:
      return {std::move(answer.secret), false, std::nullopt, std::nullopt};
    case End::kNotThere:
      return failed(Cause::kMissing, "The keyring has no password of " + whose() +
                                         ". Set up mail again to enter it.");
    case End::kNoService:
      return failed(Cause::kMissing,
                    noKeyring + "(" + answer.words + ") " + std::string(kAlternatives));
    case End::kDeclined:
      return failed(Cause::kDeclined, "The keyring with the password of " + whose() +
                                          " is locked. Unlock it when you are asked.");
    case End::kCancelled:
      return failed(Cause::kCancelled, "The keyring was not asked to the end.");
    case End::kFailed:
      break;
  }
  return failed(Cause::kFailed,
                "The keyring did not give the password of " + whose() + ": " + answer.words);
}

// get() takes the margin off every lifetime, so it is added to one that is only assumed.
SignInSource::Found SignInSource::askCommand(std::stop_token stop) const {
  const bool token = owner_.secret == SecretSource::kTokenCommand;
  const std::string what = token ? "an access token" : "the password";
  const std::vector<std::string> command = commandWords(owner_.secretCommand);
  if (world_.commands == nullptr || command.empty() || !isAbsolutePath(command.front())) {
    return failed(Cause::kMissing,
                  "The command that prints " + what + " of " + whose() +
                      " has to be named by its whole path, such as /usr/bin/pass.");
  }
  SecretCommandResult result =
      world_.commands->runForSecret(command, kCommandLimit, std::move(stop));
  if (result.command.end == CommandResult::End::kCancelled) {
    return failed(Cause::kCancelled, "The command that prints " + what + " was stopped.");
  }
  // Output that fills the limit may have been cut.
  const bool tooLong = result.secret.bytes().size() == kSecretOutputLimit;
  keepFirstLine(result.secret);
  const bool good = result.command.end == CommandResult::End::kExited && result.command.code == 0;
  if (good && !tooLong && !result.secret.empty()) {
    return {std::move(result.secret), token,
            token ? std::optional<milliseconds>(kUnknownLifetime + kTokenMargin) : std::nullopt,
            std::nullopt};
  }
  std::string words = "The command " + command.front() + " did not print " + what + " of " +
                      whose() + ": it " +
                      (!good     ? howItEnded(result.command)
                       : tooLong ? "printed more than any service gives"
                                 : "printed nothing") +
                      ".";
  if (const std::string said = wordsOf(std::move(result.command.output), result.secret);
      !said.empty()) {
    words += " It said: " + said;
  }
  return failed(Cause::kFailed, std::move(words));
}

// The folder is the service manager's and exists only in a service. Somebody who starts the program
// by hand with the same settings gets told why it has no password then.
SignInSource::Found SignInSource::askCredential() const {
  const std::string& name = owner_.secretName;
  if (!isFileName(name)) {
    return failed(Cause::kMissing, "\"" + name + "\" is not the name of a credential.");
  }
  if (world_.credentialFolder.empty()) {
    return failed(Cause::kMissing, "The password of " + whose() + " is to be the credential " +
                                       name +
                                       ", but the program was not started as a service that has "
                                       "one. The manual says how to give it one.");
  }
  auto secret = readSecret(files_, joinPath(world_.credentialFolder, name));
  if (!secret) {
    return failed(Cause::kMissing,
                  "The service has no credential " + name + ": " + secret.error().text);
  }
  if (secret->bytes().size() == kCredentialLimit) {
    return failed(Cause::kFailed, "The credential " + name + " is too long for a password.");
  }
  keepFirstLine(*secret);
  if (secret->empty()) {
    return failed(Cause::kMissing, "The credential " + name + " is empty.");
  }
  return {*std::move(secret), false, std::nullopt, std::nullopt};
}

// The desktop renews tokens by itself, so what it gives is asked for again shortly before it
// expires. A lifetime that it does not tell is assumed to be short.
SignInSource::Found SignInSource::askOnlineAccount(std::stop_token stop) const {
  using Why = OnlineAccountsFailure::Cause;
  if (world_.accounts == nullptr) {
    return failed(Cause::kMissing, "This session has no online accounts.");
  }
  OnlineAccountSecret answer =
      world_.accounts->secret(owner_.secretName, account_.server.protocol, std::move(stop));
  if (!answer.failure) {
    std::optional<milliseconds> lifetime;
    if (answer.token) {
      lifetime = answer.lifetime.value_or(kUnknownLifetime + kTokenMargin);
    }
    return {std::move(answer.secret), answer.token, lifetime, std::nullopt};
  }
  switch (answer.failure->cause) {
    case Why::kNoService:
    case Why::kNoSuchAccount:
      return failed(Cause::kMissing, std::move(answer.failure->words));
    case Why::kNeedsAttention:
      return failed(Cause::kDeclined, std::move(answer.failure->words));
    case Why::kCancelled:
      return failed(Cause::kCancelled, std::move(answer.failure->words));
    case Why::kFailed:
      break;
  }
  return failed(Cause::kFailed, std::move(answer.failure->words));
}

// A browser may copy a blank as a space that does not break.
Secret withoutGroups(const Secret& password, std::size_t length) {
  constexpr std::string_view kHardSpace = "\xc2\xa0";
  Secret rest = password;
  std::size_t size = 0;
  for (std::size_t i = 0; i < password.bytes().size(); ++i) {
    if (password.bytes().substr(i).starts_with(kHardSpace)) {
      ++i;
    } else if (password.bytes()[i] != ' ') {
      rest.writable()[size++] = password.bytes()[i];
    }
  }
  rest.cut(size);
  return length > 0 && size == length ? rest : password;
}

// AUTH (RFC 4954), and behind a tag AUTHENTICATE or LOGIN (RFC 9051, 6.2).
bool beginsSignIn(const ProtocolLine& line, MailProtocol protocol) {
  const bool imap = protocol == MailProtocol::kImap;
  const std::string_view text = line.text;
  const std::size_t tag = imap ? text.find(' ') + 1 : 0;
  const std::string_view command = text.substr(tag, text.find(' ', tag) - tag);
  return line.sent && (imap ? command == "AUTHENTICATE" || command == "LOGIN" : command == "AUTH");
}

// Port and protocol are part of it: one host may have different passwords for reading and sending.
SecretKey secretKeyOf(const AccountSettings& account) {
  return {account.server.protocol, account.user, account.server.host, account.server.port};
}

// A space inside may belong to a password; one at an end nearly always comes from copying.
bool hasSpaceAtAnEnd(const Secret& password) {
  const std::string_view bytes = password.bytes();
  return bytes.starts_with(' ') || bytes.ends_with(' ');
}

}  // namespace relaybird
