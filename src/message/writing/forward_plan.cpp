// SPDX-License-Identifier: MIT
#include "message/writing/forward_plan.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>

#include "message/parts/message_layout.h"
#include "message/parts/part_content.h"
#include "message/text/charset.h"
#include "message/text/clean_text.h"
#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

// Containers must be labelled 8bit as soon as anything within them is (RFC 2045 section 6.4).
Result<void> planWhole(ForwardPlan& plan) {
  InputFile& file = plan.source->file();
  const auto facts = readByteFacts(file, 0, file.info().size);
  if (!facts) {
    return facts.error();
  }
  plan.wholeIsFile = !facts->isLines();
  plan.eightBit = facts->isEightBit() && !plan.wholeIsFile;
  return {};
}

Result<void> planParts(const ForwardDraft& draft, const std::vector<std::size_t>& kept,
                       ForwardPlan& plan) {
  for (const std::size_t index : kept) {
    const auto carried =
        planCarriage(draft.source->file(), *draft.source->layout().attached[index]);
    if (!carried) {
      return carried.error();
    }
    const bool isShown = plan.html && draft.source->attachments()[index].isInline;
    (isShown ? plan.shown : plan.attached).push_back(*carried);
    plan.eightBit = plan.eightBit || carried->eightBit;
  }
  return {};
}

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
  return plan.whole ? planWhole(plan) : planParts(draft, kept, plan);
}

// No sender can have guessed it, since it follows from the forward's own identifier (FNV-1a).
std::string boundaryFor(std::string_view messageId) {
  std::uint64_t hash = 0xcbf29ce484222325U;
  for (const char c : messageId) {
    hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3U;
  }
  std::string bytes;
  for (int shift = 56; shift >= 0; shift -= 8) {
    bytes += static_cast<char>(hash >> shift);
  }
  return "=_rb_" + toHex(bytes) + "_";
}

}  // namespace

Result<ForwardPlan> planForward(const ForwardDraft& draft) {
  ForwardPlan plan;
  plan.source = draft.source;
  plan.boundary = boundaryFor(draft.messageId);
  if (draft.body || draft.source == nullptr) {
    plan.text =
        withoutFillers(withoutControls(withPlainLineEnds(scrubUtf8(draft.body.value_or("")))));
  } else {
    plan.text = forwardText(*draft.source, draft.sentText);
    if (draft.source->htmlBody()) {
      plan.html = forwardHtml(*draft.source, draft.sentText);
    }
  }
  if (const auto chosen = chooseAttachments(draft, plan); !chosen) {
    return chosen.error();
  }
  return plan;
}

}  // namespace relaybird
