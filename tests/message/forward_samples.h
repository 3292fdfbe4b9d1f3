// SPDX-License-Identifier: MIT
// Makes forwards of the sample messages and finds their parts.
#pragma once

#include <gtest/gtest.h>

#include <numeric>
#include <string>
#include <string_view>
#include <vector>

#include "message/mail_samples.h"
#include "message/parts/message_layout.h"
#include "message/writing/forward.h"
#include "message/writing/forward_text.h"

namespace relaybird {

inline constexpr const char* kSent = "Friday at nine";

inline ForwardDraft draftOf(const Message* source) {
  ForwardDraft draft;
  draft.source = source;
  draft.from = {"Me", "me@example.com"};
  draft.to = {{"", "pager@example.net"}};
  draft.subject = source == nullptr ? "" : "FW: " + source->subject();
  draft.sentText = kSent;
  draft.messageId = "forward-1@example.com";
  draft.date = DateTime(std::chrono::sys_days{std::chrono::year{2026} / 11 / 21});
  draft.traces = {"mark"};
  if (source != nullptr) {
    draft.keptAttachments.resize(source->attachments().size());
    std::iota(draft.keptAttachments.begin(), draft.keptAttachments.end(), 0U);
  }
  return draft;
}

inline std::string written(const ForwardDraft& draft) {
  MemoryOutput out;
  const auto result = writeForward(draft, out);
  EXPECT_TRUE(result) << result.error().text;
  return out.written;
}

inline std::string forwardOf(const Message& source) {
  return written(draftOf(&source));
}

/// All parts of a message without child parts.
inline void collect(const Part& part, std::vector<const Part*>& leaves) {
  if (!part.multipart) {
    leaves.push_back(&part);
  }
  for (const auto& child : part.children) {
    collect(*child, leaves);
  }
}

inline const Part* leafOfType(const Message& message, std::string_view type) {
  std::vector<const Part*> leaves;
  collect(message.layout().root(), leaves);
  for (const Part* leaf : leaves) {
    if (leaf->type.value == type) {
      return leaf;
    }
  }
  return nullptr;
}

inline std::string bytesOf(const std::string& message, const Part& part) {
  return message.substr(part.begin, part.end - part.begin);
}

}  // namespace relaybird
