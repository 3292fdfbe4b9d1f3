// SPDX-License-Identifier: MIT
#include "platform/freedesktop/session_bus.h"

#include <algorithm>

namespace relaybird {

bool BusError::isMissingService() const {
  if (error_ == nullptr) {
    return false;
  }
  // The service is not installed, could not be started, or has gone with its bus.
  if (error_->domain == G_DBUS_ERROR) {
    constexpr int kMissing[] = {G_DBUS_ERROR_SERVICE_UNKNOWN,
                                G_DBUS_ERROR_NAME_HAS_NO_OWNER,
                                G_DBUS_ERROR_SPAWN_EXEC_FAILED,
                                G_DBUS_ERROR_SPAWN_CHILD_EXITED,
                                G_DBUS_ERROR_SPAWN_CHILD_SIGNALED,
                                G_DBUS_ERROR_SPAWN_FAILED,
                                G_DBUS_ERROR_SPAWN_SERVICE_NOT_FOUND,
                                G_DBUS_ERROR_DISCONNECTED,
                                G_DBUS_ERROR_NO_SERVER};
    return std::ranges::find(kMissing, error_->code) != std::end(kMissing);
  }
  return is(G_IO_ERROR, G_IO_ERROR_CLOSED);
}

std::string BusError::remoteName() const {
  if (error_ == nullptr || g_dbus_error_is_remote_error(error_) == FALSE) {
    return {};
  }
  const std::unique_ptr<char, Release<g_free>> name(g_dbus_error_get_remote_error(error_));
  return name ? name.get() : "";
}

std::string BusError::words() const {
  if (error_ == nullptr) {
    return "no reason was given";
  }
  const std::unique_ptr<GError, Release<g_error_free>> copy(g_error_copy(error_));
  (void)g_dbus_error_strip_remote_error(copy.get());
  std::string text = copy->message;
  std::ranges::replace_if(
      text, [](char c) { return static_cast<unsigned char>(c) < ' '; }, ' ');
  return text;
}

GObjectOwner<GDBusConnection> sessionBus(GCancellable* cancellable, BusError& error) {
  GObjectOwner<GDBusConnection> bus(g_bus_get_sync(G_BUS_TYPE_SESSION, cancellable, error.place()));
  if (bus) {
    g_dbus_connection_set_exit_on_close(bus.get(), FALSE);
  }
  return bus;
}

}  // namespace relaybird
