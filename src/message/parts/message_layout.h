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

  /// The parts of the text in order, once for a reader of plain text and once for a reader of HTML.
  /// Both may have parts of either type.
  std::vector<const Part*> plainText;
  std::vector<const Part*> htmlText;
  bool hasHtml = false;  ///< whether htmlText holds any HTML

  std::vector<const Part*> attached;
  const Part* calendar = nullptr;  ///< the first text/calendar part that is not an attachment
  bool sealed = false;             ///< parts are signed or encrypted together

  const Part& root() const { return *tree.root; }
};

/// Sorts the parts of a tree. Of alternatives, the first plain text and the last HTML are taken; a
/// blank plain text beside HTML counts as missing. `isBlank` is called only for that.
MessageLayout layOut(PartTree tree, const std::function<bool(const Part&)>& isBlank);

/// The size of the parts as they are stored.
std::uint64_t storedSize(const std::vector<const Part*>& parts);

}  // namespace relaybird
