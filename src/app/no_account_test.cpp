// SPDX-License-Identifier: MIT
// Linked in place of account_test.cpp in a build whose system has no mail accounts of its own: the
// mail application there has them.
#include "app/account_test.h"

namespace relaybird {

bool testAccount(const AccountTestWorld&, const MailSettings&, const TypedSecrets&, std::stop_token,
                 const std::function<void(const TestLine&)>& line) {
  line({TestLine::Kind::kProblem, "This program was built without mail accounts"});
  return false;
}

}  // namespace relaybird
