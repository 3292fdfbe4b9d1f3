// SPDX-License-Identifier: MIT
#include "outlook_double/journal.h"

#include <algorithm>

namespace relaybird::outlook_double {

namespace {

std::string timeText(DateTime moment) {
  return std::to_string(moment.time_since_epoch().count());
}

DateTime timeOf(const CommandLine& line, const char* name) {
  return line.has(name) ? DateTime(std::chrono::microseconds(line.number(name, 0))) : kNoDate;
}

// "NAME:CONTENT".
std::string fileText(const MemoryAttachment& file) {
  return file.name + ":" + file.content;
}

std::vector<MemoryAttachment> filesOf(const CommandLine& line) {
  std::vector<MemoryAttachment> files;
  for (const auto& text : line.all("file")) {
    const auto colon = std::min(text.find(':'), text.size());
    files.push_back(
        {text.substr(0, colon), text.substr(std::min(colon + 1, text.size())), std::nullopt});
  }
  return files;
}

}  // namespace

MemoryItem itemOfLine(const CommandLine& line) {
  MemoryItem item;
  item.kind = line.value("kind", item.kind);
  if (line.has("id")) {
    item.entryId = line.value("id");
  }
  item.unread = line.flag("unread", true);
  item.subject = line.value("subject");
  item.body = line.value("body");
  item.html = line.flag("html", false);
  item.received = timeOf(line, "received");
  item.modified = timeOf(line, "modified");
  item.senderName = line.value("sender");
  item.senderAddress = line.value("address");
  item.attachments = filesOf(line);
  return item;
}

std::string lineOfItem(const MemoryItem& item) {
  std::string line = "deliver" + field("kind", item.kind);
  if (item.entryId) {
    line += field("id", *item.entryId);
  }
  line += field("unread", item.unread ? "1" : "0") + field("subject", item.subject) +
          field("body", item.body) + field("html", item.html ? "1" : "0") +
          field("received", timeText(item.received)) + field("modified", timeText(item.modified)) +
          field("sender", item.senderName) + field("address", item.senderAddress);
  for (const auto& file : item.attachments) {
    line += field("file", fileText(file));
  }
  return line;
}

std::string lineOfMessage(const MemoryMessage& message) {
  std::string line = "sent" + field("subject", message.subject) + field("body", message.body) +
                     field("html", message.html ? "1" : "0");
  for (const auto& [address, type] : message.recipients) {
    line += field("recipient", std::to_string(static_cast<int>(type)) + ":" + address);
  }
  for (const auto& address : message.replyTo) {
    line += field("reply", address);
  }
  for (const auto& file : message.attachments) {
    line += field("file", fileText(file));
  }
  return line;
}

MemoryMessage messageOfLine(const CommandLine& line) {
  MemoryMessage message;
  message.subject = line.value("subject");
  message.body = line.value("body");
  message.html = line.flag("html", false);
  for (const auto& text : line.all("recipient")) {
    message.recipients.push_back({text.substr(2), static_cast<RecipientType>(text[0] - '0')});
  }
  message.replyTo = line.all("reply");
  message.attachments = filesOf(line);
  return message;
}

}  // namespace relaybird::outlook_double
