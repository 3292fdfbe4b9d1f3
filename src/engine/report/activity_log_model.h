// SPDX-License-Identifier: MIT
// The activity log as the log window shows it, without the window: lines in the order in which they
// came, the widest line, the hidden verbose switch, the text for the clipboard.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "engine/report/activity_log.h"
#include "platform/clock.h"

namespace relaybird {

/// What a log window does when the lines change. All calls on the user-interface thread.
class ActivityLogView {
 public:
  virtual ~ActivityLogView() = default;
  /// Pixels of a text in the list's font.
  virtual std::int32_t textWidth(const std::string& text) = 0;
  /// A line was added at the end; the list scrolls sideways as far as `widest` pixels.
  virtual void lineAdded(const std::string& line, std::int32_t widest) = 0;
  virtual void cleared() = 0;
};

class ActivityLogModel : public ActivityLog {
 public:
  /// Both must outlive it.
  ActivityLogModel(ActivityLogView& view, const Clock& clock);

  void AddToLog(const std::string& text) override;
  void AddToLogV(const std::string& text) override;
  bool verbose() const override { return verbose_; }

  /// Lists a line without its leading and trailing blanks; a text of blanks alone makes an empty
  /// line. May throw what the view throws; the line is then listed all the same.
  void AddLine(const std::string& text);
  void ClearLog();

  void setVerbose(bool verbose) { verbose_ = verbose; }

  /// The lines at the given positions (0-based, ascending), or all lines when there is none, each
  /// followed by CR LF. Positions past the end are passed over.
  std::string copyText(const std::vector<std::size_t>& selected = {}) const;

  const std::vector<std::string>& lines() const { return lines_; }
  std::int32_t widestLine() const { return widest_; }  ///< pixels; 0 when there is no line

 private:
  ActivityLogView& view_;
  const Clock& clock_;
  std::vector<std::string> lines_;
  std::int32_t widest_ = 0;
  bool verbose_ = false;
};

}  // namespace relaybird
