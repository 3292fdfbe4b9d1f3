// SPDX-License-Identifier: MIT
// DescriptorSink waits with poll() before each piece, so that it can stop waiting when the program
// is told to end. A piece is never larger than what a ready pipe takes without blocking.
#include "ui/console/console_output.h"

#include <limits.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "ui/console/quoting.h"

namespace relaybird {
namespace {

// A ready pipe accepts this many bytes without blocking (POSIX.1, write to pipes).
constexpr std::size_t kPiece = PIPE_BUF;

}  // namespace

DescriptorSink::DescriptorSink(int descriptor, int interrupt, std::function<void()> onBroken)
    : descriptor_(descriptor), interrupt_(interrupt), onBroken_(std::move(onBroken)) {}

// Waits until the descriptor is writable; false if it must not wait any longer.
bool DescriptorSink::mayWrite() {
  pollfd both[] = {{descriptor_, POLLOUT, 0}, {interrupt_, POLLIN, 0}};
  while (::poll(both, 2, hurry_ ? 0 : -1) < 0) {
    if (errno != EINTR) {
      return false;
    }
  }
  // An error or a hang-up counts as well: the write that follows reports it.
  return both[0].revents != 0;
}

// A broken reader is final; an error such as a full disk loses only this text.
void DescriptorSink::write(std::string_view bytes) {
  while (!bytes.empty() && !broken_) {
    if (!mayWrite()) {
      return;
    }
    const ssize_t written =
        ::write(descriptor_, bytes.data(), std::min<std::size_t>(bytes.size(), kPiece));
    if (written >= 0) {
      bytes.remove_prefix(static_cast<std::size_t>(written));
    } else if (errno == EPIPE || errno == EIO || errno == EBADF) {
      // EPIPE: the reader has closed the pipe. EIO: the terminal has hung up.
      broken_ = true;
      onBroken_();
    } else if (errno != EINTR && errno != EAGAIN) {
      return;
    }
  }
}

std::string_view boxKindWord(BoxView::Kind kind) {
  switch (kind) {
    case BoxView::Kind::kInput:
      return "input";
    case BoxView::Kind::kFile:
      return "file";
    case BoxView::Kind::kMenu:
      return "menu";
    case BoxView::Kind::kMessage:
    default:
      return "message";
  }
}

std::string_view iconWord(BoxIcon icon) {
  switch (icon) {
    case BoxIcon::kExclamation:
      return "exclamation";
    case BoxIcon::kCritical:
      return "critical";
    case BoxIcon::kNone:
    default:
      return "none";
  }
}

std::string joined(const std::vector<std::string>& words) {
  std::string line;
  for (const std::string& word : words) {
    if (!line.empty()) {
      line += ", ";
    }
    line += word;
  }
  return line;
}

void ScriptOutput::event(std::string_view kind, const std::string& text) {
  replyFields(kind, escaped(text));
}

// The whole line is passed in one call: a box or event in between would break it in two.
void ScriptOutput::replyFields(std::string_view kind, const std::string& fields) {
  std::string line(kind);
  line += fields.empty() ? ":" : ": ";
  line += fields;
  line += '\n';
  sink_.write(line);
}

void ScriptOutput::form(const Form& form, bool open) {
  replyFields("form", form.name() + (open ? " open " : " closed ") + inQuotes(form.caption()));
}

void ScriptOutput::box(const BoxView& box) {
  event("box", box.title);
  event("box-kind", std::string(boxKindWord(box.kind)));
  event("box-icon", std::string(iconWord(box.icon)));
  event("box-text", box.text);
  event("box-buttons", joined(box.choices));
}

void ScriptOutput::boxWaits(const BoxView& box) {
  event("box-waits", box.title);
}

void ScriptOutput::boxAnswered(const BoxView&, const std::string& answer) {
  event("box-answer", answer);
}

}  // namespace relaybird
