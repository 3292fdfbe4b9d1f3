// SPDX-License-Identifier: MIT
// What a forward is going to hold.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "message/writing/carried_part.h"
#include "message/writing/forward.h"
#include "platform/result.h"

namespace relaybird {

/// What the forward is made of, decided before anything is written.
struct ForwardPlan {
  const Message* source = nullptr;
  std::string text;
  std::optional<std::string> html;
  std::vector<CarriedPart> shown;     ///< kept attachments that the HTML shows
  std::vector<CarriedPart> attached;  ///< the other kept ones
  bool whole = false;                 ///< carries the source itself
  bool wholeIsFile = false;           ///< which breaks the rules that a message within one has
  bool eightBit = false;              ///< carries bytes beyond ASCII
  std::string boundary;
};

/// Reads the source's texts and looks through what is to be carried. EINVAL for an attachment that
/// the source does not have, else what reading said. The plan refers to the draft's source.
Result<ForwardPlan> planForward(const ForwardDraft& draft);

}  // namespace relaybird
