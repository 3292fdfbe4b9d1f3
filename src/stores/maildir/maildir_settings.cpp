// SPDX-License-Identifier: MIT
#include "stores/maildir/maildir_settings.h"

namespace relaybird {

MaildirSettings readMaildirSettings(const ProfileReader& file, const LocalIdentity& user,
                                    const std::string& stateFolder) {
  const std::string& home = user.homeFolder;
  return {readMailboxSettings(file, user, stateFolder),
          userPath(mailValue(file, "maildir", home + "/Maildir"), home),
          expandHome(mailValue(file, "sendmail", ""), home)};
}

}  // namespace relaybird
