// SPDX-License-Identifier: MIT
#include "ui/desktop/gtk/icon_area.h"

#include <gdk/gdkx.h>

#include <string>
#include <utility>

#include "ui/desktop/services/guarded.h"

namespace relaybird::desktop {
namespace {

// The watcher's name on the bus, and its interface.
constexpr const char* kWatcher = "org.kde.StatusNotifierWatcher";
constexpr const char* kWatcherPath = "/StatusNotifierWatcher";
constexpr const char* kProperties = "org.freedesktop.DBus.Properties";
constexpr const char* kScreenLock = "org.gnome.ScreenSaver";
constexpr const char* kScreenLockPath = "/org/gnome/ScreenSaver";
constexpr int kBusPatience = 1000;  // milliseconds

GVariant* hostQuestion() {
  return g_variant_new("(ss)", kWatcher, "IsStatusNotifierHostRegistered");
}

// Null where the screen is not X's.
GdkDisplay* xDisplay() {
  GdkDisplay* display = gdk_display_get_default();
  return display != nullptr && GDK_IS_X11_DISPLAY(display) ? display : nullptr;
}

// Freedesktop's system tray protocol: the tray owns a selection of the screen.
std::string traySelection(GdkDisplay* display) {
  const int screen = DefaultScreen(gdk_x11_display_get_xdisplay(display));
  return "_NET_SYSTEM_TRAY_S" + std::to_string(screen);
}

bool oldTrayIsThere() {
  GdkDisplay* display = xDisplay();
  if (display == nullptr) {
    return false;
  }
  Display* x = gdk_x11_display_get_xdisplay(display);
  return XGetSelectionOwner(x, XInternAtom(x, traySelection(display).c_str(), False)) != None;
}

bool nobodyIsThere(const GError* error) {
  return g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_NAME_HAS_NO_OWNER) == TRUE ||
         g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_SERVICE_UNKNOWN) == TRUE;
}

// Takes the watcher's answer, or the error in its place. The library turns to the screen's tray
// only where there is no watcher, not where a watcher has no host.
bool shownAccordingTo(GVariant* answer, GError* error) {
  bool shown = false;
  if (answer != nullptr) {
    GVariant* value = nullptr;
    g_variant_get(answer, "(v)", &value);
    shown = g_variant_is_of_type(value, G_VARIANT_TYPE_BOOLEAN) == TRUE &&
            g_variant_get_boolean(value) == TRUE;
    g_variant_unref(value);
    g_variant_unref(answer);
  } else if (nobodyIsThere(error)) {
    shown = oldTrayIsThere();
  }
  g_clear_error(&error);
  return shown;
}

// Takes the answer to a call; null where there is none, with the error. `cancelled` when whoever
// has asked is gone.
GVariant* finishedCall(GObject* bus, GAsyncResult* result, GError** error, bool& cancelled) {
  GVariant* answer = g_dbus_connection_call_finish(G_DBUS_CONNECTION(bus), result, error);
  cancelled = g_error_matches(*error, G_IO_ERROR, G_IO_ERROR_CANCELLED) == TRUE;
  if (cancelled) {
    g_clear_error(error);
  }
  return answer;
}

}  // namespace

bool iconsAreShown() {
  GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
  if (bus == nullptr) {
    // The library then shows none, not even in the screen's tray.
    return false;
  }
  GError* error = nullptr;
  GVariant* answer = g_dbus_connection_call_sync(
      bus, kWatcher, kWatcherPath, kProperties, "Get", hostQuestion(), G_VARIANT_TYPE("(v)"),
      G_DBUS_CALL_FLAGS_NO_AUTO_START, kBusPatience, nullptr, &error);
  g_object_unref(bus);
  return shownAccordingTo(answer, error);
}

