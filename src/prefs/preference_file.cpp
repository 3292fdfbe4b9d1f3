// SPDX-License-Identifier: MIT
// Reads and writes the settings by walking the table of fields: one overload for each type of
// member knows its text form. A list is a count and numbered entries; the count is what ends the
// reading, because profile files have no way to remove keys.
#include "prefs/preference_file.h"

#include <algorithm>
#include <limits>
#include <optional>
#include <variant>

#include "platform/text/ascii_text.h"
#include "platform/text/number_text.h"
#include "platform/text/utf8_text.h"
#include "prefs/address_lists.h"

namespace relaybird {

namespace {

// Part of the file format: how far shifted() moves each character.
constexpr int kShift = 17;

std::string shiftedBy(int by, std::string_view text) {
  std::string result;
  result.reserve(text.size());
  while (!text.empty()) {
    // A file with other characters may hold codes below the shift.
    const std::int32_t code = takeCharacter(text) + by;
    appendCharacter(result, code < 0 ? 0 : code);
  }
  return result;
}

// What an entry reads as that the count promises but the file does not have.
constexpr std::string_view kMissingEntry = "0";

std::string entryKey(std::string_view name, std::size_t number) {
  return std::string(name) + "_" + std::to_string(number);
}

class FieldReader {
 public:
  FieldReader(const ProfileReader& file, std::string_view section, const LineSink& logVerbose,
              PreferenceFields& fields)
      : file_(file), section_(section), logVerbose_(logVerbose), fields_(fields) {}

  void read(const PreferenceField& field) {
    std::visit([&](auto member) { take(field, member); }, field.member);
  }

 private:
  void take(const PreferenceField& field, bool PreferenceFields::*member) {
    fields_.*member = booleanFromText(scalar(field));
  }
  void take(const PreferenceField& field, double PreferenceFields::*member) {
    fields_.*member = numericPrefix(scalar(field));
  }
  // A number out of range becomes 0 and is told, instead of being cut into another number.
  void take(const PreferenceField& field, std::int16_t PreferenceFields::*member) {
    fields_.*member = number(field.name, wholeFromText16(scalar(field)));
  }
  void take(const PreferenceField& field, std::int32_t PreferenceFields::*member) {
    fields_.*member = number(field.name, wholeFromText32(scalar(field)));
  }
  void take(const PreferenceField& field, std::string PreferenceFields::*member) {
    fields_.*member = scalar(field);
  }
  void take(const PreferenceField& field, ShiftedText text) {
    fields_.*text.member = unshifted(scalar(field));
  }
  void take(const PreferenceField& field, StringList PreferenceFields::*member) {
    fields_.*member = list(field.name);
  }

  // An absent key and a key without a value have a default each, in the table of fields.
  std::string scalar(const PreferenceField& field) const {
    std::string text = value(field.name, field.absentText);
    return text.empty() ? std::string(field.emptyText) : text;
  }

  StringList list(std::string_view name) const {
    const std::string key = countKey(name);
    const std::int16_t count = number(key, wholeFromText16(value(key, "0")));
    StringList entries;
    // Up to the count, not to the first gap: an entry may have been emptied by hand.
    for (int i = 1; i <= count; ++i) {
      std::string entry = value(entryKey(name, static_cast<std::size_t>(i)), kMissingEntry);
      if (!entry.empty()) {
        entries.push_back(std::move(entry));
      }
    }
    if (entries.empty()) {
      entries.emplace_back();
    }
    return entries;
  }

  std::string value(std::string_view key, std::string_view fallback) const {
    // Longer values are cut, as the Windows profile calls cut them.
    return file_.get(section_, key, fallback, kProfileBufferSize);
  }

  // The verbose log alone: a file of another program version may have many of these.
  template <class Number>
  Number number(std::string_view key, std::optional<Number> read) const {
    if (!read) {
      logVerbose_("ReadIniPref-->" + std::string(key) + " is out of range and read as 0");
    }
    return read.value_or(Number{});
  }

