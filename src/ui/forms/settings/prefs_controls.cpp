// SPDX-License-Identifier: MIT
// The rules for typing into lists come first, then the places and initial states of the controls. A
// typed text is compared with the former one to find the inserted part: only that part is changed,
// so that a comma that was accepted before, or loaded from the file, stays.
#include "ui/forms/settings/prefs_controls.h"

#include <algorithm>
#include <cassert>
#include <string_view>

namespace relaybird {
namespace {

constexpr std::string_view kBlanks = " \t";
constexpr std::string_view kSeparator = "; ";

// The inserted part of a text: [begin, end).
struct Inserted {
  std::size_t begin;
  std::size_t end;
};

// The inserted part ends at the caret. Without the caret it would be ambiguous which of two equal
// letters is new.
Inserted insertedPart(const std::string& before, const TypedText& typed) {
  const std::string& text = typed.text;
  const std::size_t caret = std::min(typed.caret, text.size());
  const auto [tail, oldTail] =
      std::mismatch(text.rbegin(), text.rend() - static_cast<std::ptrdiff_t>(caret),
                    before.rbegin(), before.rend());
  const auto same = static_cast<std::size_t>(tail - text.rbegin());
  const std::size_t most = std::min(text.size(), before.size()) - same;
  const auto [head, oldHead] =
      std::mismatch(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(most), before.begin());
  return {static_cast<std::size_t>(head - text.begin()), text.size() - same};
}

std::string_view lastEntry(std::string_view text) {
  const std::size_t separator = text.rfind(';');
  return separator == text.npos ? text : text.substr(separator + 1);
}

// A comma inside a quoted name is part of it. The quotes are those of RFC 5322 section 3.2.4.
bool endsInQuotes(std::string_view entry) {
  bool quoted = false;
  for (std::size_t position = 0; position < entry.size(); ++position) {
    if (entry[position] == '"') {
      quoted = !quoted;
    } else if (entry[position] == '\\' && quoted) {
      ++position;
    }
  }
  return quoted;
}

// In the list of senders names may contain commas ("Doe, John"), so a comma ends only an entry that
// is an address.
bool commaEndsEntry(ListOf list, std::string_view entry) {
  return list != ListOf::kPhrases && !endsInQuotes(entry) &&
         (list == ListOf::kAddresses || entry.find('@') != entry.npos);
}

// At the start of the text no separator is needed.
void appendSeparator(std::string& text) {
  const std::size_t last = text.find_last_not_of(kBlanks);
  text.erase(last == text.npos ? 0 : last + 1);
  if (!text.empty()) {
    text += text.ends_with(';') ? " " : kSeparator;
  }
}

}  // namespace

// Characters are handled one by one, because a pasted text may hold several entries; a comma is
// judged by the entry before it.
TypedText withSemicolons(ListOf list, const std::string& before, const TypedText& typed) {
  const auto [begin, end] = insertedPart(before, typed);
  const std::string_view text = typed.text;
  std::string result(text.substr(0, begin));
  bool atStart = result.ends_with(kSeparator);  // of an entry, where blanks are dropped
  bool separated = false;                       // the inserted part ended with a separator
  for (const char letter : text.substr(begin, end - begin)) {
    const bool separates = letter == '\n' || letter == '\r' ||
                           (letter == ',' && commaEndsEntry(list, lastEntry(result)));
    if (separates) {
      appendSeparator(result);
      atStart = separated = true;
    } else if (!atStart || kBlanks.find(letter) == kBlanks.npos) {
      result += letter;
      atStart = separated = false;
    }
  }
  std::string_view rest = text.substr(end);
  if (separated) {
    rest.remove_prefix(std::min(rest.find_first_not_of(kBlanks), rest.size()));
    if (rest.starts_with(';')) {
      rest.remove_prefix(std::min(rest.find_first_not_of(kBlanks, 1), rest.size()));
    }
  }
  const std::size_t caret = result.size();
  return {result.append(rest), caret};
}

namespace {

void separateBySemicolons(Control& field, ListOf list) {
  field.onTyping([list](const std::string& before, const TypedText& typed) {
    return withSemicolons(list, before, typed);
  });
}

}  // namespace

PrefsControls::PrefsControls() : Form("frmPrefs", "Settings") {
  placeOnTabs();
  fillLists();
  for (Control* part :
       {&opbFwdAll, &opbFwdAllBut, &opbFwdOnly, &lblAddresses, &txtAddresses, &cmdGetSenderName}) {
    part->setParent(frmReceivedFrom);
  }
  for (Control* option : {&opbFwdAll, &opbFwdAllBut, &opbFwdOnly}) {
    option->setGroup("sender");
  }
  for (Control* option : {&opbRegCellPhone, &opbRegEmail}) {
    option->setGroup("format");
  }
  for (Control* holder :
       {&picStoreCellEnabled, &picStoreCellDisabled, &picStorePcEnabled, &picStorePcDisabled}) {
    holder->setPicture(holder->name());
    holder->setVisible(false);
  }
  // These belong to check boxes that are unchecked at first.
  for (Control* field : {&txtMaxFileSize, &cmbTypeOfMatch, &cmbTextToCheck, &txtWordMatch}) {
    showAsApplying(*field, false);
  }
  for (Control* asking : {&cmdOK, &cmdApply, &cmdValidateAd, &cmdGetSenderName,
                          &chkForwardingOnAtStartup, &chkForwardStart}) {
    asking->setAsks();
  }
  // The button has no action; its tool tip says why.
  cmdGetSenderName.setToolTip(
      "There is no Global Address List here to take names from. Type addresses or names into the "
      "list.");
  setDefaultButton(cmdOK);
  separateBySemicolons(txtAddress, ListOf::kAddresses);
  separateBySemicolons(txtAddresses, ListOf::kSenders);
  separateBySemicolons(txtWordMatch, ListOf::kPhrases);
}

// A tab holds the controls from one to another in the order of their declaration, so that a new
// control needs no line here.
void PrefsControls::placeOnTabs() {
  const auto place = [this](PrefsTab tab, const Control& first, const Control& last) {
    const auto begin = std::find(controls().begin(), controls().end(), &first);
    const auto end = std::find(begin, controls().end(), &last);
    assert(end != controls().end());
    std::for_each(begin, end + 1, [&](Control* control) { control->setTab(tab); });
  };
  place(kGeneralTab, lblEmail, chkForwardStart);
  place(kSizeTab, lblSize, chkIncludeAttachments);
  place(kSenderTab, lblReceivedFrom, cmdGetSenderName);
  place(kTextTab, lblContentsFilter, txtWordMatch);
  place(kCellPhoneTab, Label2, opbRegEmail);
}

void PrefsControls::fillLists() {
  for (const char* tab : {"General", "Size", "Sender", "Text", "Cell Phone"}) {
    tabPrefs.addItem(tab);
  }
  for (const char* place : {"Subject Text", "Message Body Text", "Subject and Message Text"}) {
    cmbTextToCheck.addItem(place);
  }
  for (const char* match : {"Contains All of:", "Contains Any of:"}) {
    cmbTypeOfMatch.addItem(match);
  }
}

void showAsApplying(Control& field, bool applies) {
  field.setBackColor(applies ? kWindowBackground : kButtonFace);
  field.setForeColor(applies ? kWindowText : kGrayText);
}

}  // namespace relaybird
