// SPDX-License-Identifier: MIT
// How the console writes any text on one line and reads it back, and what it takes for a line at
// all. Log lines carry what strangers wrote into their mail: nothing that could move a cursor,
// change a terminal's state or pass for a line of its own leaves this program unescaped.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/result.h"

namespace relaybird {

/// On one line, and read back inside quotes by splitWords(): "\\" "\n" "\r" "\t" for these, and
/// "\xHH" for every byte of another character that is hidden (isHidden()), and for bytes that are
/// no UTF-8 (RFC 3629).
std::string escaped(std::string_view text);
/// The same in double quotes, with a quote as "\"".
std::string inQuotes(std::string_view text);

/// For people to read, not to be read back: as withCodes() has it, with blanks for tabs.
std::string printable(std::string_view text);

/// The words of a line: what blanks and tabs divide. A word in double quotes may hold blanks and
/// the escapes of inQuotes(); elsewhere a backslash stands for itself. An error names what is
/// wrong.
Result<std::vector<std::string>> splitWords(std::string_view line);

/// A value that runs to the end of its line: as it stands without the blanks around it, or one word
/// in double quotes.
Result<std::string> readValue(std::string_view rest);

/// Takes the first word off a line, and the blanks around it. Words in quotes are not known here.
std::string_view takeWord(std::string_view& line);

/// Why bytes cannot be a command, as a sentence without its full stop; empty when they can: they
/// are UTF-8, with no control characters but tabs, and with nothing that breaks a line or turns the
/// direction of writing.
std::string whyNoCommand(std::string_view bytes);

}  // namespace relaybird
