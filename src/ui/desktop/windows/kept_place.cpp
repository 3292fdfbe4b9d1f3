// SPDX-License-Identifier: MIT
#include "ui/desktop/windows/kept_place.h"

#include <wx/display.h>

#include <string>
#include <vector>

#include "ui/desktop/native/native_widgets.h"
#include "ui/desktop/services/guarded.h"
#include "ui/desktop/widgets/text.h"

namespace relaybird::desktop {
namespace {

// The minimum size of windows that have no larger one of their own.
constexpr int kLeastWidth = 200;
constexpr int kLeastHeight = 100;

std::vector<ScreenArea> screens() {
  std::vector<ScreenArea> areas;
  for (unsigned int number = 0; number < wxDisplay::GetCount(); ++number) {
    const wxRect area = wxDisplay(number).GetClientArea();
    areas.push_back({area.x, area.y, area.width, area.height});
  }
  return areas;
}

std::string nameOf(const wxTopLevelWindow& window) {
  return fromWx(window.GetName());
}

// Stores where the window is. For a maximised window only that state is stored, because the toolkit
// does not report the size to which it would be restored. A minimised window is ignored.
void keepPlace(const wxTopLevelWindow& window, WindowPlaces& places) {
  if (!window.IsShown() || window.IsIconized()) {
    return;
  }
  WindowPlace place = places.find(nameOf(window)).value_or(WindowPlace{});
  if (!window.IsMaximized()) {
    const wxPoint corner = window.GetPosition();
    const wxSize size = window.GetClientSize();
    place = {corner.x, corner.y, size.x, size.y, false};
  } else if (place.width > 0) {
    place.maximised = true;
  } else {
    return;
  }
  places.keep(nameOf(window), place);
}

}  // namespace

bool restorePlace(wxTopLevelWindow& window, WindowPlaces& places) {
  const auto place = places.find(nameOf(window));
  wxSize least = window.GetMinClientSize();
  least.IncTo(window.FromDIP(wxSize(kLeastWidth, kLeastHeight)));
  // A place can be too small for the window: the file can be edited, and a later version of the
  // window may have more in it.
  if (!place || !isLargeEnough(*place, least.x, least.y)) {
    return false;
  }
  if (!programsPlaceWindows()) {
    window.SetClientSize(place->width, place->height);
  } else if (isInSight(*place, screens())) {
    // A screen may have been removed since the place was stored.
    window.SetClientSize(place->width, place->height);
    window.Move(place->left, place->top);
  } else {
    return false;
  }
  if (place->maximised) {
    window.Maximize();
  }
  return true;
}

void followPlace(wxTopLevelWindow& window, WindowPlaces& places) {
  // Why later: the toolkit reports the maximised state only after this event.
  const auto moved = [&window, &places](auto& event) {
    event.Skip();
    later(window, [&window, &places] { keepPlace(window, places); });
  };
  window.Bind(wxEVT_SIZE, [moved](wxSizeEvent& event) { moved(event); });
  window.Bind(wxEVT_MOVE, [moved](wxMoveEvent& event) { moved(event); });
  window.Bind(wxEVT_SHOW, [&places](wxShowEvent& event) {
    event.Skip();
    if (!event.IsShown()) {
      places.write();
    }
  });
}

}  // namespace relaybird::desktop
