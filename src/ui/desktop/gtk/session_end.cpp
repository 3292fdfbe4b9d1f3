// SPDX-License-Identifier: MIT
// The end of the session, as announced by the session manager over D-Bus, and the signals SIGTERM,
// SIGINT and SIGHUP.
//
// Registers as a client of the first session manager that answers. At log-out the manager first
// asks all clients (QueryEndSession, always agreed to), then tells them to end (EndSession) and
// waits for each one's EndSessionResponse. That response is sent by the destructor, so the session
// waits until the program has finished its work. All calls are asynchronous except for the flush of
// that last response.
#include "ui/desktop/native/session_end.h"

#include <gio/gio.h>
#include <glib-unix.h>

#include <array>
#include <csignal>
#include <string>
#include <string_view>
#include <utility>

#include "ui/desktop/native/session_application.h"
#include "ui/desktop/services/guarded.h"

namespace relaybird::desktop {
namespace {

// The D-Bus names of a session manager. MATE and Cinnamon implement GNOME's interface.
struct Manager {
  const char* name;
  const char* path;
  const char* interface;
  const char* clientInterface;
};

constexpr std::array<Manager, 2> kManagers{
    {{"org.gnome.SessionManager", "/org/gnome/SessionManager", "org.gnome.SessionManager",
      "org.gnome.SessionManager.ClientPrivate"},
     {"org.xfce.SessionManager", "/org/xfce/SessionManager", "org.xfce.Session.Manager",
      "org.xfce.Session.Client"}}};

constexpr std::array<int, 3> kSignals{SIGTERM, SIGINT, SIGHUP};

}  // namespace

class SessionEnd::Client {
 public:
  explicit Client(std::function<void()> onEnd) : onEnd_(std::move(onEnd)) {
    g_bus_get(G_BUS_TYPE_SESSION, cancel_, onBus, this);
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
      signals_.at(i) = g_unix_signal_add(kSignals.at(i), onUnixSignal, this);
    }
  }
  ~Client() {
    for (const guint signal : signals_) {
      g_source_remove(signal);
    }
    g_cancellable_cancel(cancel_);
    g_object_unref(cancel_);
    if (bus_ != nullptr) {
      if (subscription_ != 0) {
        g_dbus_connection_signal_unsubscribe(bus_, subscription_);
      }
      if (responseDue_) {
        agree();
        g_dbus_connection_flush_sync(bus_, nullptr, nullptr);
      }
      g_object_unref(bus_);
    }
  }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

 private:
  // Frees the error. Whether the call was cancelled, which means that the client object is already
  // destroyed and must not be touched.
  static bool cancelled(GError* error) {
    const bool is = error != nullptr && g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED);
    g_clear_error(&error);
    return is;
  }

  static void onBus(GObject*, GAsyncResult* result, gpointer self) {
    GError* error = nullptr;
    GDBusConnection* bus = g_bus_get_finish(result, &error);
    if (!cancelled(error) && bus != nullptr) {
      auto* client = static_cast<Client*>(self);
      client->bus_ = bus;
      client->registerWithNextManager();
    } else if (bus != nullptr) {
      g_object_unref(bus);
    }
  }

  // The start-up id stays empty. Why: GTK removes DESKTOP_AUTOSTART_ID from the environment before
  // main() runs, and the session manager needs the id only to restart programs in the next session.
  void registerWithNextManager() {
    if (nextManager_ == kManagers.size()) {
      return;
    }
    manager_ = &kManagers.at(nextManager_++);
    g_dbus_connection_call(bus_, manager_->name, manager_->path, manager_->interface,
                           "RegisterClient", g_variant_new("(ss)", kApplicationId, ""),
                           G_VARIANT_TYPE("(o)"), G_DBUS_CALL_FLAGS_NO_AUTO_START, -1, cancel_,
                           onRegistered, this);
  }

  static void onRegistered(GObject* bus, GAsyncResult* result, gpointer self) {
    GError* error = nullptr;
    GVariant* answer = g_dbus_connection_call_finish(G_DBUS_CONNECTION(bus), result, &error);
    if (cancelled(error)) {
      return;
    }
    auto* client = static_cast<Client*>(self);
    if (answer == nullptr) {
      client->registerWithNextManager();
      return;
    }
    const char* path = nullptr;
    g_variant_get(answer, "(&o)", &path);
    client->listen(path);
    g_variant_unref(answer);
  }

  void listen(const char* path) {
    path_ = path;
    subscription_ = g_dbus_connection_signal_subscribe(
        bus_, manager_->name, manager_->clientInterface, nullptr, path, nullptr,
        G_DBUS_SIGNAL_FLAGS_NONE, onSignal, this, nullptr);
  }

  static gboolean onUnixSignal(gpointer self) {
    guarded([&] { static_cast<Client*>(self)->onEnd_(); });
    // Stays: without the handler, a second signal would kill the program while it ends.
    return G_SOURCE_CONTINUE;
  }

  static void onSignal(GDBusConnection*, const gchar*, const gchar*, const gchar*,
                       const gchar* signal, GVariant*, gpointer self) {
    guarded([&] { static_cast<Client*>(self)->onManagerSignal(signal); });
  }

  void onManagerSignal(std::string_view signal) {
    if (signal == "QueryEndSession") {
      agree();
    } else if (signal == "EndSession" || signal == "Stop") {
      // "Stop" ends this client alone, and expects no response.
      responseDue_ = signal == "EndSession";
      onEnd_();
    }
  }

  void agree() {
    g_dbus_connection_call(bus_, manager_->name, path_.c_str(), manager_->clientInterface,
                           "EndSessionResponse", g_variant_new("(bs)", TRUE, ""), nullptr,
                           G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr, nullptr);
  }

  std::function<void()> onEnd_;
  GCancellable* cancel_ = g_cancellable_new();
  GDBusConnection* bus_ = nullptr;
  const Manager* manager_ = nullptr;
  std::size_t nextManager_ = 0;
  std::string path_;
  guint subscription_ = 0;
  std::array<guint, kSignals.size()> signals_{};
  bool responseDue_ = false;  // the session waits for the response
};

SessionEnd::SessionEnd(std::function<void()> onEnd)
    : client_(std::make_unique<Client>(std::move(onEnd))) {}

SessionEnd::~SessionEnd() = default;

}  // namespace relaybird::desktop
