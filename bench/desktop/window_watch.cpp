// SPDX-License-Identifier: MIT
// Watches another program's window through the X server: waits for its events with a deadline,
// reads its properties, and looks at its pixels. A window may vanish at any time, so errors of the
// server are ignored and count as "not there".
#include "window_watch.h"

#include <X11/Xatom.h>
#include <X11/Xutil.h>
#include <poll.h>

#include <algorithm>
#include <stdexcept>

namespace relaybird::bench {
namespace {

constexpr std::chrono::milliseconds kLook{1};
// One in so many lines of pixels is examined.
constexpr int kEachLine = 8;

// The default handler would end the program when a window vanishes.
int ignoreError(Display*, XErrorEvent*) {
  return 0;
}

}  // namespace

WindowWatch::WindowWatch() : display_(XOpenDisplay(nullptr)) {
  if (display_ == nullptr) {
    throw std::runtime_error("there is no display");
  }
  XSetErrorHandler(ignoreError);
  root_ = DefaultRootWindow(display_);
  XSelectInput(display_, root_, SubstructureNotifyMask | PropertyChangeMask);
}

WindowWatch::~WindowWatch() {
  XCloseDisplay(display_);
}

void WindowWatch::waitForEvent(Deadline deadline) {
  XFlush(display_);
  pollfd connection{ConnectionNumber(display_), POLLIN, 0};
  const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
      deadline - std::chrono::steady_clock::now());
  if (XPending(display_) == 0) {
    ::poll(&connection, 1, static_cast<int>(std::clamp<long>(left.count(), 0, 1000)));
  }
}

unsigned long WindowWatch::number(Window window, const char* property, Atom type) {
  Atom actual = None;
  int format = 0;
  unsigned long count = 0;
  unsigned long rest = 0;
  unsigned char* data = nullptr;
  unsigned long value = 0;
  if (XGetWindowProperty(display_, window, atom(property), 0, 1, False, type, &actual, &format,
                         &count, &rest, &data) == Success &&
      data != nullptr && count == 1 && format == 32) {
    value = *reinterpret_cast<unsigned long*>(data);
  }
  if (data != nullptr) {
    XFree(data);
  }
  return value;
}

bool WindowWatch::ofProcess(Window window, long process) {
  XWindowAttributes attributes;
  return number(window, "_NET_WM_PID", XA_CARDINAL) == static_cast<unsigned long>(process) &&
         XGetWindowAttributes(display_, window, &attributes) != 0 &&
         attributes.map_state == IsViewable;
}

std::optional<Window> WindowWatch::shown(long process, Deadline deadline) {
  while (std::chrono::steady_clock::now() < deadline) {
    Atom actual = None;
    int format = 0;
    unsigned long count = 0;
    unsigned long rest = 0;
    unsigned char* data = nullptr;
    XGetWindowProperty(display_, root_, atom("_NET_CLIENT_LIST"), 0, 1024, False, XA_WINDOW,
                       &actual, &format, &count, &rest, &data);
    const auto* windows = reinterpret_cast<Window*>(data);
    const auto* end = windows + count;
    const auto* found =
        std::find_if(windows, end, [&](Window window) { return ofProcess(window, process); });
    const std::optional<Window> answer =
        found != end ? std::optional<Window>(*found) : std::nullopt;
    if (data != nullptr) {
      XFree(data);
    }
    if (answer) {
      return answer;
    }
    waitForEvent(deadline);
    for (XEvent event; XPending(display_) > 0;) {
      XNextEvent(display_, &event);
    }
  }
  return std::nullopt;
}

bool WindowWatch::hasSeveralColours(Window window) {
  XWindowAttributes attributes;
  if (XGetWindowAttributes(display_, window, &attributes) == 0) {
    return false;
  }
  XImage* image = XGetImage(display_, window, 0, 0, static_cast<unsigned>(attributes.width),
                            static_cast<unsigned>(attributes.height), AllPlanes, ZPixmap);
  if (image == nullptr) {
    return false;
  }
  bool several = false;
  const unsigned long first = XGetPixel(image, 0, 0);
  for (int y = 0; y < image->height && !several; y += kEachLine) {
    for (int x = 0; x < image->width && !several; ++x) {
      several = XGetPixel(image, x, y) != first;
    }
  }
  XDestroyImage(image);
  return several;
}

bool WindowWatch::painted(Window window, Deadline deadline) {
  while (std::chrono::steady_clock::now() < deadline) {
    if (hasSeveralColours(window)) {
      return true;
    }
    waitForEvent(std::min(deadline, std::chrono::steady_clock::now() + kLook));
  }
  return false;
}

bool WindowWatch::answered(Window window, Deadline deadline) {
  XEvent ask{};
  ask.xclient.type = ClientMessage;
  ask.xclient.window = window;
  ask.xclient.message_type = atom("WM_PROTOCOLS");
  ask.xclient.format = 32;
  ask.xclient.data.l[0] = static_cast<long>(atom("_NET_WM_PING"));
  ask.xclient.data.l[2] = static_cast<long>(window);
  XSendEvent(display_, window, False, NoEventMask, &ask);
  while (std::chrono::steady_clock::now() < deadline) {
    waitForEvent(deadline);
    for (XEvent event; XPending(display_) > 0;) {
      XNextEvent(display_, &event);
      if (event.type == ClientMessage && event.xclient.data.l[0] == ask.xclient.data.l[0] &&
          event.xclient.data.l[2] == ask.xclient.data.l[2]) {
        return true;
      }
    }
  }
  return false;
}

}  // namespace relaybird::bench
