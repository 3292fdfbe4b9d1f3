// SPDX-License-Identifier: MIT
#include "message/text/libraries.h"

#include <gmime/gmime.h>
#include <libxml/parser.h>

#include <mutex>

namespace relaybird {

// One flag for both, here and nowhere else: a second one would let a second thread in while the
// first is inside.
void prepareLibraries() {
  static std::once_flag once;
  std::call_once(once, [] {
    g_mime_init();
    xmlInitParser();
  });
}

}  // namespace relaybird
