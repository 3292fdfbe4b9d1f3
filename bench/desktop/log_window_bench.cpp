// SPDX-License-Identifier: MIT
// The log window with a million lines against one with a thousand, in real windows: the time from a
// key press or a new line until its effect is on the screen. If the times are alike, no operation
// walks through the whole list. Needs a display of its own with a window manager.
#include <wx/app.h>
#include <wx/evtloop.h>
#include <wx/listctrl.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "ratios.h"
#include "ui/desktop/services/wx_loop.h"
#include "ui/desktop/windows/log_window.h"
#include "ui/desktop/windows/main_window.h"
#include "ui/forms/fake_world.h"
#include "ui/forms/program_forms.h"
#include "ui/forms/window_places.h"

namespace relaybird::bench {
namespace {

constexpr std::size_t kFew = 1000;
constexpr std::size_t kMany = 1'000'000;
constexpr int kRounds = 7;
constexpr int kAdded = 500;
constexpr std::chrono::seconds kPatience{30};

using Seconds = std::chrono::duration<double>;

double nanoseconds(Seconds time) {
  return time.count() * 1e9;
}

void runEvents() {
  wxTheApp->Yield();
  wxTheApp->ProcessPendingEvents();
}

// Lets events run until the condition holds. Throws if it takes too long.
void waitFor(const char* what, const std::function<bool()>& holds) {
  const auto end = std::chrono::steady_clock::now() + kPatience;
  while (!holds()) {
    if (std::chrono::steady_clock::now() > end) {
      throw std::runtime_error(std::string("waited in vain: ") + what);
    }
    runEvents();
  }
}

Seconds timed(const std::function<void()>& action) {
  const auto begin = std::chrono::steady_clock::now();
  action();
  return std::chrono::steady_clock::now() - begin;
}

// A log window with that many lines.
class ShownLog {
 public:
  explicit ShownLog(std::size_t lines)
      : forms_(world_.worldOn(screen_, clipboard_, {})),
        owner_(new desktop::MainWindow(forms_.main(), places_)),
        window_(new desktop::LogWindow(*owner_, form_)) {
    for (std::size_t i = 0; i < lines; ++i) {
      add();
    }
    form_.show();
    list_ = dynamic_cast<wxListCtrl*>(wxWindow::FindWindowByName("listCtrl", window_));
    if (list_ == nullptr) {
      throw std::runtime_error("the log window has no list");
    }
  }
  ~ShownLog() {
    window_->Destroy();
    owner_->Destroy();
    runEvents();
  }

  void front() {
    window_->Raise();
    list_->SetFocus();
    waitFor("the log's window to take the keys", [this] {
      return window_->IsActive() && wxWindow::FindFocus() != nullptr &&
             list_->IsDescendant(wxWindow::FindFocus());
    });
    window_->Update();
    runEvents();
  }

  void add() {
    form_.AddLine("11/20/26 15:04:05 forwarded message number " +
                  std::to_string(form_.lstLog.list().size()));
  }

  // The time from a key press in the list until its effect is on the screen.
  Seconds key(int code, int modifiers, const std::function<bool()>& done) {
    return timed([&] {
      if (!press(wxEVT_CHAR_HOOK, code, modifiers)) {
        press(wxEVT_CHAR, code, modifiers);
      }
      waitFor("a key", done);
      window_->Update();
      runEvents();
    });
  }

  bool press(wxEventType type, int code, int modifiers) {
    wxKeyEvent event(type);
    event.m_keyCode = code;
    event.SetControlDown((modifiers & wxMOD_CONTROL) != 0);
    event.SetShiftDown((modifiers & wxMOD_SHIFT) != 0);
    wxWindow* keys = list_->GetChildren().front();
    event.SetEventObject(keys);
    return keys->ProcessWindowEvent(event);
  }

  // Per line: lines that are added one by one, each drawn before the next.
  double lineAdded() {
    const Seconds took = timed([this] {
      for (int i = 0; i < kAdded; ++i) {
        add();
        screen_.repaint();
        runEvents();
      }
    });
    expect(list_->GetItemCount() == static_cast<long>(form_.lstLog.list().size()), "a line");
    return nanoseconds(took) / kAdded;
  }

  double pageTurned() {
    toTop();
    key(WXK_PAGEDOWN, wxMOD_NONE, [] { return true; });
    return nanoseconds(key(WXK_PAGEDOWN, wxMOD_NONE, [this] { return list_->GetTopItem() > 0; }));
  }

