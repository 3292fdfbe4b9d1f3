// SPDX-License-Identifier: MIT
// Dates and numbers in the form of the user's locale, without touching the program's global locale:
// the C library's other text functions, and other threads, keep the "C" locale.
#include "platform/posix/posix_clock.h"

#include <iconv.h>
#include <langinfo.h>
#include <locale.h>
#include <time.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <string_view>
#include <thread>

#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

constexpr std::string_view kReplacement = "?";
// Far more than the longest date and time of any locale.
constexpr std::size_t kTextSpace = 512;

// Keeps ASCII and replaces the rest by "?": for encodings that the system cannot convert.
std::string asciiOnly(std::string_view text) {
  std::string result;
  for (const char c : text) {
    if (static_cast<unsigned char>(c) < 0x80) {
      result += c;
    } else {
      result += kReplacement;
    }
  }
  return result;
}

// `category`: LC_TIME_MASK or its like.
// LC_CTYPE always with it, because it names the encoding of the texts.
locale_t userLocale(int category) {
  const int categories = category | LC_CTYPE_MASK;
  const locale_t users = ::newlocale(categories, "", nullptr);
  // The environment may name a locale that is not installed.
  return users ? users : ::newlocale(categories, "C", nullptr);
}

struct UserLocale {
  explicit UserLocale(int category) : handle(userLocale(category)) {}
  ~UserLocale() {
    if (handle) {
      ::freelocale(handle);
    }
  }
  UserLocale(const UserLocale&) = delete;
  UserLocale& operator=(const UserLocale&) = delete;

  locale_t handle;
};

}  // namespace

std::string utf8FromEncoding(std::string_view text, const char* encoding) {
  // The usual case, for which no converter need be made.
  if (std::string_view(encoding) == "UTF-8" && isAscii(text)) {
    return std::string(text);
  }
  const iconv_t converter = ::iconv_open("UTF-8", encoding);
  if (converter == reinterpret_cast<iconv_t>(-1)) {
    return asciiOnly(text);
  }
  std::string bytes(text);
  char* from = bytes.data();
  std::size_t left = bytes.size();
  std::string result;
  while (left > 0) {
    std::array<char, kTextSpace> part{};
    char* to = part.data();
    std::size_t space = part.size();
    const std::size_t converted = ::iconv(converter, &from, &left, &to, &space);
    const int code = errno;
    result.append(part.data(), part.size() - space);
    // The buffer is full, or everything is converted. Any other error is a byte that the encoding
    // does not have.
    if (converted != static_cast<std::size_t>(-1) || code == E2BIG) {
      continue;
    }
    result += kReplacement;
    ++from;
    --left;
  }
  ::iconv_close(converter);
  return result;
}

std::string userDecimalSeparator() {
  const UserLocale locale(LC_NUMERIC_MASK);
  if (!locale.handle) {
    return ".";
  }
  return utf8FromEncoding(::nl_langinfo_l(RADIXCHAR, locale.handle),
                          ::nl_langinfo_l(CODESET, locale.handle));
}

struct PosixClock::Locale : UserLocale {
  using UserLocale::UserLocale;
};

PosixClock::PosixClock() : locale_(std::make_unique<Locale>(LC_TIME_MASK)) {}
PosixClock::~PosixClock() = default;

DateTime PosixClock::now() const {
  return std::chrono::time_point_cast<std::chrono::microseconds>(std::chrono::system_clock::now());
}

// A traveller's zone may have changed. Without the variable that is a look at a file, for which
// once a second is often enough: a check asks for the text of a time thousands of times.
void PosixClock::followZone() const {
  constexpr std::int64_t kNever = -1;
  const auto time = std::chrono::steady_clock::now().time_since_epoch();
  const std::int64_t second =
      ::getenv("TZ") != nullptr ? kNever : std::chrono::floor<std::chrono::seconds>(time).count();
  if (zoneSecond_.exchange(second) != second || second == kNever) {
    ::tzset();
  }
}

std::string PosixClock::toText(DateTime moment) const {
  const auto seconds = std::chrono::floor<std::chrono::seconds>(moment).time_since_epoch().count();
  const std::time_t time = static_cast<std::time_t>(seconds);
  std::tm parts{};
  followZone();
  if (!::localtime_r(&time, &parts)) {
    return {};
  }
  std::array<char, kTextSpace> text{};
  const char* const format = "%x %X";
  const std::size_t size =
      locale_->handle ? ::strftime_l(text.data(), text.size(), format, &parts, locale_->handle)
                      : std::strftime(text.data(), text.size(), format, &parts);
  const char* const encoding =
      locale_->handle ? ::nl_langinfo_l(CODESET, locale_->handle) : "ASCII";
  return utf8FromEncoding({text.data(), size}, encoding);
}

void PosixSleeper::sleep(std::chrono::milliseconds duration) {
  // The standard library's sleep goes on after a signal until the time is over.
  std::this_thread::sleep_for(duration);
}

}  // namespace relaybird
