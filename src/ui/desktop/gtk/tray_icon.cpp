// SPDX-License-Identifier: MIT
// The notification-area icon, by libayatana-appindicator. The library publishes a
// StatusNotifierItem, or an XEmbed tray icon where the desktop supports only those.
//
// The panel, a process of its own, loads the pictures by name from a folder. So the built-in
// pictures are written to `iconFolder` first; if that fails, the program's installed icon is shown.
// If no panel shows icons for too long (IconAbsence), the listener is called, so that the program
// does not stay hidden without a visible icon.
#include "ui/desktop/native/tray_icon.h"

#include <gtk/gtk.h>
#include <libayatana-appindicator/app-indicator.h>

#include <algorithm>
#include <cerrno>
#include <string_view>
#include <utility>

#include "platform/paths.h"
#include "platform/system/application_id.h"
#include "ui/desktop/gtk/icon_area.h"
#include "ui/desktop/services/guarded.h"
#include "ui/desktop/widgets/art_data.h"
#include "ui/forms/model/form.h"

namespace relaybird::desktop {
namespace {

constexpr const char* kRunningIcon = "relaybird-running";
constexpr const char* kStoppedIcon = "relaybird-stopped";
// Part of every icon theme (freedesktop.org, icon naming, "Status").
constexpr const char* kWarningIcon = "dialog-warning";

// Whether the picture shows one of the program's two states.
bool isStateIcon(const ArtImage& image) {
  return image.name.starts_with(kRunningIcon) || image.name.starts_with(kStoppedIcon);
}

// Creates a folder and its missing parents. An existing folder is not an error.
void makeFolder(FileSystem& files, const std::string& folder) {
  const auto made = files.createFolder(folder);
  if (!made && made.error().code == ENOENT && parentFolder(folder) != folder) {
    makeFolder(files, parentFolder(folder));
    (void)files.createFolder(folder);
  }
}

// Writes the file if its content differs. A panel may be reading it, so it is replaced atomically.
bool updatePicture(FileSystem& files, const std::string& path, std::string_view bytes) {
  const auto there = readFile(files, path, bytes.size() + 1);
  return (there && *there == bytes) || replaceFile(files, path, bytes);
}

// Writes each picture in colour (PNG), and as a drawing (SVG) under its symbolic name, which panels
// prefer if they recolour icons.
bool updatePictures(FileSystem& files, const std::string& folder) {
  makeFolder(files, folder);
  return std::ranges::all_of(artImages(), [&](const ArtImage& image) {
    const std::string name = joinPath(folder, image.name);
    return !isStateIcon(image) ||
           updatePicture(files, name + (image.drawing ? ".svg" : ".png"),
                         {reinterpret_cast<const char*>(image.bytes.data()), image.bytes.size()});
  });
}

// Whether the icon theme has the program's icon, as it does after an installation.
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
            timers, [this] { watch.query(); }, std::move(onLost)) {}
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
  return iconsAreShown() && (ensurePictures() || programIconIsInstalled());
}

// Written once for each run; not checked again afterwards.
bool TrayIcon::ensurePictures() {
  picturesWritten_ = picturesWritten_ || updatePictures(files_, iconFolder_);
  return picturesWritten_;
}

const char* TrayIcon::pictureName() const {
  if (!picturesWritten_) {
    return kApplicationId;
  }
  return running_ ? kRunningIcon : kStoppedIcon;
}

void TrayIcon::addIcon(const NotifyIconRecord& record) {
  if (menu_ == nullptr) {
    return;
  }
  // Without a folder the panel searches the icon theme only.
  const char* folder = ensurePictures() ? iconFolder_.c_str() : nullptr;
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
  // A copy, because the listener may replace itself.
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

void TrayIcon::setWarning(std::string text) {
  warning_ = std::move(text);
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
