// SPDX-License-Identifier: MIT
#include "ui/desktop/gtk/session_application.h"

#include <gtk/gtk.h>

#include <utility>

#include "ui/desktop/desk/guarded.h"

namespace relaybird::desktop {
namespace {

/// The toolkit's own class hands the desktop's permission to come to the front from the second
/// start to the first.
GtkApplication* makeApplication(GApplicationFlags flags) {
  return gtk_application_new(kApplicationId, flags);
}

void onActivate(GApplication*, gpointer listener) {
  guarded([&] { static_cast<SessionApplication::Listener*>(listener)->raise(); });
}

}  // namespace

void takeApplicationName() {
  g_set_prgname(kApplicationId);
}

bool raiseRunningProgram() {
  GtkApplication* application = makeApplication(G_APPLICATION_IS_LAUNCHER);
  auto* base = G_APPLICATION(application);
  const bool found = g_application_register(base, nullptr, nullptr) == TRUE &&
                     g_application_get_is_remote(base) == TRUE;
  if (found) {
    // Where the name is somebody else's this hands the activation over and returns.
    g_application_run(base, 0, nullptr);
  }
  g_object_unref(application);
  return found;
}

struct SessionApplication::Name {
  GtkApplication* application = makeApplication(G_APPLICATION_DEFAULT_FLAGS);
  /// Another program of this user, with a mailbox of its own, may have the name.
  bool held = false;

  Name() = default;
  ~Name() { g_object_unref(application); }
  Name(const Name&) = delete;
  Name& operator=(const Name&) = delete;
};

SessionApplication::SessionApplication(Listener listener)
    : listener_(std::move(listener)), name_(std::make_unique<Name>()) {
  auto* base = G_APPLICATION(name_->application);
  g_signal_connect(base, "activate", G_CALLBACK(onActivate), &listener_);
  name_->held = g_application_register(base, nullptr, nullptr) == TRUE &&
                g_application_get_is_remote(base) == FALSE;
}

/// The libraries may hold the name a little longer.
SessionApplication::~SessionApplication() {
  g_signal_handlers_disconnect_by_data(name_->application, &listener_);
}

bool SessionApplication::wanted() {
  return name_->held && !listener_.looksOn();
}

void SessionApplication::show(const Notification& notification) {
  GNotification* message = g_notification_new(notification.title.c_str());
  g_notification_set_body(message, notification.text.c_str());
  g_notification_set_priority(message, G_NOTIFICATION_PRIORITY_HIGH);
  GIcon* icon = g_themed_icon_new(kApplicationId);
  g_notification_set_icon(message, icon);
  g_application_send_notification(G_APPLICATION(name_->application), notification.cause.c_str(),
                                  message);
  g_object_unref(icon);
  g_object_unref(message);
}

void SessionApplication::withdraw(const std::string& cause) {
  if (name_->held) {
    g_application_withdraw_notification(G_APPLICATION(name_->application), cause.c_str());
  }
}

}  // namespace relaybird::desktop
