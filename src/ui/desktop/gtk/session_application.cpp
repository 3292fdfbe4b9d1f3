// SPDX-License-Identifier: MIT
// The program's D-Bus name, its actions and its notifications, by GtkApplication.
//
// The program that owns the bus name is the one to raise when the user starts a second one. All
// waiting calls have short timeouts, and the owner of the name is looked up at the bus before it
// is called: GApplication itself would wait half a minute for a running program that hangs.
#include "ui/desktop/native/session_application.h"

#include <gtk/gtk.h>

#include <string>
#include <utility>
#include <vector>

#include "ui/desktop/services/guarded.h"

namespace relaybird::desktop {
namespace {

constexpr const char* kBus = "org.freedesktop.DBus";
constexpr const char* kShowAction = "show";
constexpr int kCallTimeout = 3000;  // milliseconds

// Why GtkApplication and not GApplication: it passes the startup notification id from the second
// process to the first, without which the window manager may refuse to raise the window.
GtkApplication* makeApplication(GApplicationFlags flags) {
  return gtk_application_new(kApplicationId, flags);
}

void onActivate(GApplication*, gpointer listener) {
  guarded([&] { static_cast<SessionApplication::Listener*>(listener)->raise(); });
}

void onShow(GSimpleAction*, GVariant*, gpointer listener) {
  onActivate(nullptr, listener);
}

void onAction(GSimpleAction* action, GVariant*, gpointer listener) {
  const std::string name = g_action_get_name(G_ACTION(action));
  guarded([&] { static_cast<SessionApplication::Listener*>(listener)->act(name); });
}

// The id of the process that owns the name; 0 if no process does. The bus daemon answers this, so
// it works even if that process hangs.
long ownerOfName(GDBusConnection* bus) {
  GVariant* answer = g_dbus_connection_call_sync(
      bus, kBus, "/org/freedesktop/DBus", kBus, "GetConnectionUnixProcessID",
      g_variant_new("(s)", kApplicationId), G_VARIANT_TYPE("(u)"), G_DBUS_CALL_FLAGS_NONE,
      kCallTimeout, nullptr, nullptr);
  guint32 process = 0;
  if (answer != nullptr) {
    g_variant_get(answer, "(u)", &process);
    g_variant_unref(answer);
  }
  return static_cast<long>(process);
}

// Whether the running program answers. Its main loop has to handle this call, so a program that
// hangs does not answer.
bool answers(GDBusConnection* bus) {
  GVariant* answer = g_dbus_connection_call_sync(
      bus, kApplicationId, "/org/relaybird/Relaybird", "org.gtk.Actions", "List", nullptr, nullptr,
      G_DBUS_CALL_FLAGS_NO_AUTO_START, kCallTimeout, nullptr, nullptr);
  if (answer != nullptr) {
    g_variant_unref(answer);
  }
  return answer != nullptr;
}

// Activates the program that owns the name. Returns whether there was one.
bool activate() {
  GtkApplication* application = makeApplication(G_APPLICATION_IS_LAUNCHER);
  auto* base = G_APPLICATION(application);
  const bool found = g_application_register(base, nullptr, nullptr) == TRUE &&
                     g_application_get_is_remote(base) == TRUE;
  if (found) {
    g_application_run(base, 0, nullptr);
  }
  g_object_unref(application);
  return found;
}

// Tries to take the name and returns whether this process owns it now. Why the owner is looked up
// first: registering would wait half a minute for an owner that hangs.
bool takeName(GApplication* application) {
  GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
  const bool held = bus != nullptr && ownerOfName(bus) == 0 &&
                    g_application_register(application, nullptr, nullptr) == TRUE &&
                    g_application_get_is_remote(application) == FALSE;
  g_clear_object(&bus);
  return held;
}

// Why: the library releases the name only with the last reference to the application object.
void releaseName(GDBusConnection* bus) {
  if (bus != nullptr) {
    g_dbus_connection_call(bus, kBus, "/org/freedesktop/DBus", kBus, "ReleaseName",
                           g_variant_new("(s)", kApplicationId), nullptr, G_DBUS_CALL_FLAGS_NONE,
                           kCallTimeout, nullptr, nullptr, nullptr);
    g_dbus_connection_flush_sync(bus, nullptr, nullptr);
  }
}

// The connection that the whole program shares, or null. Why: by default GLib ends the process when
// the session bus closes. The end of a session is announced separately (session_end.cpp), so a lost
// bus must not end the program.
GDBusConnection* busWithoutExit() {
  GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
  if (bus != nullptr) {
    g_dbus_connection_set_exit_on_close(bus, FALSE);
  }
  return bus;
}

}  // namespace

void takeApplicationName() {
  g_set_prgname(kApplicationId);
}

Raised raiseRunningProgram(long process) {
  GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr);
  if (bus == nullptr) {
    return Raised::kNobody;
  }
  Raised raised = Raised::kNobody;
  if (process != 0 && ownerOfName(bus) == process) {
    raised = answers(bus) && activate() ? Raised::kDone : Raised::kBusy;
  }
  g_object_unref(bus);
  return raised;
}

