// SPDX-License-Identifier: MIT
// An SMTP server that takes every message at once and forgets it. The sink of the tests
// (tests/support/servers/smtp_sink.py) can do more, but is slower than the clients that are to be
// compared, so that all of them would look alike.
//
//   fast_sink [lockstep]        without PIPELINING
//
// Prints its port. Then it answers each line of standard input with one of its own, and ends with
// the input: "counts" with how many messages came and when the last one did, in seconds on the
// monotonic clock; "close" and "open", which say whether connections are served or ended at once,
// with "ok".
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <iostream>
#include <list>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr std::size_t kPiece = 262144;

struct Counts {
  int messages = 0;
  double last = 0;
};

double now() {
  const auto time = std::chrono::steady_clock::now().time_since_epoch();
  return std::chrono::duration<double>(time).count();
}

class Client {
 public:
  Client(int socket, bool lockstep) : socket_(socket), lockstep_(lockstep) {
    const int on = 1;
    ::setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    say("220 sink.example ESMTP\r\n");
  }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;
  ~Client() { ::close(socket_); }

  int socket() const { return socket_; }

  // False: the connection has ended.
  bool serve(Counts& counts) {
    const std::size_t before = read_.size();
    read_.resize(before + kPiece);
    const ssize_t got = ::recv(socket_, read_.data() + before, kPiece, 0);
    if (got <= 0) {
      return false;
    }
    read_.resize(before + static_cast<std::size_t>(got));
    std::string answers;
    std::size_t at = 0;
    while (inText_ ? takeText(at, counts, answers) : takeLine(at, answers)) {
    }
    read_.erase(0, at);
    say(answers);
    return !over_;
  }

 private:
  // Keeps of an unfinished text only what may be the beginning of its end.
  bool takeText(std::size_t& at, Counts& counts, std::string& answers) {
    constexpr std::string_view kEnd = "\r\n.\r\n";
    const std::size_t end = read_.find(kEnd, at);
    if (end == std::string::npos) {
      at = std::max(at, read_.size() - std::min(read_.size(), kEnd.size() - 1));
      return false;
    }
    at = end + kEnd.size();
    inText_ = false;
    ++counts.messages;
    counts.last = now();
    answers += "250 2.0.0 Taken\r\n";
    return true;
  }
  bool takeLine(std::size_t& at, std::string& answers) {
    const std::size_t end = read_.find('\n', at);
    if (end == std::string::npos) {
      return false;
    }
    const std::string_view line = std::string_view(read_).substr(at, end - at);
    at = end + 1;
    std::string verb(line.substr(0, 4));
    for (char& c : verb) {
      c = static_cast<char>(c & ~('a' - 'A'));
    }
    if (verb == "EHLO") {
      answers += lockstep_ ? "" : "250-PIPELINING\r\n";
      answers += "250-SIZE 60000000\r\n250-ENHANCEDSTATUSCODES\r\n250 8BITMIME\r\n";
      answers.insert(0, "250-sink.example\r\n");
    } else if (verb == "DATA") {
      answers += "354 Go on\r\n";
      inText_ = true;
    } else if (verb == "QUIT") {
      answers += "221 2.0.0 Bye\r\n";
      over_ = true;
    } else {
      answers += "250 2.0.0 OK\r\n";
    }
    return true;
  }
  void say(std::string_view bytes) {
    if (!bytes.empty()) {
      (void)::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    }
  }

  int socket_;
  bool lockstep_;
  std::string read_;
  bool inText_ = false;
  bool over_ = false;
};

int listenOnFreePort() {
  const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in at{};
  at.sin_family = AF_INET;
  at.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof at;
  if (::bind(socket, reinterpret_cast<sockaddr*>(&at), size) != 0 || ::listen(socket, 16) != 0 ||
      ::getsockname(socket, reinterpret_cast<sockaddr*>(&at), &size) != 0) {
    std::perror("fast_sink");
    return -1;
  }
  std::cout << ntohs(at.sin_port) << std::endl;
  return socket;
}

// False at the end of the input.
bool obey(const Counts& counts, bool& open) {
  std::string line;
  if (!std::getline(std::cin, line)) {
    return false;
  }
  if (line == "counts") {
    std::printf("%d %.6f\n", counts.messages, counts.last);
  } else {
    open = line == "open";
    std::printf("ok\n");
  }
  std::fflush(stdout);
  return true;
}

void serve(int listener, bool lockstep) {
  std::list<Client> clients;
  Counts counts;
  bool open = true;
  while (true) {
    std::vector<pollfd> files = {{STDIN_FILENO, POLLIN, 0}, {listener, POLLIN, 0}};
    for (const Client& client : clients) {
      files.push_back({client.socket(), POLLIN, 0});
    }
    ::poll(files.data(), files.size(), -1);
    std::size_t number = 2;
    clients.remove_if(
        [&](Client& client) { return files[number++].revents != 0 && !client.serve(counts); });
    if (files[1].revents != 0) {
      const int socket = ::accept(listener, nullptr, nullptr);
      if (open) {
        clients.emplace_back(socket, lockstep);
      } else {
        ::close(socket);
      }
    }
    if (files[0].revents != 0 && !obey(counts, open)) {
      return;
    }
  }
}

}  // namespace

int main(int count, char** words) {
  std::setvbuf(stdin, nullptr, _IONBF, 0);
  const int listener = listenOnFreePort();
  if (listener < 0) {
    return 1;
  }
  serve(listener, count > 1 && std::string_view(words[1]) == "lockstep");
  return 0;
}
