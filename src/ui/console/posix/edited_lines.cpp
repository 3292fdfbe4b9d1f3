// SPDX-License-Identifier: MIT
// Line editing by libedit, driven from the main loop. libedit normally blocks in its own read call;
// here it is only called when bytes have arrived, and reads them from this class, so that the
// program never blocks inside it. Output of the program takes the typed line off the screen
// (hide()) and puts it back afterwards (showSoon()).
#include "ui/console/posix/edited_lines.h"

#include <histedit.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <clocale>
#include <cstdio>
#include <cstring>
#include <cwchar>
#include <deque>
#include <utility>

#include "platform/system/secret.h"
#include "platform/text/ascii_text.h"
#include "ui/console/line_source.h"

namespace relaybird {
namespace {

constexpr int kHistorySize = 500;
// How long to wait for the rest of a key that sends several bytes. Without a limit, the Escape key,
// which sends one byte, would block for ever.
constexpr int kKeyPatience = 100;  // milliseconds
// libedit's unbuffered mode puts this into the line for end of file: Ctrl-D.
constexpr char kEndKey = '\x04';

struct CloseFile {
  void operator()(FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<FILE, CloseFile>;
struct EndEditing {
  void operator()(EditLine* editor) const { ::el_end(editor); }
};
struct EndHistory {
  void operator()(History* history) const { ::history_end(history); }
};

// The width of a text in columns; an invalid byte counts as one.
int widthOf(std::string_view text) {
  std::mbstate_t state{};
  int width = 0;
  while (!text.empty()) {
    wchar_t character = 0;
    std::size_t length = std::mbrtowc(&character, text.data(), text.size(), &state);
    if (length == 0 || length > text.size()) {
      length = 1;
    }
    const int columns = ::wcwidth(character);
    width += columns < 0 ? 2 : columns;  // a control character is shown as "^X"
    text.remove_prefix(length);
  }
  return width;
}

// Whether a command line may have a password in it, so that the history must not keep it.
// Every `answer` counts, since its box may ask for a password.
bool mayHoldPassword(std::string_view line) {
  std::string words = asciiLower(trimmed(line));
  const bool may = words.starts_with("answer") ||
                   (words.starts_with("set") && words.find("password") != std::string::npos);
  wipe(words);
  return may;
}

class EditedLines : public TerminalLines {
 public:
  explicit EditedLines(EditedParts parts);
  ~EditedLines() override;

  void listen(std::function<void()> onLines) override;
  std::optional<InputLine> next() override;
  void setPrompt(const std::string& prompt, Typing typing) override;
  void hide() override;
  void showSoon() override;

  char* promptText() { return prompt_.data(); }
  int readKey(wchar_t* key);
  unsigned char complete();

 private:
  void show();
  void readKeys();
  void edit();
  char takeKey();
  void takePasswordKey();
  void lineDone(std::string_view line);
  void listCandidates(const std::vector<std::string>& words);
  int columns() const;

  EditedParts parts_;
  File in_;
  File out_;
  std::unique_ptr<History, EndHistory> history_;
  std::unique_ptr<EditLine, EndEditing> editor_;
  std::function<void()> onLines_;
  std::unique_ptr<PollWaiter::Watch> watch_;
  std::deque<char> keys_;  // read but not used yet
  LineSplitter lines_;
  std::string prompt_;
  Typing typing_ = Typing::kCommand;
  LineBeginning password_;  // typed so far
  bool editing_ = false;    // the terminal is in the editor's mode
  bool shown_ = false;
  bool waits_ = false;  // showing it is posted
  bool ended_ = false;
  std::shared_ptr<int> alive_ = std::make_shared<int>();
};

EditedLines* ownerOf(EditLine* editor) {
  void* owner = nullptr;
  ::el_get(editor, EL_CLIENTDATA, &owner);
  return static_cast<EditedLines*>(owner);
}

char* giveKeyPrompt(EditLine* editor) {
  return ownerOf(editor)->promptText();
}

int giveKey(EditLine* editor, wchar_t* key) {
  return ownerOf(editor)->readKey(key);
}

unsigned char giveCompletion(EditLine* editor, int) {
  return ownerOf(editor)->complete();
}

EditedLines::EditedLines(EditedParts parts)
    : parts_(std::move(parts)),
      // Duplicates, because closing a FILE closes its descriptor, and the caller keeps these.
      in_(::fdopen(::dup(parts_.input), "r")),
      out_(::fdopen(::dup(parts_.output), "w")),
      history_(::history_init()),
      editor_(::el_init("relaybird", in_.get(), out_.get(), out_.get())) {
  EditLine* editor = editor_.get();
  HistEvent event;
  ::history(history_.get(), &event, H_SETSIZE, kHistorySize);
  ::history(history_.get(), &event, H_SETUNIQUE, 1);
  if (!parts_.help.historyFile.empty()) {
    ::history(history_.get(), &event, H_LOAD, parts_.help.historyFile.c_str());
  }
  ::el_set(editor, EL_CLIENTDATA, static_cast<void*>(this));
  // The program handles signals itself.
  ::el_set(editor, EL_SIGNAL, 0);
  ::el_set(editor, EL_EDITOR, "emacs");
  ::el_set(editor, EL_PROMPT, giveKeyPrompt);
  ::el_set(editor, EL_HIST, ::history, static_cast<void*>(history_.get()));
  ::el_set(editor, EL_GETCFN, giveKey);
  // el_wset() keeps pointers to the names; el_set() copies them and never frees the copies.
  ::el_wset(editor, EL_ADDFN, L"relaybird-complete", L"Completes a word", giveCompletion);
  ::el_set(editor, EL_BIND, "^I", "relaybird-complete", nullptr);
  ::el_set(editor, EL_BIND, "^R", "em-inc-search-prev", nullptr);
  ::el_source(editor, nullptr);  // the user's own key bindings, if any
}

EditedLines::~EditedLines() {
  watch_.reset();
  hide();
  if (editing_) {
    ::el_set(editor_.get(), EL_UNBUFFERED, 0);
  }
  if (!parts_.help.historyFile.empty()) {
    HistEvent event;
    ::history(history_.get(), &event, H_SAVE, parts_.help.historyFile.c_str());
  }
}

void EditedLines::listen(std::function<void()> onLines) {
  onLines_ = std::move(onLines);
  watch_ = parts_.waiter.watchReadable(parts_.input, [this] { readKeys(); });
  showSoon();
}

std::optional<InputLine> EditedLines::next() {
  if (lines_.empty()) {
    return std::nullopt;
  }
  return lines_.take();
}

void EditedLines::setPrompt(const std::string& prompt, Typing typing) {
  hide();
  prompt_ = prompt;
  typing_ = typing;
  showSoon();
}

int EditedLines::columns() const {
  winsize size{};
  const bool known = ::ioctl(parts_.output, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return known ? size.ws_col : 80;
}

// Moves the cursor up to the row of the prompt and clears the screen from there.
void EditedLines::hide() {
  if (!std::exchange(shown_, false)) {
    return;
  }
  const LineInfo* line = ::el_line(editor_.get());
  const std::string_view before(line->buffer,
                                static_cast<std::size_t>(line->cursor - line->buffer));
  const int rows = (widthOf(prompt_) + widthOf(before)) / columns();
  const std::string up = rows == 0 ? "" : "\x1b[" + std::to_string(rows) + "A";
  parts_.sink.write(up + "\r\x1b[J");
}

void EditedLines::show() {
  if (ended_ || !onLines_ || std::exchange(shown_, true)) {
    return;
  }
  // Without signal handlers of its own, libedit does not notice that the window's size has changed.
  ::el_resize(editor_.get());
  if (!std::exchange(editing_, true)) {
    ::el_set(editor_.get(), EL_UNBUFFERED, 1);  // begins a line: shows the prompt
  } else {
    ::el_set(editor_.get(), EL_REFRESH);
  }
}

// Posted, so that the prompt is drawn once after a burst of output, and not at all if the program
// ends.
void EditedLines::showSoon() {
  if (std::exchange(waits_, true)) {
    return;
  }
  parts_.loop.post([this, alive = std::weak_ptr(alive_)] {
    if (alive.expired()) {
      return;
    }
    waits_ = false;
    show();
  });
}

void EditedLines::readKeys() {
  std::array<char, 1024> buffer;
  const ssize_t got = ::read(parts_.input, buffer.data(), buffer.size());
  if (got > 0) {
    keys_.insert(keys_.end(), buffer.data(), buffer.data() + got);
    overwrite(buffer);
    edit();
  } else if (got == 0 || (errno != EINTR && errno != EAGAIN)) {
    ended_ = true;
    lines_.end();
  }
  if (ended_) {
    watch_.reset();
  }
  if (!lines_.empty()) {
    onLines_();
  }
}

// Leaves no copy of the key, which may be one of a password.
char EditedLines::takeKey() {
  const char key = keys_.front();
  overwrite({&keys_.front(), 1});
  keys_.pop_front();
  return key;
}

// Passes all received keys to the editor.
void EditedLines::edit() {
  while (!keys_.empty() && !ended_) {
    show();
    if (typing_ == Typing::kPassword) {
      takePasswordKey();
      continue;
    }
    // In unbuffered mode el_gets() returns after each key, with the line so far; the line is
    // complete when it ends in a line end.
    int count = 0;
    const char* text = ::el_gets(editor_.get(), &count);
    if (text == nullptr || count <= 0) {
      continue;
    }
    const std::string_view line(text, static_cast<std::size_t>(count));
    if (line.back() == '\n' || line.back() == '\r') {
      // A copy, because the editor may change its text when it is called for the end of the line.
      lineDone(Secret(line.substr(0, line.size() - 1)).bytes());
    } else if (line.size() == 1 && line.front() == kEndKey) {
      lineDone({});
      ended_ = true;
      lines_.end();
      parts_.sink.write("\n");
    }
  }
}

// The editor would show what is typed, so a password does not go through it. The terminal is in the
// editor's mode meanwhile, which shows nothing by itself.
void EditedLines::takePasswordKey() {
  constexpr char kEraseLine = '\x15';  // Ctrl-U
  const char key = takeKey();
  const std::string_view typed = password_.bytes();
  if (key == '\n' || key == '\r') {
    parts_.sink.write("\n");
    lineDone(typed);
    password_.cut(0);
  } else if (key == kEndKey && typed.empty()) {
    lineDone({});
    ended_ = true;
    lines_.end();
  } else if (key == '\b' || key == '\x7f') {
    // Removes a character: the continuation bytes of UTF-8 first (RFC 3629, section 3).
    std::size_t left = typed.size();
    while (left > 0 && (static_cast<unsigned char>(typed[left - 1]) & 0xC0U) == 0x80U) {
      --left;
    }
    password_.cut(left > 0 ? left - 1 : 0);
  } else if (key == kEraseLine) {
    password_.cut(0);
  } else {
    (void)password_.append({&key, 1});  // LineSplitter refuses a line that is too long
  }
}

// Leaving the unbuffered mode restores the terminal's own mode until the next line begins.
void EditedLines::lineDone(std::string_view line) {
  ::el_set(editor_.get(), EL_UNBUFFERED, 0);
  editing_ = false;
  shown_ = false;
  if (typing_ == Typing::kCommand && !mayHoldPassword(line) &&
      line.find_first_not_of(" \t") != std::string::npos) {
    HistEvent event;
    ::history(history_.get(), &event, H_ENTER, std::string(line).c_str());
  }
  // An empty line is an answer to a box but no command. The splitter checks typed lines like those
  // of a script.
  if (!line.empty() || typing_ != Typing::kCommand) {
    lines_.feed(line);
    lines_.feed("\n");
  }
  showSoon();
}

// Reads one character for the editor; 0 if there is none, which leaves the line unchanged.
int EditedLines::readKey(wchar_t* key) {
  std::array<char, 4> bytes;
  std::size_t length = 0;
  while (length < bytes.size()) {
    if (keys_.empty()) {
      pollfd waiting{parts_.input, POLLIN, 0};
      char byte = 0;
      if (::poll(&waiting, 1, kKeyPatience) <= 0 || ::read(parts_.input, &byte, 1) != 1) {
        return 0;
      }
      keys_.push_back(byte);
    }
    bytes[length++] = takeKey();
    std::mbstate_t state{};
    // The result -2 means that the character needs more bytes.
    const std::size_t used = std::mbrtowc(key, bytes.data(), length, &state);
    if (used == 0) {
      *key = L'\0';
    }
    if (used <= length) {
      return 1;
    }
    if (used == static_cast<std::size_t>(-1)) {
      break;
    }
  }
  *key = L'?';  // not a character of the user's locale
  return 1;
}

void EditedLines::listCandidates(const std::vector<std::string>& words) {
  std::string text = "\n";
  int column = 0;
  for (const std::string& word : words) {
    const int width = widthOf(word) + 2;
    if (column > 0 && column + width > columns()) {
      text += "\n";
      column = 0;
    }
    text += word + "  ";
    column += width;
  }
  parts_.sink.write(text + "\n");
}

unsigned char EditedLines::complete() {
  const LineInfo* line = ::el_line(editor_.get());
  const std::string before(line->buffer, line->cursor);
  const Completion found = parts_.help.complete(before);
  if (found.words.empty()) {
    return CC_ERROR;
  }
  // The longest common beginning of all candidates is what can be completed for certain.
  std::string common = found.words.front();
  for (const std::string& word : found.words) {
    const auto differ = std::mismatch(common.begin(), common.end(), word.begin(), word.end()).first;
    common.erase(differ, common.end());
  }
  const std::string typed = before.substr(found.from);
  const bool single = found.words.size() == 1;
  if (single && found.whole) {
    common += ' ';
  }
  if (common.size() <= typed.size()) {
    if (single) {
      return CC_NORM;
    }
    listCandidates(found.words);
    return CC_REDISPLAY;
  }
  // Replaces the whole word, so that it gets the declared letter case.
  ::el_deletestr(editor_.get(), static_cast<int>(typed.size()));
  return ::el_insertstr(editor_.get(), common.c_str()) == 0 ? CC_REFRESH : CC_ERROR;
}

}  // namespace

std::unique_ptr<TerminalLines> makeEditedLines(EditedParts parts) {
  return std::make_unique<EditedLines>(std::move(parts));
}

}  // namespace relaybird
