// SPDX-License-Identifier: MIT
// Data that the server sends belongs to no command by itself: what a response contains decides
// where it goes, so that commands sent ahead may be answered in any order.
#include "stores/account/imap_client.h"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

// Long words of a server are cut for the log and the status line.
constexpr std::size_t kWordsBytes = 300;

std::string wordsOf(const ImapCondition& reply) {
  std::string words(std::string_view(reply.words).substr(0, kWordsBytes));
  if (words.empty()) {
    words = reply.status == ImapStatus::kBad ? "BAD" : "NO";
  }
  if (!reply.code.name.empty()) {
    words += " [" + reply.code.name + "]";
  }
  return words;
}

// Whether a list of flags in parentheses contains \Seen.
bool namesSeen(std::string_view flags) {
  const std::string upper = ' ' + asciiUpper(trimmed(flags, " ()")) + ' ';
  return upper.find(" \\SEEN ") != std::string::npos;
}

// Whether a response that cannot be understood may be one that tells a change. Others belong to
// every SELECT, such as RECENT.
bool mayTellChange(std::string_view line) {
  const std::string upper = asciiUpper(line);
  return upper.find("FETCH") != std::string::npos || upper.find("VANISHED") != std::string::npos;
}

bool hasAttribute(const ImapMailbox& mailbox, std::string_view wanted) {
  return std::any_of(
      mailbox.attributes.begin(), mailbox.attributes.end(),
      [wanted](const std::string& attribute) { return equalsAsciiCase(attribute, wanted); });
}

// Whether the last part of the name, whatever separates it, is a usual one.
bool isUsualSentName(std::string_view name) {
  constexpr std::array<std::string_view, 4> kNames = {"Sent", "Sent Items", "Sent Messages",
                                                      "Sent Mail"};
  const std::size_t separator = name.find_last_of("/.");
  name.remove_prefix(separator == std::string_view::npos ? 0 : separator + 1);
  return std::any_of(kNames.begin(), kNames.end(),
                     [name](std::string_view each) { return equalsAsciiCase(each, name); });
}

}  // namespace

std::string_view imapHeadFields() {
  return "SUBJECT FROM SENDER DATE MESSAGE-ID IN-REPLY-TO REFERENCES RETURN-PATH CONTENT-TYPE TO "
         "CC REPLY-TO AUTO-SUBMITTED X-RELAYBIRD-TRACE CONTENT-TRANSFER-ENCODING "
         "CONTENT-DISPOSITION CONTENT-ID PRECEDENCE X-AUTOREPLY X-AUTORESPOND";
}

ImapClient::ImapClient(Events events, std::function<void(ProtocolLine)> trace, ImapLimits limits)
    : events_(std::move(events)),
      dialogue_([this](ImapResponse response) { onData(std::move(response)); }, std::move(trace),
                limits) {}

Result<void> ImapClient::outcome(const ImapCondition& reply) {
  if (reply.status == ImapStatus::kOk) {
    return {};
  }
  return Error{0, wordsOf(reply)};
}

void ImapClient::capability(Done done) {
  dialogue_.send(ImapCommand("CAPABILITY"),
                 [done = std::move(done)](const ImapCondition& reply) { done(outcome(reply)); });
}

void ImapClient::identify(std::string_view version) {
  if (can("ID")) {
    dialogue_.send(
        ImapCommand("ID (\"name\" \"Relaybird\" \"version\" \"" + std::string(version) + "\")"),
        [](const ImapCondition&) {});
  }
}

void ImapClient::select(std::string_view folder, Opened done) {
  selecting_ = true;
  opened_ = {};
  modSeq_ = 0;
  dialogue_.send(
      ImapCommand("SELECT", literals()).text(imapMailboxName(folder)),
      [this, done = std::move(done)](const ImapCondition& reply) { endSelect(reply, done); });
}

