// SPDX-License-Identifier: MIT
// Output for a terminal. Every print takes the line that the user is typing off the screen and puts
// it back. All texts go through printable(), because they may hold control sequences of strangers.
#include "ui/console/terminal_output.h"

#include <algorithm>
#include <utility>

#include "platform/text/ascii_text.h"
#include "platform/text/utf8_text.h"
#include "ui/console/quoting.h"

namespace relaybird {
namespace {

// ECMA-48 select graphic rendition.
constexpr const char* kBold = "1";
constexpr const char* kDim = "2";
constexpr const char* kRed = "31";
constexpr const char* kYellow = "33";
constexpr const char* kCyan = "36";

std::string withoutDigits(std::string text) {
  text.erase(std::remove_if(text.begin(), text.end(), isDigit), text.end());
  return text;
}

// Texts that differ in their digits only, such as "message 3 of 17", replace each other in place.
bool tellsProgress(const std::string& before, const std::string& now) {
  return std::any_of(now.begin(), now.end(), isDigit) &&
         withoutDigits(before) == withoutDigits(now);
}

// Keeps the text's own lines, wraps long ones, and makes every line printable.
std::string laidOut(std::string_view text, std::size_t width, const std::string& indent) {
  std::string out;
  while (true) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    if (!line.empty() && line.back() == '\r') {
      line.remove_suffix(1);
    }
    out += wrapped(printable(line), width, indent);
    if (end == text.size()) {
      return out;
    }
    text.remove_prefix(end + 1);
  }
}

// "running-since" -> "Running since".
std::string label(std::string_view kind) {
  std::string words(kind);
  std::replace(words.begin(), words.end(), '-', ' ');
  if (!words.empty() && words.front() >= 'a' && words.front() <= 'z') {
    words.front() = static_cast<char>(words.front() - 'a' + 'A');
  }
  return words;
}

// A sentence about what the user can type now.
std::string howToAnswer(const BoxView& box) {
  switch (box.kind) {
    case BoxView::Kind::kInput:
      if (box.emptyCancels) {
        return "Type the answer; an empty line cancels.";
      }
      return box.entry.empty()
                 ? "Type the answer."
                 : "Type the answer, or press Enter for " + printable(box.entry) + ".";
    case BoxView::Kind::kFile:
      return "Type the file's path; an empty line cancels.";
    case BoxView::Kind::kMenu:
      return "Choose: " + joined(box.choices) + "; an empty line chooses nothing.";
    case BoxView::Kind::kMessage:
    default:
      break;
  }
  if (box.choices.size() == 1) {
    return "Press Enter for " + box.choices.front() + ".";
  }
  return "Answer: " + joined(box.choices) + "?";
}

}  // namespace

TerminalOutput::TerminalOutput(TextSink& sink, TerminalManner manner)
    : sink_(sink), manner_(std::move(manner)) {}

std::string TerminalOutput::inColour(const char* colour, const std::string& text) const {
  return manner_.colours ? "\x1b[" + std::string(colour) + "m" + text + "\x1b[0m" : text;
}

// The line being typed is hidden and shown around every output; showing is posted, so that several
// outputs in a row move it only once.
void TerminalOutput::print(const std::string& lines) {
  lastStatus_.clear();
  if (prompt_ != nullptr) {
    prompt_->hide();
  }
  sink_.write(lines);
  if (prompt_ != nullptr) {
    prompt_->showSoon();
  }
}

// A status line that wrapped could not be replaced by the next one.
std::string TerminalOutput::cutToScreen(const std::string& text) const {
  std::string_view left = text;
  std::string cut;
  // The last column stays free, since some terminals wrap as soon as it is filled.
  for (int room = std::max(manner_.columns() - 1, 10); room > 0 && !left.empty(); --room) {
    const std::string_view before = left;
    takeCharacter(left);
    cut += before.substr(0, before.size() - left.size());
  }
  return cut;
}

std::size_t TerminalOutput::textWidth() const {
  constexpr int kReadable = 100;
  constexpr int kNarrowest = 20;
  return static_cast<std::size_t>(std::clamp(manner_.columns() - 1, kNarrowest, kReadable));
}