  const ProfileReader& file_;
  std::string_view section_;
  const LineSink& logVerbose_;
  PreferenceFields& fields_;
};

class FieldWriter {
 public:
  FieldWriter(ProfileWriter& file, std::string_view section, const PreferenceFields& fields)
      : file_(file), section_(section), fields_(fields) {}

  // False if the file refuses the key or one of its entries.
  bool write(const PreferenceField& field) {
    return std::visit([&](auto member) { return put(field.name, member); }, field.member);
  }

 private:
  // Each form is the one that the reader above takes back unchanged, also on another locale.
  bool put(std::string_view key, bool PreferenceFields::*member) {
    return set(key, textFromBoolean(fields_.*member));
  }
  bool put(std::string_view key, double PreferenceFields::*member) {
    return set(key, shortestText(fields_.*member));
  }
  bool put(std::string_view key, std::int16_t PreferenceFields::*member) {
    return set(key, std::to_string(fields_.*member));
  }
  bool put(std::string_view key, std::int32_t PreferenceFields::*member) {
    return set(key, std::to_string(fields_.*member));
  }
  bool put(std::string_view key, std::string PreferenceFields::*member) {
    return set(key, fields_.*member);
  }
  bool put(std::string_view key, ShiftedText text) {
    return set(key, shifted(fields_.*text.member));
  }
  bool put(std::string_view name, StringList PreferenceFields::*member) {
    const StringList& entries = fields_.*member;
    const std::size_t count = holdsNothing(entries) ? 0 : entries.size();
    // A greater count would be read back as 0, and every entry would be lost.
    if (count > std::numeric_limits<std::int16_t>::max()) {
      return false;
    }
    if (!set(countKey(name), std::to_string(count))) {
      return false;
    }
    for (std::size_t i = 0; i < count; ++i) {
      if (!set(entryKey(name, i + 1), entries[i])) {
        return false;
      }
    }
    return true;
  }

  bool set(std::string_view key, const std::string& text) { return file_.set(section_, key, text); }

  ProfileWriter& file_;
  std::string_view section_;
  const PreferenceFields& fields_;
};

}  // namespace

std::string countKey(std::string_view name) {
  return std::string(name) + "_num";
}

// The keys for the user name and the password stay known, so that a file that has them is read
// without a complaint.
PreferenceFields readPreferences(const ProfileReader& file, std::string_view section,
                                 const LineSink& logVerbose) {
  PreferenceFields fields;
  FieldReader reader(file, section, logVerbose, fields);
  for (const PreferenceField& field : kPreferenceFields) {
    reader.read(field);
  }
  // A password is not kept in a file that hides it so poorly.
  fields.mbolUseWinLogon = true;
  fields.mstrUsername.clear();
  fields.mstrPassword.clear();
  return fields;
}

// In the table's order of writing, which is the order of the lines in a new file.
bool writePreferences(ProfileWriter& file, std::string_view section,
                      const PreferenceFields& fields) {
  FieldWriter writer(file, section, fields);
  const std::vector<const PreferenceField*> fieldsInOrder =
      preferenceFieldsBy(&PreferenceField::writtenAs);
  return std::all_of(fieldsInOrder.begin(), fieldsInOrder.end(),
                     [&](const PreferenceField* field) { return writer.write(*field); });
}

// Files of all ages have both spellings; anything else is off.
bool booleanFromText(std::string_view text) {
  const std::string trimmed = trimBlanks(text);
  return trimmed == "1" || asciiLower(trimmed) == "true";
}

std::string textFromBoolean(bool value) {
  return value ? "1" : "0";
}

// The beginning of the text counts, as files may have a remark behind a number.
std::optional<std::int16_t> wholeFromText16(std::string_view text) {
  return toInt16(numericPrefix(text));
}

std::optional<std::int32_t> wholeFromText32(std::string_view text) {
  return toInt32(numericPrefix(text));
}

std::string shifted(std::string_view text) {
  return shiftedBy(kShift, text);
}

std::string unshifted(std::string_view text) {
  return shiftedBy(-kShift, text);
}

}  // namespace relaybird