void ImapClient::selectSince(std::string_view folder, const ImapMoment& known, Opened done) {
  if (can("QRESYNC") && can("ENABLE")) {
    // Its answer is awaited: a server that has not enabled QRESYNC yet calls the parameter bad.
    selecting_ = true;
    dialogue_.send(
        ImapCommand("ENABLE QRESYNC"),
        [this, folder = std::string(folder), known, done = std::move(done)](
            const ImapCondition&) mutable { sendSelect(folder, known, std::move(done)); });
  } else if (can("CONDSTORE") || can("QRESYNC")) {
    sendSelect(std::string(folder), known, std::move(done));
  } else {
    select(folder, std::move(done));
  }
}

void ImapClient::sendSelect(const std::string& folder, const ImapMoment& known, Opened done) {
  selecting_ = true;
  opened_ = {};
  const bool since = tellsVanished_ && known.modSeq != 0;
  if (since) {
    gatherer_.begin();
  }
  ImapCommand command("SELECT", literals());
  command.text(imapMailboxName(folder));
  command.words(since ? "(QRESYNC (" + std::to_string(known.uidValidity) + ' ' +
                            std::to_string(known.modSeq) + "))"
                      : "(CONDSTORE)");
  dialogue_.send(command, [this, folder, since,
                           done = std::move(done)](const ImapCondition& reply) mutable {
    ImapChanges changes = gatherer_.take();
    if (reply.status != ImapStatus::kOk) {
      select(folder, std::move(done));  // the words of a refusal are those for the plain command
      return;
    }
    if (since) {
      opened_.changes = std::move(changes);
    }
    modSeq_ = opened_.modSeq;
    endSelect(reply, done);
  });
}

void ImapClient::endSelect(const ImapCondition& reply, const Opened& done) {
  selecting_ = false;
  opened_.readOnly = opened_.readOnly || reply.code.name == "READ-ONLY";
  opened_.messages = exists_;
  opened_.modSeq = modSeq_;
  if (reply.status != ImapStatus::kOk) {
    done(Error{0, wordsOf(reply)});
  } else if (opened_.uidValidity == 0) {
    done(Error{0, "it gives its messages no lasting numbers (UIDVALIDITY)"});
  } else {
    done(opened_);
  }
}

void ImapClient::searchUnseen(std::function<void(const Result<UidSet>&)> done) {
  gatherer_.forget();
  const bool extended = can("ESEARCH");
  const std::string_view returned = extended ? "UID SEARCH RETURN (ALL) " : "UID SEARCH ";
  search(ImapCommand(std::string(returned) + "UNSEEN UNDELETED"), std::move(done));
}

void ImapClient::search(ImapCommand command, std::function<void(const Result<UidSet>&)> done) {
  ++searches_;
  dialogue_.send(command, [this, done = std::move(done)](const ImapCondition& reply) {
    --searches_;
    UidSet found = found_.take().uids;
    const bool all = std::exchange(foundAll_, true);
    if (reply.status != ImapStatus::kOk) {
      done(Error{0, wordsOf(reply)});
    } else if (!all) {
      done(Error{0, "its list of messages cannot be read"});
    } else {
      done(std::move(found));
    }
  });
}

void ImapClient::examine(std::string_view name, Done done) {
  dialogue_.send(ImapCommand("EXAMINE", literals()).text(name),
                 [done = std::move(done)](const ImapCondition& reply) { done(outcome(reply)); });
}

void ImapClient::searchMessageId(std::string_view id,
                                 std::function<void(const Result<UidSet>&)> done) {
  search(ImapCommand("UID SEARCH HEADER Message-ID", literals()).text(id), std::move(done));
}

void ImapClient::fetchChanges(std::uint64_t since, std::function<void(Result<ImapChanges>)> done) {
  ++searches_;
  gatherer_.begin();
  dialogue_.send(ImapCommand("UID FETCH 1:* (UID FLAGS) (CHANGEDSINCE " + std::to_string(since) +
                             (tellsVanished_ ? " VANISHED)" : ")")),
                 [this, done = std::move(done)](const ImapCondition& reply) {
                   --searches_;
                   ImapChanges changes = gatherer_.take();
                   if (reply.status == ImapStatus::kOk) {
                     done(std::move(changes));
                   } else {
                     done(Error{0, wordsOf(reply)});
                   }
                 });
}

