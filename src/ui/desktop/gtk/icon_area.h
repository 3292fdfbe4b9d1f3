// SPDX-License-Identifier: MIT
// Who shows icons: a host that has registered with the session's StatusNotifierWatcher, or where
// there is no watcher on the session's bus, the tray of an X screen. On the user-interface thread.
#pragma once

#include <gio/gio.h>
#include <gtk/gtk.h>

#include <functional>

#include "ui/forms/mod_systray.h"

namespace relaybird::desktop {

/// Whether icons are shown now. Waits a second at most for a watcher that does not answer, which
/// counts as one that shows none.
bool iconsAreShown();

/// Reports what it sees: at first, at every sign that it has changed, and when asked. Of GNOME's
/// panel the part that shows icons is away for as long as the screen is locked: icons are then held
/// back.
class IconAreaWatch {
 public:
  /// `report` is called from the main loop, and may destroy this.
  explicit IconAreaWatch(std::function<void(IconArea)> report);
  ~IconAreaWatch();
  IconAreaWatch(const IconAreaWatch&) = delete;
  IconAreaWatch& operator=(const IconAreaWatch&) = delete;

  /// Reports a little later; nothing where a report is on its way.
  void look();

 private:
  void changed();
  void askWhetherLocked();
  void tell(IconArea area);

  static void onAnswer(GObject* bus, GAsyncResult* result, gpointer self);
  static void onLockAnswer(GObject* bus, GAsyncResult* result, gpointer self);
  static void onName(GDBusConnection*, const gchar*, gpointer self);
  static void onOwner(GDBusConnection*, const gchar*, const gchar*, gpointer self);
  static void onSignal(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*,
                       GVariant*, gpointer self);
  static void onTray(GtkClipboard*, GdkEvent*, gpointer self);

  std::function<void(IconArea)> report_;
  GCancellable* cancel_ = g_cancellable_new();
  GDBusConnection* bus_;  ///< null where there is none, and then no icon either
  guint name_ = 0;
  guint signals_ = 0;
  GtkClipboard* tray_ = nullptr;  ///< the toolkit's; null off X
  gulong trayChanges_ = 0;
  bool asked_ = false;  ///< an answer is on its way
  bool again_ = false;  ///< something has changed since it was asked for
};

}  // namespace relaybird::desktop
