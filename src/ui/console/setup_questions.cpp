// SPDX-License-Identifier: MIT
// The questions are steps of a list, so that "back" can return to the one that was asked before.
// Each step looks at the controls when its turn comes: earlier answers decide whether it applies
// and what an empty answer means. Whoever has an account at a known provider is asked for address,
// name and password only; the rest is one question, whether the servers are right.
#include "ui/console/setup_questions.h"

#include <charconv>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/system/secret.h"
#include "platform/text/ascii_text.h"

namespace relaybird {

namespace {

constexpr const char* kTitle = "Set Up Mail";
constexpr const char* kHowTo =
    "The Enter key alone takes what is in brackets; \"back\" returns to the question before; a "
    "dot (.) alone ends without changes.\r\n\r\n";

// Thrown inside this file alone, to leave the questions from any depth. Also at the end of the
// input, after which every further question would get an empty answer for ever.
struct Ended {};

// The position of the entry that is meant: by its number, by its whole text, or by a beginning that
// no other entry has. In any case.
std::optional<std::size_t> entryOf(const std::string& answer,
                                   const std::vector<std::string>& entries) {
  std::size_t number = 0;
  const char* const end = answer.data() + answer.size();
  const auto read = std::from_chars(answer.data(), end, number);
  if (read.ec == std::errc{} && read.ptr == end) {
    return number >= 1 && number <= entries.size() ? std::optional(number - 1) : std::nullopt;
  }
  const std::string words = asciiLower(answer);
  std::optional<std::size_t> found;
  for (std::size_t i = 0; i < entries.size() && !words.empty(); ++i) {
    const std::string entry = asciiLower(entries[i]);
    if (entry == words) {
      return i;
    }
    if (entry.starts_with(words)) {
      if (found) {
        return std::nullopt;
      }
      found = i;
    }
  }
  return found;
}

class Questions {
 public:
  Questions(frmSetup& setup, Dialogs& dialogs) : setup_(setup), dialogs_(dialogs) {
    where();
    account();
    maildir();
    sending();
    end();
  }

  // Whether the settings are to be stored.
  bool run() {
    std::vector<std::size_t> asked;
    for (std::size_t now = 0; now < steps_.size();) {
      if (!steps_[now].applies()) {
        ++now;
      } else if (steps_[now].ask()) {
        asked.push_back(now++);
      } else if (!asked.empty()) {
        now = asked.back();
        asked.pop_back();
      }
    }
    return store_;
  }

 private:
  using Condition = std::function<bool()>;
  struct Step {
    Condition applies;
    std::function<bool()> ask;  // false: back
  };

  // Nothing: back. The value in brackets belongs to the question: behind the last of the choices it
  // would look like a part of that choice.
  std::optional<std::string> ask(const std::string& question, const std::string& choices,
                                 const std::string& otherwise, bool emptyCancels) {
    const std::string prompt =
        question + (otherwise.empty() ? "" : " [" + otherwise + "]") + choices;
    const std::string answer = dialogs_.inputBox(
        {std::exchange(howTo_, "") + prompt, kTitle, otherwise, false, emptyCancels});
    if (answer == "." || !setup_.visible()) {
      throw Ended{};
    }
    if (answer == "back") {
      return std::nullopt;
    }
    return answer.empty() ? otherwise : answer;
  }

  // The position of the chosen entry. Nothing: back.
  std::optional<std::size_t> number(const std::string& question,
                                    const std::vector<std::string>& choices,
                                    std::size_t otherwise) {
    std::string text;
    for (std::size_t i = 0; i < choices.size(); ++i) {
      text += "\r\n  " + std::to_string(i + 1) + "  " + choices[i];
    }
    const bool proposes = otherwise < choices.size();
    while (true) {
      const auto answer =
          ask(question, text, proposes ? std::to_string(otherwise + 1) : "", !proposes);
      if (!answer) {
        return std::nullopt;
      }
      if (const auto chosen = entryOf(*answer, choices)) {
        return chosen;
      }
      if (answer->empty()) {
        throw Ended{};  // nobody answers any more
      }
      howTo_ =
          "\"" + *answer + "\" is none of these. Type the number, or how an entry begins.\r\n\r\n";
    }
  }

  void field(Condition applies, Control& text, std::function<std::string()> question) {
    steps_.push_back({[applies = std::move(applies), &text] {
                        return applies() && text.visible() && text.enabled();
                      },
                      [this, &text, question = std::move(question)] {
                        const auto answer = ask(question(), "", text.text(), false);
                        if (answer) {
                          text.setText(*answer);
                        }
                        return answer.has_value();
                      }});
  }
  void field(Condition applies, const Control& label, Control& text) {
    field(std::move(applies), text, [&label] { return label.text(); });
  }

