// SPDX-License-Identifier: MIT
// What the keyring and the online accounts share: GLib's objects with an owner, cancelling, and
// what failures of the session bus mean.
#pragma once

#include <gio/gio.h>

#include <functional>
#include <memory>
#include <stop_token>
#include <string>

namespace relaybird {

template <auto release>
struct Release {
  template <class T>
  void operator()(T* object) const {
    release(object);
  }
};
template <class T>
using GObjectOwner = std::unique_ptr<T, Release<g_object_unref>>;
using VariantOwner = std::unique_ptr<GVariant, Release<g_variant_unref>>;

/// Where a call of GLib puts its error.
class BusError {
 public:
  ~BusError() { g_clear_error(&error_); }
  BusError() = default;
  BusError(const BusError&) = delete;
  BusError& operator=(const BusError&) = delete;

  GError** place() { return &error_; }
  explicit operator bool() const { return error_ != nullptr; }
  bool is(GQuark domain, int code) const { return g_error_matches(error_, domain, code) != FALSE; }
  bool isCancelled() const { return is(G_IO_ERROR, G_IO_ERROR_CANCELLED); }
  /// There is no session bus, or nobody on it has the name that was called.
  bool isMissingService() const;
  /// The name of an error that the called program gave, "org.example.Error.NotAuthorized"; empty
  /// for other errors.
  std::string remoteName() const;
  /// In one line, without the names that D-Bus puts in front.
  std::string words() const;

 private:
  GError* error_ = nullptr;
};

/// Cancels calls of GLib when a stop is requested.
class CancelOnStop {
 public:
  explicit CancelOnStop(std::stop_token stop)
      : cancellable_(g_cancellable_new()),
        onStop_(std::move(stop), [this] { g_cancellable_cancel(cancellable_.get()); }) {}
  GCancellable* get() const { return cancellable_.get(); }

 private:
  GObjectOwner<GCancellable> cancellable_;
  std::stop_callback<std::function<void()>> onStop_;
};

/// The process's connection to the session bus. The end of the bus does not end the process.
/// Null, and an error, where there is none, at once.
GObjectOwner<GDBusConnection> sessionBus(GCancellable* cancellable, BusError& error);

}  // namespace relaybird