IconAreaWatch::IconAreaWatch(std::function<void(IconArea)> report)
    : report_(std::move(report)), bus_(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr)) {
  if (bus_ == nullptr) {
    return;
  }
  // Also tells how it is now.
  name_ = g_bus_watch_name_on_connection(bus_, kWatcher, G_BUS_NAME_WATCHER_FLAGS_NONE, onOwner,
                                         onName, this, nullptr);
  signals_ =
      g_dbus_connection_signal_subscribe(bus_, kWatcher, nullptr, nullptr, kWatcherPath, nullptr,
                                         G_DBUS_SIGNAL_FLAGS_NONE, onSignal, this, nullptr);
  if (GdkDisplay* display = xDisplay()) {
    // The toolkit tells of the owner of any selection by the clipboard that it makes for it.
    tray_ = gtk_clipboard_get_for_display(display,
                                          gdk_atom_intern(traySelection(display).c_str(), FALSE));
    trayChanges_ = g_signal_connect(tray_, "owner-change", G_CALLBACK(onTray), this);
  }
}

IconAreaWatch::~IconAreaWatch() {
  g_cancellable_cancel(cancel_);
  g_object_unref(cancel_);
  if (bus_ != nullptr) {
    g_bus_unwatch_name(name_);
    g_dbus_connection_signal_unsubscribe(bus_, signals_);
    g_object_unref(bus_);
  }
  if (tray_ != nullptr) {
    g_signal_handler_disconnect(tray_, trayChanges_);
  }
}

void IconAreaWatch::look() {
  if (bus_ != nullptr && !std::exchange(asked_, true)) {
    g_dbus_connection_call(bus_, kWatcher, kWatcherPath, kProperties, "Get", hostQuestion(),
                           G_VARIANT_TYPE("(v)"), G_DBUS_CALL_FLAGS_NO_AUTO_START, kBusPatience,
                           cancel_, onAnswer, this);
  }
}

void IconAreaWatch::changed() {
  again_ = asked_;
  look();
}

void IconAreaWatch::onAnswer(GObject* bus, GAsyncResult* result, gpointer self) {
  GError* error = nullptr;
  bool cancelled = false;
  GVariant* answer = finishedCall(bus, result, &error, cancelled);
  if (cancelled) {
    return;
  }
  auto* watch = static_cast<IconAreaWatch*>(self);
  if (shownAccordingTo(answer, error)) {
    watch->tell(IconArea::kShown);
  } else {
    watch->askWhetherLocked();
  }
}

void IconAreaWatch::askWhetherLocked() {
  g_dbus_connection_call(bus_, kScreenLock, kScreenLockPath, kScreenLock, "GetActive", nullptr,
                         G_VARIANT_TYPE("(b)"), G_DBUS_CALL_FLAGS_NO_AUTO_START, kBusPatience,
                         cancel_, onLockAnswer, this);
}

void IconAreaWatch::onLockAnswer(GObject* bus, GAsyncResult* result, gpointer self) {
  GError* error = nullptr;
  bool cancelled = false;
  GVariant* answer = finishedCall(bus, result, &error, cancelled);
  if (cancelled) {
    return;
  }
  gboolean locked = FALSE;
  if (answer != nullptr) {
    g_variant_get(answer, "(b)", &locked);
    g_variant_unref(answer);
  }
  g_clear_error(&error);
  static_cast<IconAreaWatch*>(self)->tell(locked == TRUE ? IconArea::kHeldBack : IconArea::kGone);
}

// What has changed in between is asked for first: it may be otherwise by now.
void IconAreaWatch::tell(IconArea area) {
  asked_ = false;
  if (std::exchange(again_, false)) {
    look();
    return;
  }
  // A copy: it may destroy this.
  guarded([report = report_, area] { report(area); });
}

void IconAreaWatch::onName(GDBusConnection*, const gchar*, gpointer self) {
  static_cast<IconAreaWatch*>(self)->changed();
}

void IconAreaWatch::onOwner(GDBusConnection* bus, const gchar* name, const gchar*, gpointer self) {
  onName(bus, name, self);
}

void IconAreaWatch::onSignal(GDBusConnection* bus, const gchar* sender, const gchar*, const gchar*,
                             const gchar*, GVariant*, gpointer self) {
  onName(bus, sender, self);
}

void IconAreaWatch::onTray(GtkClipboard*, GdkEvent*, gpointer self) {
  static_cast<IconAreaWatch*>(self)->changed();
}

}  // namespace relaybird::desktop
