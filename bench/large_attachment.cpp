// SPDX-License-Identifier: MIT
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "large_attachment.h"
#include "maildir_world.h"

namespace relaybird::bench {
namespace {

constexpr std::size_t kAttachmentBytes = 100'000'000;
constexpr long kLimitMegabytes = 32;

// Base64 lines of 76 characters stand for 57 bytes each.
void writeLargeMessage(const std::string& path) {
  std::ofstream out(path, std::ios::binary);
  out << "From: Bob Example <bob@example.com>\nTo: ann@example.org\nSubject: Film\nMIME-Version: "
         "1.0\n"
         "Content-Type: multipart/mixed; boundary=b\n\n--b\nContent-Type: text/plain\n\nHere it "
         "is.\n"
         "--b\nContent-Type: video/mp4; name=film.mp4\nContent-Disposition: attachment; "
         "filename=film.mp4\nContent-Transfer-Encoding: base64\n\n";
  const std::string line = std::string(76, 'Q') + "\n";
  for (std::size_t bytes = 0; bytes < kAttachmentBytes; bytes += 57) {
    out << line;
  }
  out << "--b--\n";
}

// In the child process: forwards and delivers the message in the inbox. 0 on success.
int forwardIt(MaildirBench& maildir, const DiscardingTransport& transport) {
  maildir.world.timePass();
  return transport.taken == 1 && maildir.waiting() == 0 ? 0 : 1;
}

}  // namespace

LargeAttachment forwardLargeAttachment() {
  DiscardingTransport transport;
  MaildirBench maildir(&transport);
  writeLargeMessage(maildir.inbox() + "/new/1795000000.film.host");
  const pid_t child = fork();
  if (child == 0) {
    _exit(forwardIt(maildir, transport));
  }
  int status = 0;
  rusage usage{};
  if (child < 0 || wait4(child, &status, 0, &usage) != child || status != 0) {
    return {};
  }
  return {true, usage.ru_maxrss / 1000};
}

bool printLargeAttachment(const LargeAttachment& result) {
  if (!result.forwarded) {
    std::printf("a 100 MB attachment was NOT forwarded\n");
    return false;
  }
  const bool holds = result.peakMegabytes <= kLimitMegabytes;
  std::printf("%-62s %12ld %12s %7s %7ld%s\n",
              "peak memory of forwarding and delivering 100 MB, MB", result.peakMegabytes, "", "",
              kLimitMegabytes, holds ? "" : "  EXCEEDED");
  return holds;
}

}  // namespace relaybird::bench
