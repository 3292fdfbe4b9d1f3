// SPDX-License-Identifier: MIT
// Messages as senders write them.
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace relaybird {

struct MailText {
  std::string from = "Wren Writer <wren@writer.example>";  ///< empty: no such field
  std::string subject = "Subject";
  std::string body = "Body";
  std::string html;                                              ///< empty: none
  std::vector<std::pair<std::string, std::string>> attachments;  ///< name, bytes
  std::string extraFields;                                       ///< whole lines
};

/// Ordinary mail: text, an HTML alternative, attachments.
std::string mailText(const MailText& mail);
/// A message whose kind is the given class name: a meeting request, a report, a task request of one
/// of the four kinds, or ordinary mail.
std::string mailTextOfKind(const std::string& kind, const MailText& mail);

/// RFC 2045 base64 in lines of 76.
std::string base64Lines(std::string_view bytes);

}  // namespace relaybird
