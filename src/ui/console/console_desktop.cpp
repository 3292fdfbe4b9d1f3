// SPDX-License-Identifier: MIT
// The parts of a desktop that a terminal can offer. Of the forms' changes only a few are printed:
// the observer compares texts, because the forms report every assignment.
#include "ui/console/console_desktop.h"

#include <algorithm>
#include <limits>
#include <string_view>
#include <utility>

#include "platform/text/ascii_text.h"
#include "platform/text/utf8_text.h"

namespace relaybird {
namespace {

// The limit for one control sequence (xterm: 100,000 bytes); terminals drop longer ones.
constexpr std::size_t kLargestSequence = 99'000;

// RFC 4648 section 4.
std::string base64(std::string_view bytes) {
  constexpr std::string_view kDigits =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve(bytes.size() / 3 * 4 + 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    std::uint32_t group = 0;
    for (std::size_t j = i; j < i + 3; ++j) {
      group = group << 8 | (j < bytes.size() ? static_cast<unsigned char>(bytes[j]) : 0U);
    }
    // Three bytes give four digits of 6 bits. A last group of one byte has two digits, of two bytes
    // three.
    for (unsigned digit = 0; digit < 4; ++digit) {
      const bool padding = i + digit > bytes.size();
      text += padding ? '=' : kDigits[group >> (18 - 6 * digit) & 0x3F];
    }
  }
  return text;
}

}  // namespace

std::int32_t ConsoleScreen::textWidth(const std::string& text) const {
  constexpr std::size_t kMost = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(std::min(characterCount(text), kMost));
}

// OSC 52 carries the text in base64. The terminal sends no reply, so success is not known.
Result<void> ConsoleClipboard::setText(const std::string& text) {
  const std::string sequence = "\x1b]52;c;" + base64(text) + "\x07";
  if (sink_ == nullptr) {
    return Error{0, "There is no clipboard here; the command log shows the lines"};
  }
  if (sequence.size() > kLargestSequence) {
    return Error{0, "This is more than a terminal's clipboard takes; select fewer lines"};
  }
  sink_->write(sequence);
  out_.event("note", "handed to the terminal's clipboard, where it has one");
  return {};
}

Result<void> ConsoleHelpViewer::show(const std::string& file, const std::string&) {
  out_.event("note", "the manual is in " + file + "; help TOPIC shows a topic of it here");
  for (const std::string& topic : topics_) {
    out_.event("topic", topic);
  }
  return {};
}

// The present texts count as printed: the state at the start is not an event.
ConsoleObserver::ConsoleObserver(std::vector<Form*> forms, News news, ConsoleOutput& out)
    : forms_(std::move(forms)), news_(news), out_(out) {
  if (news_.state != nullptr) {
    lastState_ = news_.state->text();
  }
  if (news_.forwarded != nullptr) {
    lastForwarded_ = news_.forwarded->text();
  }
  for (Form* form : forms_) {
    form->setObserver(this);
  }
}

// A form has a single observer; one that came later stays.
ConsoleObserver::~ConsoleObserver() {
  for (Form* form : forms_) {
    if (form->observer() == this) {
      form->setObserver(nullptr);
    }
  }
}

// Whether the text differs from the last printed one.
bool ConsoleObserver::isNew(std::string& last, const Control& control) const {
  return std::exchange(last, control.text()) != control.text();
}

// The text grows by a line at a time, or is cleared.
void ConsoleObserver::printTest(const std::string& text) {
  std::string_view added = text;
  if (text.starts_with(lastTest_)) {
    added.remove_prefix(lastTest_.size());
  }
  lastTest_ = text;
  added = trimmed(added);
  if (!added.empty()) {
    out_.event("test", std::string(added));
  }
}

void ConsoleObserver::controlChanged(const Control& control, Change what) {
  if (&control == news_.log && what == Change::kListEntryAdded) {
    out_.logLine(control.list().back());
  }
  if (what != Change::kText) {
    return;
  }
  if (&control == news_.test) {
    printTest(control.text());
  } else if (&control == news_.action && isNew(lastAction_, control)) {
    out_.status(control.text());
  } else if (&control == news_.state && isNew(lastState_, control)) {
    out_.event("state", control.text());
  } else if (&control == news_.forwarded && isNew(lastForwarded_, control)) {
    out_.event("forwarded", control.text());
  }
}

void ConsoleObserver::formChanged(const Form& form, FormChange what) {
  if (what == FormChange::kShown) {
    out_.form(form, true);
  }
  if (what == FormChange::kHidden) {
    out_.form(form, false);
  }
}

}  // namespace relaybird
