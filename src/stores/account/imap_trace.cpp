// SPDX-License-Identifier: MIT
#include "stores/account/imap_trace.h"

#include <utility>

#include "platform/text/ascii_text.h"

namespace relaybird {

// Posted, since the log belongs to the user-interface thread.
std::function<void(ProtocolLine)> imapTrace(const StoreWorld& world, const std::string& name) {
  return [verbose = world.verbose, &events = world.events, notice = world.notice,
          name](const ProtocolLine& line) {
    if (verbose && *verbose) {
      events.post(
          [notice, text = name + (line.sent ? " > " : " < ") + std::string(trimmed(line.text))] {
            notice({text, StoreNotice::Kind::kVerbose});
          });
    }
  };
}

}  // namespace relaybird
