// SPDX-License-Identifier: MIT
// The text is parsed once into the places of its sections and keys, sorted for look-up. Changes are
// collected as edits of those places and applied in one pass from front to back, so that every
// other byte of the file stays as its owner wrote it.
#include "platform/profile/profile_document.h"

#include <algorithm>
#include <map>
#include <utility>

#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

// U+001A is the end-of-file mark of old editors, which profile calls skip.
constexpr std::string_view kBlanks = " \t\v\f\x1A";

constexpr std::string_view kLineBreakers{"\r\n\0", 3};

std::uint32_t narrow(std::size_t place) {
  return static_cast<std::uint32_t>(place);
}

// As the profile calls of Windows do: one pair of equal quotes around a value is not part of it.
std::string_view withoutOneQuotePair(std::string_view value) {
  if (value.size() < 2 || value.front() != value.back()) {
    return value;
  }
  if (value.front() != '"' && value.front() != '\'') {
    return value;
  }
  return value.substr(1, value.size() - 2);
}

bool endsLine(char c) {
  return c == '\n' || c == '\r';
}

}  // namespace

std::string_view trimProfileBlanks(std::string_view text) {
  const auto first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) {
    return text.substr(0, 0);
  }
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::string whyNoSetting(std::string_view section, std::string_view key, std::string_view value) {
  // A line break would begin another key, and so let a value set any setting.
  for (const auto part : {section, key, value}) {
    if (part.find_first_of(kLineBreakers) != std::string_view::npos) {
      return "a setting must not contain a line break or a NUL";
    }
  }
  section = trimProfileBlanks(section);
  key = trimProfileBlanks(key);
  if (section.empty() || key.empty()) {
    return "a setting needs a section and a key";
  }
  if (key.front() == ';' || key.front() == '[') {
    return "a key must not begin with ; or [";
  }
  if (key.find('=') != std::string_view::npos) {
    return "a key must not contain =";
  }
  return {};
}

// Changes to a text, collected in any order and applied in one pass.
class ProfileDocument::Edits {
 public:
  void replace(Span span, std::string_view by) { edits_.push_back({span, false, std::string(by)}); }
  // A whole line, given without its end, before the one that begins at `place`.
  void insertLine(std::uint32_t place, std::string line) {
    edits_.push_back({{place, place}, true, std::move(line)});
  }

  std::string apply(const std::string& text, std::string_view lineEnd) {
    // A value may end where a line is inserted: the value's own line comes first.
    std::stable_sort(edits_.begin(), edits_.end(), [](const Edit& left, const Edit& right) {
      return std::pair(left.span.begin, left.wholeLine) <
             std::pair(right.span.begin, right.wholeLine);
    });
    std::string result;
    std::size_t done = 0;
    for (const Edit& edit : edits_) {
      result.append(text, done, edit.span.begin - done);
      // The last line of a file often has no line end.
      if (edit.wholeLine && !result.empty() && !endsLine(result.back())) {
        result += lineEnd;
      }
      result += edit.text;
      if (edit.wholeLine) {
        result += lineEnd;
      }
      done = edit.span.end;
    }
    return result.append(text, done);
  }

 private:
  struct Edit {
    Span span;
    bool wholeLine;
    std::string text;
  };
  std::vector<Edit> edits_;
};

// A copy in capitals, so that names are compared without folding them for each look-up. Only ASCII
// is folded, so both texts have the same places.
ProfileDocument::ProfileDocument(std::string text)
    : text_(std::move(text)), folded_(asciiUpper(text_)) {
  parse();
  index();
}

void ProfileDocument::parse() {
  sections_.push_back({});  // the lines above the first section
  // CR LF, LF and CR end a line, in any mixture: files are edited on all systems.
  for (std::size_t begin = 0; begin < text_.size();) {
    const std::size_t end = std::min(text_.find_first_of("\r\n", begin), text_.size());
    std::size_t next = std::min(end + 1, text_.size());
    if (text_.compare(end, 2, "\r\n") == 0) {
      ++next;
    }
    parseLine({narrow(begin), narrow(end)}, narrow(next));
    begin = next;
  }
}

