// SPDX-License-Identifier: MIT
// The library makes a StatusNotifierItem, or an old-style tray icon where the desktop has only
// those.
#include "ui/desktop/native/tray_icon.h"

#include <gdk/gdkx.h>
#include <gio/gio.h>
#include <gtk/gtk.h>
#include <libayatana-appindicator/app-indicator.h>

#include <filesystem>
#include <fstream>
#include <utility>

#include "ui/desktop/desk/guarded.h"
#include "ui/desktop/widgets/art_data.h"
#include "ui/forms/model/form.h"

namespace relaybird::desktop {
namespace {

constexpr const char* kRunningIcon = "relaybird-running";
constexpr const char* kStoppedIcon = "relaybird-stopped";
constexpr int kBusPatience = 1000;  // milliseconds

bool watcherIsThere() {
  GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
  if (bus == nullptr) {
    return false;
  }
  GVariant* answer = g_dbus_connection_call_sync(
      bus, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "NameHasOwner",
      g_variant_new("(s)", "org.kde.StatusNotifierWatcher"), G_VARIANT_TYPE("(b)"),
      G_DBUS_CALL_FLAGS_NONE, kBusPatience, nullptr, nullptr);
  gboolean owned = FALSE;
  if (answer != nullptr) {
    g_variant_get(answer, "(b)", &owned);
    g_variant_unref(answer);
  }
  g_object_unref(bus);
  return owned == TRUE;
}

/// Freedesktop's system tray protocol: the tray owns a selection of the screen.
bool oldTrayIsThere() {
  GdkDisplay* display = gdk_display_get_default();
  if (display == nullptr || !GDK_IS_X11_DISPLAY(display)) {
    return false;
  }
  Display* x = gdk_x11_display_get_xdisplay(display);
  return XGetSelectionOwner(x, XInternAtom(x, "_NET_SYSTEM_TRAY_S0", False)) != None;
}

/// Each in colour, and as a drawing under the name by which a panel looks for one that it can give
/// a colour of its own.
void writePictures(const std::string& folder) {
  std::error_code failed;
  std::filesystem::create_directories(folder, failed);
  for (const ArtImage& image : artImages()) {
    if (image.name.starts_with(kRunningIcon) || image.name.starts_with(kStoppedIcon)) {
      std::ofstream file(
          folder + "/" + std::string(image.name) + (image.size > 0 ? ".png" : ".svg"),
          std::ios::binary);
      file.write(reinterpret_cast<const char*>(image.bytes.data()),
                 static_cast<std::streamsize>(image.bytes.size()));
    }
  }
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
  AppIndicator* indicator;
  ~Icon() {
    app_indicator_set_status(indicator, APP_INDICATOR_STATUS_PASSIVE);
    g_object_unref(indicator);
  }
};

TrayIcon::TrayIcon(std::string iconFolder) : iconFolder_(std::move(iconFolder)) {}

TrayIcon::~TrayIcon() = default;

bool TrayIcon::available() {
  return watcherIsThere() || oldTrayIsThere();
}

void TrayIcon::addIcon(const NotifyIconRecord& record) {
  if (menu_ == nullptr) {
    return;
  }
  writePictures(iconFolder_);
  const std::string tip(record.tipText());
  AppIndicator* indicator =
      app_indicator_new_with_path("relaybird", running_ ? kRunningIcon : kStoppedIcon,
                                  APP_INDICATOR_CATEGORY_COMMUNICATIONS, iconFolder_.c_str());
  icon_.reset(new Icon{indicator});
  app_indicator_set_title(indicator, tip.c_str());
  app_indicator_set_menu(indicator, makeMenu(*menu_));
  app_indicator_set_status(indicator, APP_INDICATOR_STATUS_ACTIVE);
}

void TrayIcon::deleteIcon(const NotifyIconRecord&) {
  icon_.reset();
}

WindowProcedure TrayIcon::replaceProcedure(WindowHandle, WindowProcedure procedure) {
  return std::exchange(procedure_, std::move(procedure));
}

void TrayIcon::setRunning(bool running) {
  running_ = running;
  if (icon_) {
    app_indicator_set_icon_full(icon_->indicator, running ? kRunningIcon : kStoppedIcon,
                                running ? "Relaybird is forwarding" : "Relaybird is stopped");
  }
}

}  // namespace relaybird::desktop