void ImapClient::findSent(std::function<void(const Result<std::string>&)> done) {
  markedSent_.reset();
  usualSent_.reset();
  const bool extended = can("SPECIAL-USE") && can("LIST-EXTENDED");
  dialogue_.send(ImapCommand(extended ? "LIST \"\" \"*\" RETURN (SPECIAL-USE)" : "LIST \"\" \"*\""),
                 [this, done = std::move(done)](const ImapCondition& reply) {
                   if (reply.status != ImapStatus::kOk) {
                     done(Error{0, wordsOf(reply)});
                   } else {
                     done(markedSent_ ? *markedSent_ : usualSent_.value_or(""));
                   }
                 });
}

void ImapClient::append(std::string_view name, std::string_view message, Done done) {
  dialogue_.send(ImapCommand("APPEND", literals()).text(name).words("(\\Seen)").literal(message),
                 [done = std::move(done)](const ImapCondition& reply) { done(outcome(reply)); });
}

void ImapClient::fetchHeads(const std::vector<std::uint32_t>& uids, bool structure,
                            const Done& done) {
  for (std::size_t begin = 0; begin < uids.size(); begin += kHeadsInCommand) {
    const std::size_t end = std::min(uids.size(), begin + kHeadsInCommand);
    const UidSet group({uids.begin() + static_cast<std::ptrdiff_t>(begin),
                        uids.begin() + static_cast<std::ptrdiff_t>(end)});
    ImapCommand command("UID FETCH " + group.text() + " (UID INTERNALDATE RFC822.SIZE");
    if (structure) {
      command.words("BODYSTRUCTURE");
    }
    // PEEK leaves the mark \Seen as it is (RFC 9051, 6.4.5).
    command.words("BODY.PEEK[HEADER.FIELDS (" + std::string(imapHeadFields()) + ")])");
    dialogue_.send(command, [done](const ImapCondition& reply) { done(outcome(reply)); });
  }
}

void ImapClient::fetchBodies(const UidSet& uids, Done done) {
  dialogue_.send(ImapCommand("UID FETCH " + uids.text() + " (UID BODY.PEEK[])"),
                 [done = std::move(done)](const ImapCondition& reply) { done(outcome(reply)); });
}

void ImapClient::fetchPiece(std::uint32_t uid, std::uint64_t origin, std::uint64_t count,
                            Done done) {
  dialogue_.send(ImapCommand("UID FETCH " + std::to_string(uid) + " (UID BODY.PEEK[]<" +
                             std::to_string(origin) + '.' + std::to_string(count) + ">)"),
                 [done = std::move(done)](const ImapCondition& reply) { done(outcome(reply)); });
}

// SILENT: the server need not send back the new flags, which would look like a change by others.
void ImapClient::store(const UidSet& uids, bool seen, Done done) {
  dialogue_.send(ImapCommand("UID STORE " + uids.text() +
                             (seen ? " +FLAGS.SILENT (\\Seen)" : " -FLAGS.SILENT (\\Seen)")),
                 [done = std::move(done)](const ImapCondition& reply) { done(outcome(reply)); });
}

void ImapClient::noop(Done done) {
  dialogue_.send(ImapCommand("NOOP"),
                 [done = std::move(done)](const ImapCondition& reply) { done(outcome(reply)); });
}

void ImapClient::idle(std::function<void()> refused) {
  if (can("IDLE") && !dialogue_.idling()) {
    dialogue_.idle([refused = std::move(refused)](const ImapCondition& reply) {
      if (reply.status != ImapStatus::kOk) {
        refused();
      }
    });
  }
}

void ImapClient::logout() {
  dialogue_.send(ImapCommand("LOGOUT"), [](const ImapCondition&) {});
}

ImapLiterals ImapClient::literals() const {
  if (can("LITERAL+")) {
    return ImapLiterals::kAny;
  }
  return can("LITERAL-") ? ImapLiterals::kShort : ImapLiterals::kWaiting;
}

void ImapClient::learn(const std::vector<std::string>& names) {
  capabilities_ = {names.begin(), names.end()};
}

