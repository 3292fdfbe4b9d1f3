// SPDX-License-Identifier: MIT
#include "stores/mime/writing/forward_plan.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>

#include "stores/mime/parts/message_layout.h"
#include "stores/mime/parts/message_text.h"
#include "stores/mime/parts/part_content.h"
#include "stores/text/charset.h"

namespace relaybird {
namespace {

Result<void> chooseAttachments(const ForwardDraft& draft, ForwardPlan& plan) {
  if (draft.keptAttachments.empty()) {
    return {};
  }
  const std::size_t count = draft.source == nullptr ? 0 : draft.source->attachments().size();
  auto kept = draft.keptAttachments;
  std::sort(kept.begin(), kept.end());
  kept.erase(std::unique(kept.begin(), kept.end()), kept.end());
  if (kept.back() >= count) {
    return Error{EINVAL, "The forward names an attachment that its source does not have"};
  }
  plan.whole = draft.source->isOpaque();
  for (const std::size_t index : plan.whole ? std::vector<std::size_t>() : kept) {
    const bool isShown = plan.html && draft.source->attachments()[index].isInline;
    (isShown ? plan.shown : plan.attached).push_back(draft.source->layout().attached[index]);
  }
  return {};
}

Result<bool> hasHighBytes(InputFile& file, std::uint64_t begin, std::uint64_t end) {
  bool found = false;
  const auto read = readBlocks(file, begin, end, [&found](std::string_view block) {
    found = std::any_of(block.begin(), block.end(),
                        [](char c) { return (static_cast<unsigned char>(c) & 0x80U) != 0; });
    return !found;
  });
  if (!read) {
    return read.error();
  }
  return found;
}

/// Containers must be labelled 8bit as soon as anything within them is (RFC 2045 section 6.4).
Result<bool> isEightBit(const ForwardPlan& plan) {
  if (plan.whole) {
    InputFile& file = plan.source->file();
    return hasHighBytes(file, 0, file.info().size);
  }
  for (const auto* list : {&plan.shown, &plan.attached}) {
    for (const Part* part : *list) {
      const auto found = hasHighBytes(plan.source->file(), part->begin, part->end);
      if (!found || *found) {
        return found;
      }
    }
  }
  return false;
}

/// No sender can have guessed it, since it follows from the forward's own identifier (FNV-1a).
std::string boundaryFor(std::string_view messageId) {
  std::uint64_t hash = 0xcbf29ce484222325U;
  for (const char c : messageId) {
    hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3U;
  }
  std::string text = "=_rb_";
  for (int shift = 60; shift >= 0; shift -= 4) {
    text += "0123456789abcdef"[(hash >> shift) & 0xFU];
  }
  return text + "_";
}

}  // namespace

Result<ForwardPlan> planForward(const ForwardDraft& draft) {
  ForwardPlan plan;
  plan.source = draft.source;
  plan.boundary = boundaryFor(draft.messageId);
  if (draft.body || draft.source == nullptr) {
    plan.text = withPlainLineEnds(scrubUtf8(draft.body.value_or("")));
    std::erase(plan.text, '\0');
  } else {
    plan.text = forwardText(*draft.source, draft.sentText);
    if (draft.source->htmlBody()) {
      plan.html = forwardHtml(*draft.source, draft.sentText);
    }
  }
  if (const auto chosen = chooseAttachments(draft, plan); !chosen) {
    return chosen.error();
  }
  const auto eightBit = isEightBit(plan);
  if (!eightBit) {
    return eightBit.error();
  }
  plan.eightBit = *eightBit;
  return plan;
}

}  // namespace relaybird