void TerminalOutput::status(const std::string& text) {
  if (text.empty()) {
    return;
  }
  const bool inPlace =
      manner_.movesCursor && !lastStatus_.empty() && tellsProgress(lastStatus_, text);
  // Moves to the beginning of the former status line and clears it.
  const std::string over = inPlace ? "\x1b[A\r\x1b[K" : "";
  print(over + inColour(kCyan, cutToScreen(printable(text))) + "\n");
  lastStatus_ = text;
}

void TerminalOutput::logLine(const std::string& text) {
  print(printable(text) + "\n");
}

void TerminalOutput::event(std::string_view kind, const std::string& text) {
  print(inColour(kDim, kind == "note" ? printable(text) : label(kind) + ": " + printable(text)) +
        "\n");
}

void TerminalOutput::form(const Form& form, bool open) {
  print(inColour(kDim, "[" + printable(form.caption()) +
                           (open ? " is open: show " + form.name() : " is closed") + "]") +
        "\n");
}

void TerminalOutput::box(const BoxView& box) {
  const char* colour = box.icon == BoxIcon::kCritical      ? kRed
                       : box.icon == BoxIcon::kExclamation ? kYellow
                                                           : kBold;
  const std::string mark = box.icon == BoxIcon::kNone ? "" : "(!) ";
  print("\n" + inColour(colour, mark + printable(box.title)) + "\n" +
        laidOut(box.text, textWidth(), "  "));
}

void TerminalOutput::boxWaits(const BoxView& box) {
  print(inColour(kBold, howToAnswer(box)) + "\n");
}

void TerminalOutput::boxAnswered(const BoxView&, const std::string& answer) {
  print(inColour(kDim, "  -> " + printable(answer)) + "\n");
}

void TerminalOutput::reply(std::string_view kind, const std::string& text) {
  if (kind == "line") {
    print(printable(text) + "\n");
  } else if (kind == "help") {
    print(laidOut(text, textWidth(), ""));
  } else {
    print(label(kind) + ": " + printable(text) + "\n");
  }
}

void TerminalOutput::replyFields(std::string_view, const std::string& fields) {
  print("  " + fields + "\n");
}

void TerminalOutput::error(const std::string& text) {
  print(inColour(kRed, "error: " + printable(text)) + "\n");
}

namespace {

constexpr std::string_view kListMark = "- ";

// The column in which the text of a line begins, after its blanks and list mark.
std::size_t depthOf(std::string_view line) {
  const std::size_t blanks = std::min(line.find_first_not_of(' '), line.size());
  return blanks + (line.substr(blanks).starts_with(kListMark) ? kListMark.size() : 0);
}

// The length in bytes of the longest beginning that ends before a blank and has at most `width`
// characters; a longer first word is not broken.
std::size_t bytesThatFit(std::string_view text, std::size_t width) {
  std::size_t fits = 0;
  while (fits < text.size()) {
    const std::size_t word = std::min(text.find_first_not_of(' ', fits), text.size());
    const std::size_t end = std::min(text.find(' ', word), text.size());
    if (fits > 0 && characterCount(text.substr(0, end)) > width) {
      break;
    }
    fits = end;
  }
  return fits;
}

}  // namespace

std::string wrapped(std::string_view line, std::size_t width, std::string_view indent) {
  const std::size_t depth = depthOf(line);
  const std::size_t room = std::max(width, indent.size() + depth + 1) - indent.size() - depth;
  std::string out = std::string(indent) + std::string(line.substr(0, depth));
  std::string_view rest = line.substr(depth);
  while (true) {
    const std::size_t taken = bytesThatFit(rest, room);
    out += rest.substr(0, taken);
    rest.remove_prefix(std::min(rest.find_first_not_of(' ', taken), rest.size()));
    out.erase(out.find_last_not_of(' ') + 1);
    out += '\n';
    if (rest.empty()) {
      return out;
    }
    out += std::string(indent) + std::string(depth, ' ');
  }
}

}  // namespace relaybird