  void list(Condition applies, Control& entries, std::function<std::string()> question) {
    steps_.push_back({[applies = std::move(applies), &entries] {
                        return applies() && entries.visible() && entries.enabled() &&
                               !entries.list().empty();
                      },
                      [this, &entries, question = std::move(question)] {
                        const auto& all = entries.list();
                        const auto now = entries.value() < 0
                                             ? all.size()
                                             : static_cast<std::size_t>(entries.value());
                        const auto chosen = number(question(), all, now);
                        if (chosen) {
                          entries.setValue(static_cast<int>(*chosen));
                        }
                        return chosen.has_value();
                      }});
  }
  void list(Condition applies, const Control& label, Control& entries) {
    list(std::move(applies), entries, [&label] { return label.text(); });
  }

  // What is typed here is taken as it is: a password may well be "back".
  void password(Condition applies, const Control& label, Control& text) {
    steps_.push_back({[applies = std::move(applies), &text] { return applies() && text.visible(); },
                      [this, &label, &text] {
                        const std::string kept =
                            text.text().empty() ? "is kept already" : "you have typed";
                        std::string typed = dialogs_.inputBox(
                            {label.text() + " (it is not shown; empty: the one that " + kept + ")",
                             kTitle,
                             {},
                             true,
                             false});
                        if (!typed.empty()) {
                          text.setText(typed);
                          wipe(typed);
                        }
                        return true;
                      }});
  }

  // The chosen entry goes to `take`. What a question names may change while it is open, because the
  // desktop's accounts arrive at any time; the answer was not meant for that, so it is asked again.
  void choice(Condition applies, std::function<std::string()> question,
              std::vector<std::string> choices, std::function<std::size_t()> otherwise,
              std::function<void(std::size_t)> take) {
    steps_.push_back(
        {std::move(applies), [this, question = std::move(question), choices = std::move(choices),
                              otherwise = std::move(otherwise), take = std::move(take)] {
           std::string asked;
           std::optional<std::size_t> chosen;
           do {
             asked = question();
             chosen = number(asked, choices, otherwise());
           } while (chosen && asked != question());
           if (chosen) {
             take(*chosen);
           }
           return chosen.has_value();
         }});
  }

  bool hasAccount() const { return setup_.opbAccount.checked(); }

  void where() {
    choice([] { return true; }, [this] { return setup_.lblWhere.text(); },
           {plainCaption(setup_.opbAccount.text()), plainCaption(setup_.opbMaildir.text())},
           [this] { return hasAccount() ? 0U : 1U; },
           [this](std::size_t chosen) {
             (chosen == 0 ? setup_.opbAccount : setup_.opbMaildir).setValue(1);
           });
  }

  void account() {
    const auto applies = [this] { return hasAccount(); };
    field(applies, setup_.lblAddress, setup_.txtMailAddress);
    // What is known about the provider is said once, before the next question.
    list(applies, setup_.cmbHostedBy, [this] { return advice() + setup_.lblHostedBy.text(); });
    field(applies, setup_.txtMailName, [this] {
      return (setup_.cmbHostedBy.visible() ? "" : advice()) + setup_.lblName.text();
    });
    // Of a provider that was chosen for an own domain, after the choice.
    list(applies, setup_.cmbSignIn, [this] {
      return (setup_.cmbHostedBy.visible() && setup_.cmbHostedBy.value() > 0 ? advice() : "") +
             setup_.lblSignIn.text();
    });
    list(applies, setup_.lblOnlineAccount, setup_.cmbOnlineAccount);
    choice(
        [this] {
          const bool known =
              !setup_.txtImapHost.text().empty() && !setup_.txtSmtpHost.text().empty();
          serversRight_ = serversRight_ && known;
          return hasAccount() && known;
        },
        [this] { return setup_.lblServers.text() + "\r\n\r\nAre these the servers?"; },
        {"Yes", "No: ask me for each"}, [] { return 0U; },
        [this](std::size_t chosen) { serversRight_ = chosen == 0; });
    const auto details = [this] { return hasAccount() && !serversRight_; };
    field(details, setup_.txtImapHost, [] { return "Server for reading mail (IMAP):"; });
    list(details, setup_.lblImapSecurity, setup_.cmbImapSecurity);
    field(details, setup_.lblImapPort, setup_.txtImapPort);
    // Of one that is known by the server that was typed; of any other the same was said before.
    field(details, setup_.txtImapUser, [this] {
      const bool byServer = setup_.cmbHostedBy.visible() && setup_.cmbHostedBy.value() <= 0 &&
                            setup_.lnkProviderPage.visible();
      return (byServer ? advice() : "") + setup_.lblImapUser.text();
    });
    field(details, setup_.lblImapFolder, setup_.txtImapFolder);
    field(details, setup_.lblCaFile, setup_.txtCaFile);
    password(applies, setup_.lblPassword, setup_.txtPassword);
    field(applies, setup_.lblSecretCommand, setup_.txtSecretCommand);
    field(applies, setup_.lblCredential, setup_.txtCredential);
  }