struct SessionApplication::Name {
  // Held because the shared connection is freed with its last user; the next one would be created
  // with "exit on close" set again.
  GDBusConnection* bus = busWithoutExit();
  GtkApplication* application = makeApplication(G_APPLICATION_DEFAULT_FLAGS);
  GSimpleAction* show = g_simple_action_new(kShowAction, nullptr);
  std::vector<GSimpleAction*> actions;  // of the desktop entry
  // False if another instance of this user, with another mailbox, owns the name.
  bool held = false;

  Name() = default;
  ~Name() {
    for (GSimpleAction* action : actions) {
      g_object_unref(action);
    }
    g_object_unref(show);
    g_object_unref(application);
    g_clear_object(&bus);
  }
  Name(const Name&) = delete;
  Name& operator=(const Name&) = delete;
};

SessionApplication::SessionApplication(Listener listener, const std::vector<std::string>& actions)
    : listener_(std::move(listener)), name_(std::make_unique<Name>()) {
  auto* base = G_APPLICATION(name_->application);
  g_signal_connect(base, "activate", G_CALLBACK(onActivate), &listener_);
  g_signal_connect(name_->show, "activate", G_CALLBACK(onShow), &listener_);
  g_action_map_add_action(G_ACTION_MAP(base), G_ACTION(name_->show));
  for (const std::string& name : actions) {
    GSimpleAction* action = g_simple_action_new(name.c_str(), nullptr);
    g_signal_connect(action, "activate", G_CALLBACK(onAction), &listener_);
    g_action_map_add_action(G_ACTION_MAP(base), G_ACTION(action));
    name_->actions.push_back(action);
  }
  name_->held = takeName(base);
}

SessionApplication::~SessionApplication() {
  giveUp();
}

void SessionApplication::giveUp() {
  g_signal_handlers_disconnect_by_data(name_->application, &listener_);
  g_signal_handlers_disconnect_by_data(name_->show, &listener_);
  for (GSimpleAction* action : name_->actions) {
    g_signal_handlers_disconnect_by_data(action, &listener_);
  }
  while (!shown_.empty()) {
    withdraw(std::string(*shown_.begin()));
  }
  if (std::exchange(name_->held, false)) {
    releaseName(g_application_get_dbus_connection(G_APPLICATION(name_->application)));
  }
}

bool SessionApplication::wanted() {
  return name_->held && !listener_.looksOn();
}

void SessionApplication::show(const Notification& notification) {
  GNotification* message = g_notification_new(notification.title.c_str());
  g_notification_set_body(message, notification.text.c_str());
  // Why: without a default action some desktops do nothing when the notification is clicked.
  g_notification_set_default_action(message, "app.show");
  g_notification_set_priority(message, G_NOTIFICATION_PRIORITY_HIGH);
  GIcon* icon = g_themed_icon_new(kApplicationId);
  g_notification_set_icon(message, icon);
  g_application_send_notification(G_APPLICATION(name_->application), notification.cause.c_str(),
                                  message);
  shown_.insert(notification.cause);
  g_object_unref(icon);
  g_object_unref(message);
}

void SessionApplication::withdraw(const std::string& cause) {
  shown_.erase(cause);
  if (name_->held) {
    g_application_withdraw_notification(G_APPLICATION(name_->application), cause.c_str());
  }
}

}  // namespace relaybird::desktop
