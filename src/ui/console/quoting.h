// SPDX-License-Identifier: MIT
// How the console writes any text on one line and reads it back, and which bytes it accepts as a
// line. Log lines hold what strangers wrote into their mail: text that could move a cursor, change
// the terminal's state or imitate another line must not leave this program unescaped.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "platform/result.h"

namespace relaybird {

/// The text on one line, as splitWords() reads it inside quotes: "\\" "\n" "\r" "\t" for these
/// characters, "\xHH" for every byte of other hidden characters (isHidden()) and of invalid UTF-8
/// (RFC 3629).
std::string escaped(std::string_view text);
/// The same in double quotes, with a quote as "\"".
std::string inQuotes(std::string_view text);

/// For people to read, not to be read back: withCodes(), with tabs as blanks.
std::string printable(std::string_view text);

/// Splits a line at blanks and tabs. A word in double quotes may hold blanks and the escapes of
/// inQuotes(); elsewhere a backslash has no special meaning. An error says what is wrong.
Result<std::vector<std::string>> splitWords(std::string_view line);

/// Reads a value that runs to the end of its line: either one word in double quotes, or the text
/// without surrounding blanks.
Result<std::string> readValue(std::string_view rest);

/// Removes the first word and the blanks around it from a line, and returns the word. Quotes have
/// no special meaning.
std::string_view takeWord(std::string_view& line);

/// Why bytes cannot be a command, as a sentence without its full stop; empty if they can. A command
/// is UTF-8 without control characters (except tabs), line breaks and
/// characters that turn the direction of writing (embeddings, overrides, isolates).
std::string whyNoCommand(std::string_view bytes);

}  // namespace relaybird