  void maildir() {
    const auto applies = [this] { return !hasAccount(); };
    list(applies, setup_.lblFoundMaildir, setup_.cmbFoundMaildir);
    field([this] { return !hasAccount() && isAnother(setup_.cmbFoundMaildir); }, setup_.lblMaildir,
          setup_.txtMaildir);
    field(applies, setup_.lblAddress, setup_.txtMailAddress);
    field(applies, setup_.lblName, setup_.txtMailName);
  }

  void sending() {
    const auto applies = [this] { return !hasAccount() || !serversRight_; };
    const auto server = [this, applies] {
      const int way = setup_.cmbDelivery.value();
      return applies() && (way == kByOtherServer || way == kByAccount);
    };
    list(applies, setup_.lblDelivery, setup_.cmbDelivery);
    field(server, setup_.txtSmtpHost, [] { return "Server for sending mail (SMTP):"; });
    list(server, setup_.lblSmtpSecurity, setup_.cmbSmtpSecurity);
    field(server, setup_.lblSmtpPort, setup_.txtSmtpPort);
    // For a Maildir the provider is known by the server for sending, if at all.
    field(server, setup_.txtSmtpUser,
          [this] { return (hasAccount() ? "" : advice()) + setup_.lblSmtpUser.text(); });
    list(server, setup_.lblSmtpSignIn, setup_.cmbSmtpSignIn);
    password(server, setup_.lblSmtpPassword, setup_.txtSmtpPassword);
    field(server, setup_.lblSmtpSecret, setup_.txtSmtpSecret);
    list(applies, setup_.lblFoundCommand, setup_.cmbFoundCommand);
    field([this, applies] { return applies() && isAnother(setup_.cmbFoundCommand); },
          setup_.lblSendmail, setup_.txtSendmail);
    field(applies, setup_.lblAddressBook, setup_.txtAddressBook);
  }

  // Without an answer in brackets, so that the end of the input stores nothing.
  void end() {
    choice([] { return true; },
           [this] {
             return setup_.lblServers.text() +
                    "\r\n\r\nStore these settings? The command \"setup test\" tries them then, and "
                    "\"setup message\" sends a test message.";
           },
           {"Yes", "No: change nothing"}, [] { return 2U; },
           [this](std::size_t chosen) { store_ = chosen == 0; });
  }

  // The last entry of a list of found ones stands for another one.
  static bool isAnother(const Control& found) {
    return found.value() < 0 || found.value() + 1 == static_cast<int>(found.list().size());
  }

  std::string advice() const {
    std::string text;
    for (const Control* part :
         {&setup_.lblProvider, &setup_.lnkProviderPage, &setup_.lblProviderMore}) {
      if (part->visible()) {
        text += part->text() + "\r\n";
      }
    }
    return text.empty() ? text : text + "\r\n";
  }

  frmSetup& setup_;
  Dialogs& dialogs_;
  std::vector<Step> steps_;
  std::string howTo_ = kHowTo;
  bool serversRight_ = false;
  bool store_ = false;
};

}  // namespace

Result<void> askForSetup(frmSetup& setup, Dialogs& dialogs) {
  bool store = false;
  // A box has said what is missing. The answers stand in brackets now.
  try {
    do {
      store = Questions(setup, dialogs).run();
    } while (store && !setup.acceptAndClose());
  } catch (const Ended&) {
    store = false;
  }
  if (!store) {
    if (setup.visible()) {
      setup.cmdCancel.click();
    }
    return Error{0, "nothing was changed"};
  }
  if (!setup.stored() && !setup.visible()) {
    return Error{0, "the settings were not stored: the box that came up says why"};
  }
  return {};
}

}  // namespace relaybird
