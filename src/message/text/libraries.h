// SPDX-License-Identifier: MIT
// What every user of GMime, GLib and libxml2 needs: one place that initialises the libraries, and
// owners for what they allocate. GMime does the small, intricate things (parameters, dates,
// transfer encodings); the structure of a message is read by parts/part_tree.h, which bounds what a
// hostile message can cost.
#pragma once

#include <memory>

namespace relaybird {

/// Initialises the libraries that several threads use and whose first use must not happen on two of
/// them at once: GMime and libxml2. Only the first call has an effect. Any thread.
///
/// No other place does so. The programs call it before they start anything, and a mail store before
/// its first thread. Code that enters one of these libraries calls it as well, so that a test, a
/// fuzz target or a benchmark can use one function alone.
void prepareLibraries();

struct GObjectUnref {
  void operator()(void* object) const;
};
/// Owns one reference to a GObject.
template <class T>
using GObjectPtr = std::unique_ptr<T, GObjectUnref>;

struct GFree {
  void operator()(void* memory) const;
};
/// Owns a string that GLib or GMime allocated.
using GText = std::unique_ptr<char, GFree>;

}  // namespace relaybird
