// SPDX-License-Identifier: MIT
#pragma once

#include <string_view>

#include "contract/store_under_test.h"

namespace relaybird {

/// A message of an outbox as its recipient's mail program would parse it. Reads with GMime,
/// not with the code that wrote it.
SentMail readSentMessage(std::string_view bytes);

}  // namespace relaybird
