// SPDX-License-Identifier: MIT
// Knows the commands that the store sends and calls any other bad. It answers them from the
// messages of the account, in the simplest form that the standard allows.
#include "stores/account/imap_server_script.h"

#include <algorithm>
#include <stdexcept>

#include "message/header_block.h"
#include "message/memory_files.h"
#include "message/parts/part_tree.h"
#include "platform/text/ascii_text.h"
#include "stores/account/uid_set.h"

namespace relaybird {
namespace {

// The words of a command; what is in parentheses stays together.
std::vector<std::string> wordsOf(const std::string& command) {
  std::vector<std::string> words(1);
  int depth = 0;
  for (const char c : command) {
    depth += c == '(' ? 1 : c == ')' ? -1 : 0;
    if (c == ' ' && depth == 0) {
      words.emplace_back();
    } else {
      words.back() += c;
    }
  }
  return words;
}

std::string literal(std::string_view bytes) {
  return '{' + std::to_string(bytes.size()) + "}\r\n" + std::string(bytes);
}

std::string quoted(std::string_view text) {
  std::string result = "\"";
  for (const char c : text) {
    result += c == '"' || c == '\\' ? std::string("\\") + c : std::string(1, c);
  }
  return result + '"';
}

std::string parameterList(const FieldWithParameters& field) {
  std::string result;
  for (const auto& [name, value] : field.parameters) {
    result += (result.empty() ? "" : " ") + quoted(name) + ' ' + quoted(value);
  }
  return result.empty() ? "NIL" : '(' + result + ')';
}

std::string structureOf(const Part& part) {
  const std::size_t slash = part.type.value.find('/');
  const std::string subtype = quoted(std::string_view(part.type.value).substr(slash + 1));
  const std::string disposition =
      part.disposition.value.empty()
          ? "NIL"
          : '(' + quoted(part.disposition.value) + ' ' + parameterList(part.disposition) + ')';
  std::string result = "(";
  if (part.multipart) {
    for (const auto& child : part.children) {
      result += structureOf(*child);
    }
    result += ' ' + subtype + ' ' + parameterList(part.type);
  } else {
    result += quoted(std::string_view(part.type.value).substr(0, slash)) + ' ' + subtype + ' ' +
              parameterList(part.type) + " NIL NIL \"7bit\" " +
              std::to_string(part.end - part.body) +
              (part.type.value.starts_with("text/") ? " 1" : "") + " NIL";
  }
  return result + ' ' + disposition + " NIL NIL)";
}

std::string structureOf(const std::string& mail) {
  MemoryInput file(mail);
  return structureOf(*readPartTree(file, *readHeaderBlock(file), mail.size())->root);
}

// The fields of the header section that are asked for, with their folds, and the empty line.
std::string askedFields(std::string_view header, std::string_view items) {
  items.remove_prefix(items.find('(', items.find("HEADER.FIELDS")) + 1);
  const std::string names = ' ' + asciiLower(items.substr(0, items.find(')'))) + ' ';
  std::string result;
  bool asked = false;
  while (!header.empty()) {
    const std::size_t end = std::min(header.find('\n'), header.size() - 1) + 1;
    const std::string_view line = header.substr(0, end);
    header.remove_prefix(end);
    if (!line.starts_with(' ') && !line.starts_with('\t')) {
      const std::string name = asciiLower(line.substr(0, line.find(':')));
      asked = names.find(' ' + name + ' ') != std::string::npos;
    }
    if (asked) {
      result += line;
    }
  }
  return result + "\r\n";
}

std::string fetched(const ServerMail& mail, const std::string& items) {
  std::string data = "UID " + std::to_string(mail.uid);
  if (items.find("INTERNALDATE") != std::string::npos) {
    data += std::string(" FLAGS (") + (mail.seen ? "\\Seen" : "") + ") INTERNALDATE \"" +
            mail.date + "\" RFC822.SIZE " + std::to_string(mail.bytes.size());
    if (items.find("BODYSTRUCTURE") != std::string::npos) {
      data +=
          " BODYSTRUCTURE " + (mail.structure.empty() ? structureOf(mail.bytes) : mail.structure);
    }
    data += " BODY[HEADER.FIELDS (SUBJECT)] " +
            literal(askedFields(HeaderBlock(mail.bytes).bytes(), items));
  }
  if (const std::size_t at = items.find("BODY.PEEK[]<"); at != std::string::npos) {
    std::size_t used = 0;
    const std::string range = items.substr(at + 12);
    const std::size_t origin = std::stoul(range, &used);
    const std::size_t count = std::stoul(range.substr(used + 1));
    data += " BODY[]<" + std::to_string(origin) + "> ";
    data += literal(origin < mail.bytes.size() ? std::string_view(mail.bytes).substr(origin, count)
                                               : std::string_view());
  } else if (items.find("BODY.PEEK[]") != std::string::npos) {
    data += " BODY[] " + literal(mail.bytes);
  }
  return data;
}

std::string answer(ServerAccount& account, const std::string& tag, const std::string& command) {
  const std::string done = tag + " OK done\r\n";
  const auto words = wordsOf(command);
  if (command == "CAPABILITY") {
    return "* CAPABILITY " + account.capabilities + "\r\n" + done;
  }
  if (words[0] == "SELECT") {
    return "* " + std::to_string(account.mails.size()) + " EXISTS\r\n* OK [UIDVALIDITY " +
           std::to_string(account.uidValidity) + "] x\r\n" +
           (account.permanentFlags.empty()
                ? ""
                : "* OK [PERMANENTFLAGS " + account.permanentFlags + "] x\r\n") +
           tag + (account.readOnly ? " OK [READ-ONLY]" : " OK [READ-WRITE]") + " open\r\n";
  }
  if (words[0] == "ID" || words[0] == "NOOP" || words[0] == "DONE") {
    return done;
  }
  if (words[0] == "LOGOUT") {
    return "* BYE\r\n" + done;
  }
  if (words[0] != "UID") {
    return tag + " BAD unknown\r\n";
  }
  if (words[1] == "SEARCH") {
    UidSet unseen;
    for (const ServerMail& mail : account.mails) {
      if (!mail.seen) {
        unseen.add(mail.uid);
      }
    }
    return "* ESEARCH (TAG \"" + tag + "\") UID" + (unseen.empty() ? "" : " ALL " + unseen.text()) +
           "\r\n" + done;
  }
  const auto uids = UidSet::parse(words[2]);
  if (!uids) {
    return tag + " BAD set\r\n";
  }
  std::string result;
  std::size_t number = 0;
  for (ServerMail& mail : account.mails) {
    ++number;
    if (!uids->contains(mail.uid)) {
      continue;
    }
    if (words[1] == "STORE") {
      mail.seen = words[3].front() == '+';
    } else {
      result += "* " + std::to_string(number) + " FETCH (" + fetched(mail, words[3]) + ")\r\n";
    }
  }
  return result + done;
}

}  // namespace

ServerMail& ServerAccount::add(std::uint32_t uid, std::string bytes) {
  mails.push_back({uid, std::move(bytes)});
  return mails.back();
}

ServerMail* ServerAccount::find(std::uint32_t uid) {
  const auto found = std::find_if(mails.begin(), mails.end(),
                                  [uid](const ServerMail& mail) { return mail.uid == uid; });
  return found == mails.end() ? nullptr : &*found;
}

void ServerAccount::remove(std::uint32_t uid) {
  std::erase_if(mails, [uid](const ServerMail& mail) { return mail.uid == uid; });
}

std::size_t ServerAccount::count(std::string_view beginning) const {
  return static_cast<std::size_t>(std::count_if(
      commands.begin(), commands.end(),
      [beginning](const std::string& command) { return command.starts_with(beginning); }));
}

std::string simpleMail(const std::string& subject) {
  return "From: Ann <ann@example.org>\r\nSubject: " + subject + "\r\nMessage-ID: <" + subject +
         "@example.org>\r\nContent-Type: text/plain\r\n\r\nText of " + subject + ".\r\n";
}

std::unique_ptr<ServerScript> imapServer(ServerAccount& account) {
  return answerLines(
      [&account, idleTag = std::string()](ServerEnd& end, std::string_view line) mutable {
        std::string tag(line.substr(0, line.find(' ')));
        std::string command(line == tag ? "" : line.substr(tag.size() + 1));
        if (line == "DONE") {
          tag = idleTag;
          command = "DONE";
        }
        account.commands.push_back(command);
        std::optional<std::string> own;
        if (account.instead) {
          own = account.instead(tag, command);
        }
        if (own) {
          end.say(*own);
        } else if (command == "IDLE") {
          idleTag = tag;
          end.say("+ idling\r\n");
        } else {
          end.say(answer(account, tag, command));
        }
      });
}

}  // namespace relaybird
