// SPDX-License-Identifier: MIT
// A minimal client of D-Bus for one call: it signs in by the user's number (EXTERNAL), says Hello,
// calls, and reads replies into memory for secrets. GLib writes the calls and reads error replies;
// neither has a secret in it.
#include "platform/freedesktop/secret_call.h"

#include <gio/gunixsocketaddress.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>

namespace relaybird {

namespace {

// For each wait. Services ask a server, or the user, before they answer.
constexpr unsigned kTimeLimit = 60;  // seconds
// Byte order, type, flags, version, size of the body, serial number, size of the header's fields.
constexpr std::size_t kFixedHeader = 16;
// D-Bus allows messages of 128 MiB. A token has a few thousand bytes.
constexpr std::size_t kMostBytes = 1 << 20;

constexpr char kMethodReturn = 2;
constexpr char kErrorReply = 3;

std::size_t aligned(std::size_t size, std::size_t to) {
  return (size + to - 1) / to * to;
}

void complain(BusError& error, const char* words) {
  if (!error) {
    g_set_error_literal(error.place(), G_IO_ERROR, G_IO_ERROR_FAILED, words);
  }
}

// A connection to the session bus of its own. The one that GLib shares within a program reads every
// message into memory that nobody overwrites.
class BusStream {
 public:
  BusStream(GCancellable* cancellable, BusError& error)
      : cancellable_(cancellable), error_(error) {}

  bool open() {
    const std::unique_ptr<char, Release<g_free>> address(
        g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SESSION, cancellable_, error_.place()));
    if (!address) {
      return false;
    }
    stream_.reset(
        g_dbus_address_get_stream_sync(address.get(), nullptr, cancellable_, error_.place()));
    if (!stream_) {
      return false;
    }
    if (G_IS_SOCKET_CONNECTION(stream_.get())) {
      g_socket_set_timeout(g_socket_connection_get_socket(G_SOCKET_CONNECTION(stream_.get())),
                           kTimeLimit);
    }
    return signIn();
  }

  bool write(const char* bytes, std::size_t size) {
    return g_output_stream_write_all(g_io_stream_get_output_stream(stream_.get()), bytes, size,
                                     nullptr, cancellable_, error_.place()) != FALSE;
  }

  bool send(GDBusMessage* message, unsigned serial) {
    g_dbus_message_set_serial(message, serial);
    gsize size = 0;
    const std::unique_ptr<guchar, Release<g_free>> blob(
        g_dbus_message_to_blob(message, &size, G_DBUS_CAPABILITY_FLAGS_NONE, error_.place()));
    return blob && write(reinterpret_cast<const char*>(blob.get()), size);
  }

  // The next message that is a reply; empty after a failure. Signals come in between: the bus
  // itself sends one after Hello.
  Secret readReply() {
    for (;;) {
      Secret message = readMessage();
      const auto bytes = message.bytes();
      if (bytes.empty() || bytes[1] == kMethodReturn || bytes[1] == kErrorReply) {
        return message;
      }
    }
  }

 private:
  bool signIn() {
    std::string user;
    for (const char digit : std::to_string(::getuid())) {
      constexpr char kHex[] = "0123456789abcdef";
      user += kHex[static_cast<unsigned char>(digit) >> 4U];
      user += kHex[static_cast<unsigned char>(digit) & 15U];
    }
    // D-Bus wants a zero byte first, and the user's number as the hexadecimal codes of its digits.
    const std::string hello = std::string(1, '\0') + "AUTH EXTERNAL " + user + "\r\n";
    if (!write(hello.data(), hello.size())) {
      return false;
    }
    // Byte by byte: what follows the line belongs to the next message.
    std::string line;
    while (!line.ends_with("\r\n") && line.size() < 1000) {
      char c = 0;
      if (!read(&c, 1)) {
        return false;
      }
      line += c;
    }
    if (!line.starts_with("OK ")) {
      complain(error_, "the session bus does not let this user in");
      return false;
    }
    return write("BEGIN\r\n", 7);
  }

  bool read(char* to, std::size_t size) {
    gsize count = 0;
    if (g_input_stream_read_all(g_io_stream_get_input_stream(stream_.get()), to, size, &count,
                                cancellable_, error_.place()) == FALSE) {
      return false;
    }
    if (count < size) {
      complain(error_, "the session bus has closed the connection");
    }
    return count == size;
  }

