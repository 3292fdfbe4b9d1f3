// SPDX-License-Identifier: MIT
// The user's manual, built in: the very pages that the help file holds, for programs that show it
// themselves. Standard library alone; any thread.
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

/// The topic that somebody means who types these words: the one of that name or title, else the
/// only one whose name or title begins with them, else the only one that contains them. Letter case
/// and the blanks around do not count. Null where none or several are meant.
const HelpTopic* findHelpTopic(std::string_view words);

/// Every topic whose name or title contains all of the words, or, where there is none, whose page
/// does. In the order of the contents; empty for no words.
std::vector<const HelpTopic*> searchHelpTopics(std::string_view words);

}  // namespace relaybird
