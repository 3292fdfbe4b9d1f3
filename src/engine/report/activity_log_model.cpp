// SPDX-License-Identifier: MIT
#include "engine/report/activity_log_model.h"

#include <algorithm>
#include <exception>

#include "platform/text/number_text.h"

namespace relaybird {
namespace {

/// Kept free at the left of the list, so that the widest line does not touch the frame.
constexpr const char* kMargin = "  ";

}  // namespace

ActivityLogModel::ActivityLogModel(ActivityLogView& view, const Clock& clock)
    : view_(view), clock_(clock) {}

void ActivityLogModel::AddToLog(const std::string& text) {
  try {
    AddLine(text);
  } catch (const std::exception&) {
    // Failing to show a line never disturbs the work that the line is about.
  }
}

void ActivityLogModel::AddToLogV(const std::string& text) {
  if (!verbose_) {
    return;
  }
  try {
    AddLine(clock_.toText(clock_.now()) + " [v]-->" + text);
  } catch (const std::exception&) {
    // As above.
  }
}

void ActivityLogModel::AddLine(const std::string& text) {
  const std::string line = trimBlanks(text);
  lines_.push_back(line);
  widest_ = std::max(widest_, view_.textWidth(kMargin + line));
  view_.lineAdded(line, widest_);
}

void ActivityLogModel::ClearLog() {
  lines_.clear();
  widest_ = 0;
  view_.cleared();
}

std::string ActivityLogModel::copyText(const std::vector<std::size_t>& selected) const {
  std::string text;
  const auto append = [&](const std::string& line) { text.append(line).append("\r\n"); };
  if (selected.empty()) {
    std::for_each(lines_.begin(), lines_.end(), append);
  }
  for (const std::size_t position : selected) {
    if (position < lines_.size()) {
      append(lines_[position]);
    }
  }
  return text;
}

}  // namespace relaybird