  Secret readMessage() {
    char header[kFixedHeader];
    if (!read(header, sizeof header)) {
      return {};
    }
    // A message is in the byte order of its sender, and both are on this computer.
    constexpr char kOwnOrder = std::endian::native == std::endian::little ? 'l' : 'B';
    std::uint32_t body = 0;
    std::uint32_t fields = 0;
    std::memcpy(&body, header + 4, sizeof body);
    std::memcpy(&fields, header + 12, sizeof fields);
    if (header[0] != kOwnOrder || body > kMostBytes || fields > kMostBytes) {
      complain(error_, "the session bus sent a message that cannot be read");
      return {};
    }
    // The fields are filled up to a multiple of 8, so that the body begins at one.
    Secret message = Secret::ofSize(kFixedHeader + aligned(fields, 8) + body);
    const auto bytes = message.writable();
    std::ranges::copy(header, bytes.data());
    return read(bytes.data() + kFixedHeader, bytes.size() - kFixedHeader) ? std::move(message)
                                                                          : Secret();
  }

  GCancellable* cancellable_;
  BusError& error_;
  GObjectOwner<GIOStream> stream_;
};

// Puts the error of an error reply into `error`.
void readError(const Secret& reply, BusError& error) {
  std::string copy(reply.bytes());  // no secret: the call has failed
  const GObjectOwner<GDBusMessage> message(
      g_dbus_message_new_from_blob(reinterpret_cast<guchar*>(copy.data()), copy.size(),
                                   G_DBUS_CAPABILITY_FLAGS_NONE, error.place()));
  if (message) {
    (void)g_dbus_message_to_gerror(message.get(), error.place());
  }
  complain(error, "the call has failed");
}

// The string and the integer at the beginning of the body. Read by hand, because a GDBusMessage
// would hold copies of the secret. Nothing is believed of the sizes in the message.
SecretReply readBody(const Secret& message, BusError& error) {
  const std::string_view bytes = message.bytes();
  std::uint32_t fields = 0;
  std::memcpy(&fields, bytes.data() + 12, sizeof fields);
  const std::string_view body = bytes.substr(kFixedHeader + aligned(fields, 8));
  std::uint32_t size = 0;
  constexpr std::size_t kLength = sizeof size;
  if (body.size() > kLength) {
    std::memcpy(&size, body.data(), kLength);
  }
  if (body.size() <= kLength || size >= body.size() - kLength || body[kLength + size] != '\0') {
    complain(error, "the answer is not of the expected kind");
    return {};
  }
  SecretReply reply{Secret(body.substr(kLength, size))};
  std::int32_t number = 0;
  // The body begins at a multiple of 8, so alignment can be counted from there.
  const std::size_t at = aligned(kLength + size + 1, sizeof number);
  if (at + sizeof number <= body.size()) {
    std::memcpy(&number, body.data() + at, sizeof number);
    reply.number = number;
  }
  return reply;
}

}  // namespace

SecretReply callForSecret(const char* destination, const std::string& path, const char* interface,
                          const char* method, const char* argument, GCancellable* cancellable,
                          BusError& error) {
  const GObjectOwner<GDBusMessage> hello(g_dbus_message_new_method_call(
      "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "Hello"));
  const GObjectOwner<GDBusMessage> call(
      g_dbus_message_new_method_call(destination, path.c_str(), interface, method));
  if (argument != nullptr) {
    g_dbus_message_set_body(call.get(), g_variant_new("(s)", argument));
  }
  // The bus answers no call before Hello, which gives the connection its name.
  BusStream bus(cancellable, error);
  Secret reply;
  if (bus.open() && bus.send(hello.get(), 1)) {
    reply = bus.readReply();
  }
  if (!reply.empty() && reply.bytes()[1] == kMethodReturn) {
    reply = bus.send(call.get(), 2) ? bus.readReply() : Secret();
  }
  if (reply.empty()) {
    return {};
  }
  if (reply.bytes()[1] == kErrorReply) {
    readError(reply, error);
    return {};
  }
  return readBody(reply, error);
}

}  // namespace relaybird
