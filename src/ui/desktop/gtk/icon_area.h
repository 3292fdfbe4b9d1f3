// SPDX-License-Identifier: MIT
// Whether the desktop shows notification-area icons. They are shown by a host registered with the
// StatusNotifierWatcher of the session bus, or, if there is no watcher, by the tray of the X
// screen. Everything here runs on the user-interface thread.
#pragma once

#include <gio/gio.h>
#include <gtk/gtk.h>

#include <functional>

#include "ui/forms/mod_systray.h"

namespace relaybird::desktop {

/// Whether icons are shown now. Blocks for up to one second if the watcher does not answer, and
/// then returns false.
bool iconsAreShown();

/// Reports the state of the icon area: once at the start, at every sign of a change, and after each
/// query(). While the screen is locked, GNOME unloads the extension that shows icons; the state is
/// then IconArea::kHeldBack.
class IconAreaWatch {
 public:
  /// `report` is called from the main loop. It may destroy this object.
  explicit IconAreaWatch(std::function<void(IconArea)> report);
  ~IconAreaWatch();
  IconAreaWatch(const IconAreaWatch&) = delete;
  IconAreaWatch& operator=(const IconAreaWatch&) = delete;

  /// Queries the state and reports it later. Does nothing if a query is already pending.
  void query();

 private:
  void changed();
  void queryScreenLock();
  void deliver(IconArea area);

  static void onAnswer(GObject* bus, GAsyncResult* result, gpointer self);
  static void onLockAnswer(GObject* bus, GAsyncResult* result, gpointer self);
  static void onName(GDBusConnection*, const gchar*, gpointer self);
  static void onOwner(GDBusConnection*, const gchar*, const gchar*, gpointer self);
  static void onSignal(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*,
                       GVariant*, gpointer self);
  static void onTray(GtkClipboard*, GdkEvent*, gpointer self);

  std::function<void(IconArea)> report_;
  GCancellable* cancel_ = g_cancellable_new();
  GDBusConnection* bus_;  ///< null without a session bus; no icon can be shown then
  guint name_ = 0;
  guint signals_ = 0;
  GtkClipboard* tray_ = nullptr;  ///< owned by GTK; null if not on X
  gulong trayChanges_ = 0;
  bool pending_ = false;  ///< a query is waiting for its answer
  bool stale_ = false;    ///< the state changed after the query was sent
};

}  // namespace relaybird::desktop
