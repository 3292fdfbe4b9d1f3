// SPDX-License-Identifier: MIT
// Which parts of a message are its text, and which are attached to it.
#pragma once

#include <cstddef>
#include <functional>
#include <vector>

#include "message/parts/part_tree.h"

namespace relaybird {

struct MessageLayout {
  PartTree tree;

  /// The text in its order, once as a reader of plain text and once as a reader of HTML would have
  /// it; each may hold parts of either type.
  std::vector<const Part*> plainText;
  std::vector<const Part*> htmlText;
  bool hasHtml = false;  ///< whether htmlText holds any HTML

  std::vector<const Part*> attached;
  const Part* calendar = nullptr;  ///< the first text/calendar part that is no attachment
  bool sealed = false;             ///< parts are signed or encrypted together

  const Part& root() const { return *tree.root; }
};

/// Sorts the parts of a tree. Where parts are alternatives of each other, the first plain text and
/// the last HTML are taken; a plain text that is blank counts as absent beside HTML. `isBlank` is
/// asked only then.
MessageLayout layOut(PartTree tree, const std::function<bool(const Part&)>& isBlank);

/// The size of the parts as they are stored.
std::uint64_t storedSize(const std::vector<const Part*>& parts);

}  // namespace relaybird
