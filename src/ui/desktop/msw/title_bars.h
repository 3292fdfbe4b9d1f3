// SPDX-License-Identifier: MIT
#pragma once

#include <wx/eventfilter.h>

namespace relaybird::desktop {

/// While it lives, gives each window of the program that is shown a dark title bar if the user has
/// chosen dark programs. Windows asks each program to do so itself. The toolkit's controls stay
/// light; high contrast is the system's own work, and is left alone.
class TitleBars : private wxEventFilter {
 public:
  TitleBars();
  ~TitleBars() override;
  TitleBars(const TitleBars&) = delete;
  TitleBars& operator=(const TitleBars&) = delete;

 private:
  int FilterEvent(wxEvent& event) override;
};

}  // namespace relaybird::desktop
