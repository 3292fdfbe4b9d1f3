// SPDX-License-Identifier: MIT
// The user's manual, built in: the same pages as in the help file, for programs that show them
// without it. Standard library only; for any thread.
#pragma once

#include <span>
#include <string_view>
#include <vector>

namespace relaybird {

struct HelpTopic {
  std::string_view name;  ///< short and stable: "settings-general"
  std::string_view title;
  std::string_view html;  ///< the whole page
};

/// Every topic, in the order of the contents.
std::span<const HelpTopic> helpTopics();

/// Finds the topic that the words identify: the one with that name or title, else the only one
/// whose name or title begins with them, else the only one that contains them. Ignores letter case
/// and surrounding blanks. Null if there is none or more than one.
const HelpTopic* findHelpTopic(std::string_view words);

/// All topics whose name or title contains all words, or, if there are none, whose page does. In
/// the order of the contents; empty for no words.
std::vector<const HelpTopic*> searchHelpTopics(std::string_view words);

}  // namespace relaybird
