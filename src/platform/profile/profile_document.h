// SPDX-License-Identifier: MIT
// The text of a profile file, parsed and edited. Part of profile_file.h.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace relaybird {

/// Trims the bytes that count as blank in profile files from both ends: space, tab, vertical tab,
/// form feed and the end-of-file mark of old editors (0x1A).
std::string_view trimProfileBlanks(std::string_view text);

/// Why these cannot be a section, a key and a value in a file of lines; empty if they can.
std::string whyNoSetting(std::string_view section, std::string_view key, std::string_view value);

/// Knows the place of each key's value in the text, so that a value can be replaced without
/// changing another byte. Look-ups take logarithmic time for any text. Lines end with CR LF, LF or
/// a lone CR.
class ProfileDocument {
 public:
  /// `text` of at most 4 GiB, without a byte order mark.
  explicit ProfileDocument(std::string text);

  /// The value of the first such key of the first such section, up to the first NUL, without the
  /// blanks around it and one pair of quotes. Keys above the first section are in section "".
  std::optional<std::string> value(std::string_view section, std::string_view key) const;

  struct Setting {
    std::string section;
    std::string key;
    std::string value;
  };
  /// The text with these settings; of two for the same key the later one counts. An existing key
  /// keeps its line, a new key follows the last key of its section, a new section follows the last
  /// line. New lines end like most others, and with CR LF if the text has no line end. Names must
  /// not be empty nor contain a character that would end them.
  std::string with(const std::vector<Setting>& settings) const;

  const std::string& text() const { return text_; }

 private:
  /// Places in the text; the original and the one in capitals have the same.
  struct Span {
    std::uint32_t begin = 0;
    std::uint32_t end = 0;
  };
  struct Section {
    Span name;
    std::uint32_t newKeysAt = 0;  ///< the beginning of the line after its last key
    std::uint32_t order = 0;      ///< its index among all sections of the file
  };
  struct Key {
    std::uint32_t section = 0;  ///< Section::order
    Span name;
    Span value;  ///< including the blanks around it
  };
  class Edits;

  void parse();
  void parseLine(Span line, std::uint32_t next);
  void index();
  std::string_view folded(Span span) const;
  const Section* findSection(std::string_view foldedName) const;
  const Key* findKey(const Section& section, std::string_view foldedName) const;
  std::string_view usualLineEnd() const;
  static std::vector<Setting> lastOfEach(const std::vector<Setting>& settings);
  void replaceValue(Edits& edits, const Key& key, std::string_view by) const;

  std::string text_;
  std::string folded_;             ///< the text in ASCII capitals
  std::vector<Section> sections_;  ///< the first of each name, ordered by name
  std::vector<Key> keys_;  ///< of those, the first of each name, ordered by section and name
};

}  // namespace relaybird