  double endReached() {
    toTop();
    return nanoseconds(key(WXK_END, wxMOD_NONE, [this] { return list_->GetTopItem() > 0; }));
  }

  // Per line: from the key that selects all until the text is on the clipboard.
  double allCopied() {
    const Seconds took =
        key('A', wxMOD_CONTROL, [this] { return list_->GetSelectedItemCount() == count(); }) +
        timed([this] { form_.cmdCopyToClip.click(); });
    expect(form_.lstLog.selection().size() == form_.lstLog.list().size(), "a selected line");
    return nanoseconds(took) / count();
  }

  // Per line: taking one line out of a selection of all.
  double selectionChanged() {
    toTop();
    key(WXK_END, wxMOD_SHIFT, [this] { return list_->GetSelectedItemCount() == count(); });
    const auto less = [this] { return list_->GetSelectedItemCount() == count() - 1; };
    return nanoseconds(key(WXK_SPACE, wxMOD_CONTROL, less)) / count();
  }

  // Goes to the first line and selects it alone.
  void toTop() {
    key(WXK_HOME, wxMOD_NONE,
        [this] { return list_->GetTopItem() == 0 && list_->GetSelectedItemCount() == 1; });
    runEvents();
  }

  void expect(bool holds, const char* what) {
    if (!holds) {
      throw std::runtime_error(std::string("missing: ") + what);
    }
  }
  int count() const { return list_->GetItemCount(); }

 private:
  FakeWorld world_;
  desktop::WxScreen screen_{[] {}};
  desktop::WxClipboard clipboard_;
  ProgramForms forms_;
  frmLog& form_ = forms_.log();
  WindowPlaces places_{world_.profiles_, "/state/windows.ini"};
  desktop::MainWindow* owner_;
  desktop::LogWindow* window_;
  wxListCtrl* list_ = nullptr;
};

struct Measure {
  const char* what;
  const char* name;
  double (ShownLog::*take)();
  double limit;
};
constexpr Measure kMeasures[] = {
    {"a line added to a shown log of 1,000,000 lines, of 1,000", "line_added", &ShownLog::lineAdded,
     3},
    {"a page turned in a log of 1,000,000 lines, of 1,000", "page_turned", &ShownLog::pageTurned,
     3},
    {"from the first line to the last of 1,000,000, of 1,000", "end_reached", &ShownLog::endReached,
     20},
    {"selecting and copying 1,000,000 lines, per line, 1,000", "all_copied", &ShownLog::allCopied,
     3},
    {"one of 1,000,000 selected lines less, per line, of 1,000", "selection_changed",
     &ShownLog::selectionChanged, 3},
};

double median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values[values.size() / 2];
}

bool measure() {
  ShownLog few(kFew);
  ShownLog many(kMany);
  std::map<std::string, std::vector<double>> taken;
  for (int round = 0; round < kRounds; ++round) {
    for (const Measure& each : kMeasures) {
      few.front();
      taken[std::string(each.name) + "_few"].push_back((few.*each.take)());
      many.front();
      taken[std::string(each.name) + "_many"].push_back((many.*each.take)());
    }
  }
  std::map<std::string, double> medians;
  for (const auto& [name, values] : taken) {
    medians[name] = median(values);
  }
  std::vector<Claim> claims;
  for (const Measure& each : kMeasures) {
    claims.push_back(
        {each.what, std::string(each.name) + "_many", std::string(each.name) + "_few", each.limit});
  }
  return printRatios(claims, medians);
}

}  // namespace

class BenchApplication : public wxApp {
 public:
  bool OnInit() override { return true; }
  int OnRun() override {
    wxEventLoop loop;
    const wxEventLoopActivator active(&loop);
    bool holds = false;
    try {
      holds = measure();
    } catch (const std::exception& error) {
      std::fprintf(stderr, "relaybird_log_window_bench: %s\n", error.what());
    }
    std::fflush(stdout);
    // An orderly end would wait for a clipboard manager, and none runs here.
    std::_Exit(holds ? 0 : 1);
  }
};

}  // namespace relaybird::bench

int main(int argc, char** argv) {
  wxApp::SetInstance(new relaybird::bench::BenchApplication);
  return wxEntry(argc, argv);
}
