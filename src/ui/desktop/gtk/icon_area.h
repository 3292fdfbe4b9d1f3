// SPDX-License-Identifier: MIT
// Who shows icons: a host that has registered with the session's StatusNotifierWatcher, or where
// there is no watcher on the session's bus, the tray of an X screen. On the user-interface thread.
#pragma once

#include <gio/gio.h>
#include <gtk/gtk.h>

#include <functional>

namespace relaybird::desktop {

/// Whether icons are shown now. Waits a second at most for a watcher that does not answer, which
/// counts as one that shows none.
bool iconsAreShown();

/// Looks on from its making on, and tells once when nobody has shown icons for ten seconds: a panel
/// that crashes or is exchanged is back sooner, and takes in the icons that it finds. Of GNOME's
/// panel the part that shows icons is away for as long as the screen is locked, which does not
/// count.
class IconAreaWatch {
 public:
  /// `onLost` is called from the main loop, and may destroy this.
  explicit IconAreaWatch(std::function<void()> onLost);
  ~IconAreaWatch();
  IconAreaWatch(const IconAreaWatch&) = delete;
  IconAreaWatch& operator=(const IconAreaWatch&) = delete;

 private:
  void look();
  void seen(bool shown);
  void askWhetherLocked();
  void lookAgainIn(guint seconds);
  void tell();

  static void onAnswer(GObject* bus, GAsyncResult* result, gpointer self);
  static void onLockAnswer(GObject* bus, GAsyncResult* result, gpointer self);
  static void onName(GDBusConnection*, const gchar*, gpointer self);
  static void onOwner(GDBusConnection*, const gchar*, const gchar*, gpointer self);
  static void onSignal(GDBusConnection*, const gchar*, const gchar*, const gchar*, const gchar*,
                       GVariant*, gpointer self);
  static void onTray(GtkClipboard*, GdkEvent*, gpointer self);
  static gboolean onTimer(gpointer self);

  std::function<void()> onLost_;
  GCancellable* cancel_ = g_cancellable_new();
  GDBusConnection* bus_;  ///< null where there is none
  guint name_ = 0;
  guint signals_ = 0;
  GtkClipboard* tray_ = nullptr;  ///< the toolkit's; null off X
  gulong trayChanges_ = 0;
  guint timer_ = 0;
  bool asked_ = false;    ///< an answer is on its way
  gint64 goneSince_ = 0;  ///< monotonic, in microseconds; 0 while icons are shown
};

}  // namespace relaybird::desktop