void ProfileDocument::parseLine(Span line, std::uint32_t next) {
  const std::string_view all = text_;
  const auto spanOf = [&](std::string_view part) {
    const std::size_t begin = static_cast<std::size_t>(part.data() - all.data());
    return Span{narrow(begin), narrow(begin + part.size())};
  };
  const std::string_view whole = all.substr(line.begin, line.end - line.begin);
  const std::string_view trimmed = trimProfileBlanks(whole);
  if (trimmed.empty() || trimmed.front() == ';') {
    return;
  }
  if (trimmed.front() == '[') {
    // The last "]" of the line, because a name may contain one.
    const auto close = trimmed.rfind(']');
    if (close == std::string_view::npos) {
      return;  // neither a section nor a key
    }
    const auto order = narrow(sections_.size());
    sections_.push_back({spanOf(trimProfileBlanks(trimmed.substr(1, close - 1))), next, order});
    return;
  }
  const auto equals = whole.find('=');
  if (equals == std::string_view::npos) {
    return;
  }
  Section& section = sections_.back();
  // New keys follow the last key of the section, before blank lines and comments that belong to the
  // next one.
  section.newKeysAt = next;
  keys_.push_back({section.order, spanOf(trimProfileBlanks(whole.substr(0, equals))),
                   spanOf(whole.substr(equals + 1))});
}

// Orders sections and keys for look-up and drops all but the first of a name. The sort is stable,
// so the first in the file stays the first.
void ProfileDocument::index() {
  std::stable_sort(sections_.begin(), sections_.end(),
                   [this](const Section& left, const Section& right) {
                     return folded(left.name) < folded(right.name);
                   });
  std::vector<bool> counts(sections_.size(), false);
  sections_.erase(std::unique(sections_.begin(), sections_.end(),
                              [this](const Section& left, const Section& right) {
                                return folded(left.name) == folded(right.name);
                              }),
                  sections_.end());
  for (const Section& section : sections_) {
    counts[section.order] = true;
  }
  // Keys of a second section of the same name are never found, as with the profile calls.
  std::erase_if(keys_, [&](const Key& key) { return !counts[key.section]; });
  std::stable_sort(keys_.begin(), keys_.end(), [this](const Key& left, const Key& right) {
    return std::pair(left.section, folded(left.name)) <
           std::pair(right.section, folded(right.name));
  });
  keys_.erase(std::unique(keys_.begin(), keys_.end(),
                          [this](const Key& left, const Key& right) {
                            return left.section == right.section &&
                                   folded(left.name) == folded(right.name);
                          }),
              keys_.end());
}

std::string_view ProfileDocument::folded(Span span) const {
  return std::string_view(folded_).substr(span.begin, span.end - span.begin);
}

const ProfileDocument::Section* ProfileDocument::findSection(std::string_view foldedName) const {
  const auto found = std::lower_bound(sections_.begin(), sections_.end(), foldedName,
                                      [this](const Section& section, std::string_view sought) {
                                        return folded(section.name) < sought;
                                      });
  return found != sections_.end() && folded(found->name) == foldedName ? &*found : nullptr;
}

const ProfileDocument::Key* ProfileDocument::findKey(const Section& section,
                                                     std::string_view foldedName) const {
  const std::pair sought(section.order, foldedName);
  const auto found = std::lower_bound(keys_.begin(), keys_.end(), sought,
                                      [this](const Key& key, const auto& pair) {
                                        return std::pair(key.section, folded(key.name)) < pair;
                                      });
  if (found == keys_.end() || found->section != section.order) {
    return nullptr;
  }
  return folded(found->name) == foldedName ? &*found : nullptr;
}

