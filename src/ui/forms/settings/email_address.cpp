// SPDX-License-Identifier: MIT
#include "ui/forms/settings/email_address.h"

namespace relaybird {

bool bolCheckEmailAddress(ActivityLog& log, std::string_view address) {
  log.AddToLogV("bolCheckEmailAddress - (Entered)");
  constexpr std::size_t kShortest = 3;
  if (address.size() < kShortest) {
    return false;
  }
  const std::size_t last = address.size() - 1;
  const std::size_t at = address.find('@');
  if (at == std::string_view::npos || at == 0 || at == last) {
    return false;
  }
  const std::size_t point = address.find('.', at);
  return point != std::string_view::npos && point != last;
}

}  // namespace relaybird
