// SPDX-License-Identifier: MIT
#include "stores/account/numbering_server.h"

#include <algorithm>

namespace relaybird {

void NumberedFolder::expunge(std::uint32_t uid) {
  if (mails.erase(uid) > 0) {
    expunged[uid] = ++modSeq;
  }
}

void NumberedFolder::flag(std::uint32_t uid, bool Mail::*flag, bool value) {
  const auto mail = mails.find(uid);
  if (mail != mails.end() && mail->second.*flag != value) {
    mail->second.*flag = value;
    mail->second.modSeq = ++modSeq;
  }
}

std::vector<std::uint32_t> NumberedFolder::unread() const {
  std::vector<std::uint32_t> result;
  for (const auto& [uid, mail] : mails) {
    if (!mail.seen && !mail.deleted) {
      result.push_back(uid);
    }
  }
  return result;
}

std::string NumberingServer::answer(const std::string& line) {
  meanwhile();
  const std::string tag = line.substr(0, line.find(' '));
  const std::string command = line.substr(tag.size() + 1);
  const std::string done = tag + " OK done\r\n";
  commands.push_back(command);
  if (command == "CAPABILITY") {
    return "* CAPABILITY IMAP4rev1 " + capabilities_ + "\r\n" + done;
  }
  if (command == "ENABLE QRESYNC" && !odd_.refusesEnable) {
    resync_ = numbers_ = true;
    return "* ENABLED QRESYNC\r\n" + done;
  }
  if (command.starts_with("SELECT") && !(odd_.refusesSelect && command.ends_with(')'))) {
    return select(command) + done;
  }
  if (command == "NOOP") {
    return news() + done;
  }
  if (command.starts_with("UID SEARCH")) {
    std::string found = "* SEARCH";
    for (const std::uint32_t uid : folder_.unread()) {
      found += std::find(view_.begin(), view_.end(), uid) == view_.end()
                   ? ""
                   : ' ' + std::to_string(uid);
    }
    return found + "\r\n" + done;
  }
  if (const auto at = command.find("(CHANGEDSINCE ");
      at != std::string::npos && numbers_ && !odd_.refusesChanges && !odd_.hasNoNumbers) {
    const bool vanished = command.find("VANISHED") != std::string::npos;
    return changes(std::stoull(command.substr(at + 14)), vanished && resync_,
                   view_.empty() ? 1 : view_.back() + 1) +
           done;
  }
  if (command.starts_with("UID STORE")) {
    return store(command) + done;
  }
  return tag + " BAD what?\r\n";
}

std::string NumberingServer::select(const std::string& command) {
  view_.clear();
  for (const auto& [uid, mail] : folder_.mails) {
    view_.push_back(uid);
  }
  told_ = folder_.modSeq;
  std::string result = "* FLAGS (\\Seen \\Deleted)\r\n* 0 RECENT\r\n* " +
                       std::to_string(view_.size()) + " EXISTS\r\n* OK [UIDVALIDITY " +
                       std::to_string(folder_.uidValidity) + "] x\r\n";
  if (odd_.hasNoNumbers) {
    return result + "* OK [NOMODSEQ] x\r\n";
  }
  numbers_ = numbers_ || command.ends_with("(CONDSTORE)");
  if (numbers_) {
    result += "* OK [HIGHESTMODSEQ " + std::to_string(folder_.modSeq) + "] x\r\n";
  }
  const std::string known = "(QRESYNC (" + std::to_string(folder_.uidValidity) + ' ';
  if (const auto at = command.find(known); at != std::string::npos) {
    result += changes(std::stoull(command.substr(at + known.size())), true, folder_.nextUid);
  }
  return result;
}

// What has happened since the last time: messages that are gone, others that came, flags.
std::string NumberingServer::news() {
  std::string result;
  for (std::size_t at = view_.size(); at-- > 0;) {
    if (folder_.mails.contains(view_[at])) {
      continue;
    }
    result += resync_ && !odd_.namesNumbers ? "* VANISHED " + std::to_string(view_[at]) + "\r\n"
                                            : "* " + std::to_string(at + 1) + " EXPUNGE\r\n";
    view_.erase(view_.begin() + static_cast<std::ptrdiff_t>(at));
  }
  const std::size_t before = view_.size();
  for (const auto& [uid, mail] : folder_.mails) {
    if (view_.empty() || uid > view_.back()) {
      view_.push_back(uid);
    }
  }
  if (view_.size() != before) {
    result += "* " + std::to_string(view_.size()) + " EXISTS\r\n";
  }
  for (const std::uint32_t uid : view_) {
    if (folder_.mails[uid].modSeq > told_) {
      result += "* " + std::to_string(numberOf(uid)) + " FETCH (" + flags(uid) + ")\r\n";
    }
  }
  told_ = folder_.modSeq;
  return result;
}

std::string NumberingServer::store(const std::string& command) {
  const std::string words = command.substr(10);
  const auto uids = UidSet::parse(words.substr(0, words.find(' ')));
  const bool seen = words.find("+FLAGS") != std::string::npos;
  std::string result;
  for (auto& [uid, mail] : folder_.mails) {
    if (!uids->contains(uid) || mail.seen == seen) {
      continue;
    }
    mail.seen = seen;
    if (!odd_.hidesMarks) {
      mail.modSeq = ++folder_.modSeq;
    }
    if (numbers_ && !odd_.hasNoNumbers) {
      result += "* " + std::to_string(numberOf(uid)) + " FETCH (UID " + std::to_string(uid) +
                " MODSEQ (" + std::to_string(mail.modSeq) + "))\r\n";
    }
  }
  return result;
}

std::string NumberingServer::changes(std::uint64_t since, bool vanished, std::uint32_t below) {
  UidSet gone;
  for (const auto& [uid, modSeq] : folder_.expunged) {
    if (modSeq > since) {
      gone.add(uid);
    }
  }
  std::string result =
      vanished && !gone.empty() ? "* VANISHED (EARLIER) " + gone.text() + "\r\n" : "";
  // It does not stop the others while it tells.
  for (std::uint32_t uid = 1; uid < below; ++uid) {
    meanwhile();
    if (folder_.mails.contains(uid) && folder_.mails.at(uid).modSeq > since) {
      const std::string line =
          "* " + std::to_string(numberOf(uid)) + " FETCH (" + flags(uid) + ")\r\n";
      result += odd_.garbles ? line.substr(0, line.size() - 9) + "\r\n" : line;
    }
  }
  return result;
}

std::string NumberingServer::flags(std::uint32_t uid) const {
  const NumberedFolder::Mail& mail = folder_.mails.at(uid);
  std::string set = mail.seen ? "\\Seen" : "";
  set += mail.deleted ? (set.empty() ? "\\Deleted" : " \\Deleted") : "";
  std::string result = "FLAGS (" + set + ")";
  if (numbers_) {
    result = "UID " + std::to_string(uid) + ' ' + result + " MODSEQ (" +
             std::to_string(mail.modSeq) + ")";
  }
  return result;
}

std::size_t NumberingServer::numberOf(std::uint32_t uid) const {
  return static_cast<std::size_t>(std::find(view_.begin(), view_.end(), uid) - view_.begin()) + 1;
}

}  // namespace relaybird
