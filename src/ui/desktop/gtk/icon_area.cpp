// SPDX-License-Identifier: MIT
// Whether the desktop shows notification-area icons, and when that changes.
//
// libayatana-appindicator publishes a StatusNotifierItem through the StatusNotifierWatcher of the
// session bus. Where no watcher exists, it falls back to the XEmbed tray of the X screen. It
// reports neither a watcher without a host nor the loss of the tray, so this file queries the
// watcher itself and subscribes to the signs of a change: the owner of the watcher's name, the
// watcher's signals, and the owner of the tray's X selection.
#include "ui/desktop/gtk/icon_area.h"

#include <gdk/gdkx.h>

#include <string>
#include <utility>

#include "ui/desktop/services/guarded.h"

namespace relaybird::desktop {
namespace {

// The watcher's bus name; its interface has the same name.
constexpr const char* kWatcher = "org.kde.StatusNotifierWatcher";
constexpr const char* kWatcherPath = "/StatusNotifierWatcher";
constexpr const char* kProperties = "org.freedesktop.DBus.Properties";
constexpr const char* kScreenLock = "org.gnome.ScreenSaver";
constexpr const char* kScreenLockPath = "/org/gnome/ScreenSaver";
constexpr int kCallTimeout = 1000;  // milliseconds

GVariant* hostRegisteredArguments() {
  return g_variant_new("(ss)", kWatcher, "IsStatusNotifierHostRegistered");
}

// Null if the program does not run on X.
GdkDisplay* xDisplay() {
  GdkDisplay* display = gdk_display_get_default();
  return display != nullptr && GDK_IS_X11_DISPLAY(display) ? display : nullptr;
}

// The selection that a tray owns (freedesktop.org, System Tray Protocol).
std::string traySelection(GdkDisplay* display) {
  const int screen = DefaultScreen(gdk_x11_display_get_xdisplay(display));
  return "_NET_SYSTEM_TRAY_S" + std::to_string(screen);
}

bool xTrayExists() {
  GdkDisplay* display = xDisplay();
  if (display == nullptr) {
    return false;
  }
  Display* x = gdk_x11_display_get_xdisplay(display);
  return XGetSelectionOwner(x, XInternAtom(x, traySelection(display).c_str(), False)) != None;
}

bool serviceIsMissing(const GError* error) {
  return g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_NAME_HAS_NO_OWNER) == TRUE ||
         g_error_matches(error, G_DBUS_ERROR, G_DBUS_ERROR_SERVICE_UNKNOWN) == TRUE;
}

// Whether icons are shown, by the watcher's answer or the error of the failed call; frees both.
// The X tray counts only if there is no watcher: the library does not fall back to it if a watcher
// runs without a host.
bool takeShown(GVariant* answer, GError* error) {
  bool shown = false;
  if (answer != nullptr) {
    GVariant* value = nullptr;
    g_variant_get(answer, "(v)", &value);
    shown = g_variant_is_of_type(value, G_VARIANT_TYPE_BOOLEAN) == TRUE &&
            g_variant_get_boolean(value) == TRUE;
    g_variant_unref(value);
    g_variant_unref(answer);
  } else if (serviceIsMissing(error)) {
    shown = xTrayExists();
  }
  g_clear_error(&error);
  return shown;
}

// The answer to a call, or null and the error. If the call was cancelled, the caller is already
// destroyed: sets `cancelled` and leaves no error.
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
    // Without a session bus the library shows no icon, not even in the X tray.
    return false;
  }
  GError* error = nullptr;
  GVariant* answer = g_dbus_connection_call_sync(
      bus, kWatcher, kWatcherPath, kProperties, "Get", hostRegisteredArguments(),
      G_VARIANT_TYPE("(v)"), G_DBUS_CALL_FLAGS_NO_AUTO_START, kCallTimeout, nullptr, &error);
  g_object_unref(bus);
  return takeShown(answer, error);
}

IconAreaWatch::IconAreaWatch(std::function<void(IconArea)> report)
    : report_(std::move(report)), bus_(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr)) {
  if (bus_ == nullptr) {
    return;
  }
  // Calls back once with the present owner, too.
  name_ = g_bus_watch_name_on_connection(bus_, kWatcher, G_BUS_NAME_WATCHER_FLAGS_NONE, onOwner,
                                         onName, this, nullptr);
  signals_ =
      g_dbus_connection_signal_subscribe(bus_, kWatcher, nullptr, nullptr, kWatcherPath, nullptr,
                                         G_DBUS_SIGNAL_FLAGS_NONE, onSignal, this, nullptr);
  if (GdkDisplay* display = xDisplay()) {
    // Why: GTK reports the owner of a selection only through a clipboard object, and makes one for
    // any selection, not just for those of copied text.
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

void IconAreaWatch::query() {
  if (bus_ != nullptr && !std::exchange(pending_, true)) {
    g_dbus_connection_call(bus_, kWatcher, kWatcherPath, kProperties, "Get",
                           hostRegisteredArguments(), G_VARIANT_TYPE("(v)"),
                           G_DBUS_CALL_FLAGS_NO_AUTO_START, kCallTimeout, cancel_, onAnswer, this);
  }
}

void IconAreaWatch::changed() {
  stale_ = pending_;
  query();
}

void IconAreaWatch::onAnswer(GObject* bus, GAsyncResult* result, gpointer self) {
  GError* error = nullptr;
  bool cancelled = false;
  GVariant* answer = finishedCall(bus, result, &error, cancelled);
  if (cancelled) {
    return;
  }
  auto* watch = static_cast<IconAreaWatch*>(self);
  if (takeShown(answer, error)) {
    watch->deliver(IconArea::kShown);
  } else {
    watch->queryScreenLock();
  }
}

void IconAreaWatch::queryScreenLock() {
  g_dbus_connection_call(bus_, kScreenLock, kScreenLockPath, kScreenLock, "GetActive", nullptr,
                         G_VARIANT_TYPE("(b)"), G_DBUS_CALL_FLAGS_NO_AUTO_START, kCallTimeout,
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
  static_cast<IconAreaWatch*>(self)->deliver(locked == TRUE ? IconArea::kHeldBack
                                                            : IconArea::kGone);
}

// If something changed after the query was sent, its answer may be stale: query again first.
void IconAreaWatch::deliver(IconArea area) {
  pending_ = false;
  if (std::exchange(stale_, false)) {
    query();
    return;
  }
  // A copy, because the listener may destroy this object.
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
