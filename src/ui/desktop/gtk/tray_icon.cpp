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

// The indicator and the watch over its area.
struct Icon {
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

}  // namespace

struct TrayIcon::Area {
  Area(FileSystem& writer, TimerMaker& maker, std::string folder)
      : files(writer), timers(maker), iconFolder(std::move(folder)) {}

  FileSystem& files;
  TimerMaker& timers;
  std::string iconFolder;
  bool picturesWritten = false;
  Control* menu = nullptr;
  bool running = false;
  std::string warning;
  std::unique_ptr<Icon> icon;
  WindowProcedure procedure;
  std::function<void()> onLost;

  bool ensurePictures();
  const char* pictureName() const;
  void showState() const;
  void lost() const;
};

TrayIcon::TrayIcon(FileSystem& files, TimerMaker& timers, std::string iconFolder)
    : area_(std::make_unique<Area>(files, timers, std::move(iconFolder))) {}

TrayIcon::~TrayIcon() = default;

void TrayIcon::setMenu(Control& menu) {
  area_->menu = &menu;
}

bool TrayIcon::available() {
  return iconsAreShown() && (area_->ensurePictures() || programIconIsInstalled());
}

// The library has no handles.
WindowHandle TrayIcon::mainWindow() {
  return 1;
}

IconHandle TrayIcon::mainIcon() {
  return 1;
}

void TrayIcon::addIcon(const NotifyIconRecord& record) {
  if (area_->menu == nullptr) {
    return;
  }
  // Without a folder the panel searches the icon theme only.
  const char* folder = area_->ensurePictures() ? area_->iconFolder.c_str() : nullptr;
  const std::string tip(record.tipText());
  AppIndicator* indicator = app_indicator_new_with_path(
      "relaybird", area_->pictureName(), APP_INDICATOR_CATEGORY_COMMUNICATIONS, folder);
  area_->icon =
      std::make_unique<Icon>(indicator, area_->timers, [area = area_.get()] { area->lost(); });
  app_indicator_set_title(indicator, tip.c_str());
  app_indicator_set_menu(indicator, makeMenu(*area_->menu));
  area_->showState();
}

void TrayIcon::deleteIcon(const NotifyIconRecord&) {
  area_->icon.reset();
}

WindowProcedure TrayIcon::replaceProcedure(WindowHandle, WindowProcedure procedure) {
  return std::exchange(area_->procedure, std::move(procedure));
}

// The desktop shows the menu by itself, over whatever window is in front.
void TrayIcon::setForegroundWindow(WindowHandle) {}

void TrayIcon::onIconLost(std::function<void()> listener) {
  area_->onLost = std::move(listener);
}

void TrayIcon::setRunning(bool running) {
  area_->running = running;
  area_->showState();
}

void TrayIcon::setWarning(std::string text) {
  area_->warning = std::move(text);
  area_->showState();
}

// Written once for each run; not checked again afterwards.
bool TrayIcon::Area::ensurePictures() {
  picturesWritten = picturesWritten || updatePictures(files, iconFolder);
  return picturesWritten;
}

const char* TrayIcon::Area::pictureName() const {
  if (!picturesWritten) {
    return kApplicationId;
  }
  return running ? kRunningIcon : kStoppedIcon;
}

void TrayIcon::Area::lost() const {
  // A copy, because the listener may replace itself.
  if (const std::function<void()> listener = onLost) {
    listener();
  }
}

void TrayIcon::Area::showState() const {
  if (!icon) {
    return;
  }
  AppIndicator* const indicator = icon->indicator;
  app_indicator_set_icon_full(indicator, pictureName(),
                              running ? "Relaybird is forwarding" : "Relaybird is stopped");
  if (!warning.empty()) {
    app_indicator_set_attention_icon_full(indicator, kWarningIcon, warning.c_str());
  }
  app_indicator_set_status(
      indicator, warning.empty() ? APP_INDICATOR_STATUS_ACTIVE : APP_INDICATOR_STATUS_ATTENTION);
}

}  // namespace relaybird::desktop