void ImapClient::onData(ImapResponse response) {
  if (auto* fetch = std::get_if<ImapFetch>(&response)) {
    onFetch(std::move(*fetch));
  } else if (const auto* condition = std::get_if<ImapCondition>(&response)) {
    onCondition(*condition);
  } else if (const auto* words = std::get_if<ImapWords>(&response)) {
    if (words->kind == ImapWords::Kind::kCapability) {
      learn(words->words);
    } else if (words->kind == ImapWords::Kind::kEnabled) {
      tellsVanished_ = tellsVanished_ || std::find(words->words.begin(), words->words.end(),
                                                   "QRESYNC") != words->words.end();
    }
  } else if (const auto* exists = std::get_if<ImapExists>(&response)) {
    // The first count belongs to the answer to SELECT.
    const bool isNews = !selecting_ && exists->count != exists_;
    exists_ = exists->count;
    if (isNews) {
      events_.changed();
    }
  } else if (std::holds_alternative<ImapExpunge>(response)) {
    exists_ -= exists_ > 0 ? 1 : 0;
    gatherer_.miss();  // which message that was is not known
    events_.changed();
  } else if (const auto* vanished = std::get_if<ImapVanished>(&response)) {
    onVanished(*vanished);
  } else if (const auto* unknown = std::get_if<ImapUnknown>(&response)) {
    if (gatherer_.active() && mayTellChange(unknown->line)) {
      gatherer_.miss();
    }
  } else if (auto* mailbox = std::get_if<ImapMailbox>(&response)) {
    onMailbox(std::move(*mailbox));
  } else if (auto* result = std::get_if<ImapSearch>(&response)) {
    if (searches_ > 0) {
      foundAll_ = foundAll_ && result->whole;
      found_.add(std::move(result->numbers));
    }
  }
}

void ImapClient::onMailbox(ImapMailbox mailbox) {
  if (hasAttribute(mailbox, "\\Noselect") || hasAttribute(mailbox, "\\NonExistent")) {
    return;
  }
  if (!markedSent_ && hasAttribute(mailbox, "\\Sent")) {
    markedSent_ = std::move(mailbox.name);
  } else if (!usualSent_ && isUsualSentName(mailbox.name)) {
    usualSent_ = std::move(mailbox.name);
  }
}

void ImapClient::onVanished(const ImapVanished& vanished) {
  gatherer_.vanished(vanished.uids);
  if (!vanished.earlier) {
    exists_ -= static_cast<std::uint32_t>(std::min<std::uint64_t>(exists_, vanished.uids.count()));
    events_.changed();
  }
}

void ImapClient::onFetch(ImapFetch fetch) {
  modSeq_ = std::max(modSeq_, selecting_ ? 0 : fetch.modSeq.value_or(0));
  bool answers = false;
  for (ImapSection& section : fetch.sections) {
    if (!fetch.uid) {
      continue;
    }
    if (section.name == "HEADER.FIELDS") {
      // NIL, or too long to be kept: an empty head would be judged as if it were the message's.
      answers = true;
      events_.head({*fetch.uid, fetch.internalDate.value_or(kNoDate), fetch.size,
                    std::move(section.bytes), std::move(fetch.structure),
                    section.nil || section.cut});
    } else if (section.name.empty()) {
      answers = true;
      events_.body({*fetch.uid, section.origin.value_or(0), std::move(section.bytes), section.cut,
                    section.nil});
    }
  }
  if (answers) {
    return;
  }
  if (gatherer_.active()) {
    gatherer_.flags(fetch);
  } else if (fetch.flags) {
    events_.changed();  // nobody has asked for them: another program has changed them
  }
}

void ImapClient::onCondition(const ImapCondition& condition) {
  if (condition.code.name == "PERMANENTFLAGS" && selecting_) {
    opened_.readOnly = opened_.readOnly || !namesSeen(condition.code.arguments);
  }
  if (condition.code.name == "HIGHESTMODSEQ" && selecting_) {
    opened_.modSeq = condition.code.number().value_or(0);
  }
  if (condition.code.name == "UIDVALIDITY") {
    const std::uint64_t number = condition.code.number().value_or(0);
    opened_.uidValidity = number <= std::numeric_limits<std::uint32_t>::max()
                              ? static_cast<std::uint32_t>(number)
                              : 0;
  }
}

}  // namespace relaybird
