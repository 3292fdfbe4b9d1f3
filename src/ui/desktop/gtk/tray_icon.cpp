// SPDX-License-Identifier: MIT
// The library makes a StatusNotifierItem, or an old-style tray icon where the desktop has only
// those.
#include "ui/desktop/native/tray_icon.h"

#include <gtk/gtk.h>
#include <libayatana-appindicator/app-indicator.h>

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <utility>

#include "platform/system/application_id.h"
#include "ui/desktop/gtk/icon_area.h"
#include "ui/desktop/services/guarded.h"
#include "ui/desktop/widgets/art_data.h"
#include "ui/forms/model/form.h"

namespace relaybird::desktop {
namespace {

constexpr const char* kRunningIcon = "relaybird-running";
constexpr const char* kStoppedIcon = "relaybird-stopped";
// Every icon theme has it (freedesktop.org, icon naming, "Status").
constexpr const char* kWarningIcon = "dialog-warning";

// Of the state in which a picture shows the program.
bool isOurs(const ArtImage& image) {
  return image.name.starts_with(kRunningIcon) || image.name.starts_with(kStoppedIcon);
}

// Makes a folder and the missing ones above it. That it is there already is no failure.
void makeFolder(FileSystem& files, const std::string& folder) {
  const auto made = files.createFolder(folder);
  if (!made && made.error().code == ENOENT && parentFolder(folder) != folder) {
    makeFolder(files, parentFolder(folder));
    (void)files.createFolder(folder);
  }
}

// A panel may be reading it: it is exchanged whole, and only for another one.
bool putInPlace(FileSystem& files, const std::string& path, std::string_view bytes) {
  const auto there = readFile(files, path, bytes.size() + 1);
  return (there && *there == bytes) || replaceFile(files, path, bytes);
}

// Each in colour, and as a drawing under the name by which a panel looks for one that it can give
// a colour of its own.
bool putPicturesInPlace(FileSystem& files, const std::string& folder) {
  makeFolder(files, folder);
  return std::ranges::all_of(artImages(), [&](const ArtImage& image) {
    const std::string name = folder + "/" + std::string(image.name);
    return !isOurs(image) ||
           putInPlace(files, name + (image.drawing ? ".svg" : ".png"),
                      {reinterpret_cast<const char*>(image.bytes.data()), image.bytes.size()});
  });
}

// The installation puts it among everybody's icons.
bool programIconIsInstalled() {
  return gtk_icon_theme_has_icon(gtk_icon_theme_get_default(), kApplicationId) == TRUE;
}

void onActivate(GtkMenuItem*, gpointer control) {
  guarded([&] { static_cast<Control*>(control)->click(); });
}

GtkMenu* makeMenu(const Control& menu) {
  auto* entries = GTK_MENU(gtk_menu_new());
  for (Control* control : menu.form().controls()) {
    if (control->parent() == &menu) {
      GtkWidget* entry = gtk_menu_item_new_with_label(plainCaption(control->text()).c_str());
      g_signal_connect(entry, "activate", G_CALLBACK(onActivate), control);
      gtk_menu_shell_append(GTK_MENU_SHELL(entries), entry);
    }
  }
  gtk_widget_show_all(GTK_WIDGET(entries));
  return entries;
}

}  // namespace

struct TrayIcon::Icon {
  Icon(AppIndicator* shown, TimerMaker& timers, std::function<void()> onLost)
      : indicator(shown),
        absence(
            timers, [this] { watch.look(); }, std::move(onLost)) {}
  Icon(const Icon&) = delete;
  Icon& operator=(const Icon&) = delete;
  ~Icon() {
    app_indicator_set_status(indicator, APP_INDICATOR_STATUS_PASSIVE);
    g_object_unref(indicator);
  }

  AppIndicator* indicator;
  IconAbsence absence;
  IconAreaWatch watch{[this](IconArea area) { absence.seen(area); }};
};

TrayIcon::TrayIcon(FileSystem& files, TimerMaker& timers, std::string iconFolder)
    : files_(files), timers_(timers), iconFolder_(std::move(iconFolder)) {}

TrayIcon::~TrayIcon() = default;

bool TrayIcon::available() {
  return iconsAreShown() && (picturesInPlace() || programIconIsInstalled());
}

// Once they are, they stay: what is not looked at again is not written again.
bool TrayIcon::picturesInPlace() {
  picturesInPlace_ = picturesInPlace_ || putPicturesInPlace(files_, iconFolder_);
  return picturesInPlace_;
}

const char* TrayIcon::pictureName() const {
  if (!picturesInPlace_) {
    return kApplicationId;
  }
  return running_ ? kRunningIcon : kStoppedIcon;
}

void TrayIcon::addIcon(const NotifyIconRecord& record) {
  if (menu_ == nullptr) {
    return;
  }
  // Without a folder of its own the icon is looked for among everybody's.
  const char* folder = picturesInPlace() ? iconFolder_.c_str() : nullptr;
  const std::string tip(record.tipText());
  AppIndicator* indicator = app_indicator_new_with_path(
      "relaybird", pictureName(), APP_INDICATOR_CATEGORY_COMMUNICATIONS, folder);
  icon_.reset(new Icon(indicator, timers_, [this] { lost(); }));
  app_indicator_set_title(indicator, tip.c_str());
  app_indicator_set_menu(indicator, makeMenu(*menu_));
  showState();
}

void TrayIcon::deleteIcon(const NotifyIconRecord&) {
  icon_.reset();
}

void TrayIcon::lost() {
  // A copy: it may set another.
  if (const std::function<void()> listener = onLost_) {
    listener();
  }
}

WindowProcedure TrayIcon::replaceProcedure(WindowHandle, WindowProcedure procedure) {
  return std::exchange(procedure_, std::move(procedure));
}

void TrayIcon::setRunning(bool running) {
  running_ = running;
  showState();
}

void TrayIcon::setWarning(std::string words) {
  warning_ = std::move(words);
  showState();
}

void TrayIcon::showState() {
  if (!icon_) {
    return;
  }
  AppIndicator* const indicator = icon_->indicator;
  app_indicator_set_icon_full(indicator, pictureName(),
                              running_ ? "Relaybird is forwarding" : "Relaybird is stopped");
  if (!warning_.empty()) {
    app_indicator_set_attention_icon_full(indicator, kWarningIcon, warning_.c_str());
  }
  app_indicator_set_status(
      indicator, warning_.empty() ? APP_INDICATOR_STATUS_ACTIVE : APP_INDICATOR_STATUS_ATTENTION);
}

}  // namespace relaybird::desktop
