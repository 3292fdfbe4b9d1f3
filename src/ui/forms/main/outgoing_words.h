// SPDX-License-Identifier: MIT
// What the user is told of mail that has not left this computer.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "mail/outgoing_mail.h"

namespace relaybird {

/// "1 message", "2 messages".
std::string counted(std::size_t count, const char* one, const char* many);

/// Sentences about what keeps mail from leaving; none where nothing does.
std::vector<std::string> whatHoldsBack(const OutgoingState& state);

/// Whether mail was refused between two moments, or something keeps it from leaving now that the
/// user has to see to. Mail that just waits for its turn is none.
bool hasProblem(const OutgoingState& before, const OutgoingState& after);

/// One text of sentences.
std::string asOneText(const std::vector<std::string>& sentences);

/// What became of the mail between two moments: how much left, how much was refused, how much
/// waits now.
std::string whatBecame(const OutgoingState& before, const OutgoingState& after,
                       std::size_t waiting);

}  // namespace relaybird
