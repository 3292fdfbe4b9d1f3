// SPDX-License-Identifier: MIT
#include "message/text/libraries.h"

#include <gmime/gmime.h>
#include <libxml/parser.h>

#include <mutex>

namespace relaybird {

// One flag for both libraries: with two, a second thread could enter while the first is still
// inside.
void prepareLibraries() {
  static std::once_flag once;
  std::call_once(once, [] {
    g_mime_init();
    xmlInitParser();
  });
}

void GObjectUnref::operator()(void* object) const {
  g_object_unref(object);
}

void GFree::operator()(void* memory) const {
  g_free(memory);
}

}  // namespace relaybird