std::optional<std::string> ProfileDocument::value(std::string_view section,
                                                  std::string_view key) const {
  const Section* const inSection = findSection(asciiUpper(trimProfileBlanks(section)));
  if (!inSection) {
    return std::nullopt;
  }
  const Key* const found = findKey(*inSection, asciiUpper(trimProfileBlanks(key)));
  if (!found) {
    return std::nullopt;
  }
  std::string_view value =
      std::string_view(text_).substr(found->value.begin, found->value.end - found->value.begin);
  // A NUL ends the value for every program that reads it through a C call.
  value = value.substr(0, value.find('\0'));
  return std::string(withoutOneQuotePair(trimProfileBlanks(value)));
}

std::string_view ProfileDocument::usualLineEnd() const {
  std::size_t pairs = 0;
  std::size_t feeds = 0;
  std::size_t returns = 0;
  for (std::size_t at = text_.find_first_of("\r\n"); at != std::string::npos;
       at = text_.find_first_of("\r\n", at + 1)) {
    if (text_[at] == '\n') {
      ++feeds;
    } else if (text_.compare(at, 2, "\r\n") == 0) {
      ++pairs;
      ++at;
    } else {
      ++returns;
    }
  }
  // The more frequent one; CR LF for an empty file and in a tie, as the format comes from Windows.
  if (feeds > pairs) {
    return "\n";
  }
  return pairs == 0 && returns > 0 ? "\r" : "\r\n";
}

// A setting that was set twice is written once, in its first place with its last value.
std::vector<ProfileDocument::Setting> ProfileDocument::lastOfEach(
    const std::vector<Setting>& settings) {
  std::map<std::pair<std::string, std::string>, std::size_t> seen;
  std::vector<Setting> result;
  for (const Setting& setting : settings) {
    const auto section = trimProfileBlanks(setting.section);
    const auto key = trimProfileBlanks(setting.key);
    const auto [at, isNew] =
        seen.try_emplace({asciiUpper(section), asciiUpper(key)}, result.size());
    if (isNew) {
      result.push_back({std::string(section), std::string(key), setting.value});
    } else {
      result[at->second].value = setting.value;
    }
  }
  return result;
}

void ProfileDocument::replaceValue(Edits& edits, const Key& key, std::string_view by) const {
  const auto old = std::string_view(text_).substr(key.value.begin, key.value.end - key.value.begin);
  const auto trimmed = trimProfileBlanks(old);
  // An unchanged value keeps its bytes, blanks included.
  if (trimmed == trimProfileBlanks(by)) {
    return;
  }
  // "key = value" keeps its blanks, but an empty value leaves none at the end of the line.
  const auto lead = by.empty() ? 0 : static_cast<std::size_t>(trimmed.data() - old.data());
  edits.replace({key.value.begin + narrow(lead), key.value.end}, by);
}

std::string ProfileDocument::with(const std::vector<Setting>& settings) const {
  Edits edits;
  std::vector<std::pair<std::string, std::vector<std::string>>> newSections;
  std::map<std::string, std::size_t> newSectionPlaces;
  for (const Setting& setting : lastOfEach(settings)) {
    const std::string sectionName = asciiUpper(setting.section);
    const Section* const section = findSection(sectionName);
    // A key that is there gets its new value in place, a new key stands behind the last one of its
    // section, and a new section at the end of the file.
    const Key* const key = section ? findKey(*section, asciiUpper(setting.key)) : nullptr;
    std::string line = setting.key + '=' + setting.value;
    if (key) {
      replaceValue(edits, *key, setting.value);
    } else if (section) {
      edits.insertLine(section->newKeysAt, std::move(line));
    } else {
      const auto [at, isNew] = newSectionPlaces.try_emplace(sectionName, newSections.size());
      if (isNew) {
        newSections.push_back({'[' + setting.section + ']', {}});
      }
      newSections[at->second].second.push_back(std::move(line));
    }
  }
  const auto end = narrow(text_.size());
  for (auto& [header, lines] : newSections) {
    edits.insertLine(end, std::move(header));
    for (std::string& line : lines) {
      edits.insertLine(end, std::move(line));
    }
  }
  return edits.apply(text_, usualLineEnd());
}

}  // namespace relaybird
