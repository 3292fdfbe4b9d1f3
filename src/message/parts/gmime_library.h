// SPDX-License-Identifier: MIT
// GMime, owned the C++ way; prepareLibraries() (message/text/libraries.h) comes before any call of
// it. GMime is used for the small, intricate things (parameters, dates, transfer encodings, the
// encoding of header values); the structure of a message is read by part_tree.h, which bounds what
// a hostile message can cost.
#pragma once

#include <gmime/gmime.h>

#include <memory>

namespace relaybird {

struct GObjectUnref {
  void operator()(void* object) const { g_object_unref(object); }
};
/// Owns one reference to a GObject.
template <class T>
using GObjectPtr = std::unique_ptr<T, GObjectUnref>;

struct GFree {
  void operator()(void* memory) const { g_free(memory); }
};
/// Owns a string that GMime allocated.
using GString8 = std::unique_ptr<char, GFree>;

}  // namespace relaybird
