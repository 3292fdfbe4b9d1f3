// SPDX-License-Identifier: MIT
#include "stores/mime/parts/gmime_library.h"

#include <mutex>

namespace relaybird {

void useGmime() {
  static std::once_flag once;
  std::call_once(once, g_mime_init);
}

}  // namespace relaybird
