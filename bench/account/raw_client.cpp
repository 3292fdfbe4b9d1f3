// SPDX-License-Identifier: MIT
// The least that forwarding needs, to compare the program with: fetches the unread messages that a
// sender rule accepts from an IMAP server in pipelined commands, writes each forward to disk with
// the one sync that keeps it safe, sends it by SMTP with one round trip a message, and marks the
// sources read in one command. It checks nothing, survives nothing, and trusts every server; plain
// text alone.
//
//   raw_client forward IMAP_PORT SMTP_PORT USER PASSWORD SENDER FOLDER
//   raw_client send SMTP_PORT FOLDER      sends the files of a folder, without a mailbox
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

class Line {
 public:
  explicit Line(int port) : socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(static_cast<std::uint16_t>(port));
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int on = 1;
    ::setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    if (::connect(socket_, reinterpret_cast<sockaddr*>(&to), sizeof to) != 0) {
      throw std::runtime_error("no connection to port " + std::to_string(port));
    }
  }
  ~Line() { ::close(socket_); }
  Line(const Line&) = delete;
  Line& operator=(const Line&) = delete;

  void say(std::string_view bytes) {
    while (!bytes.empty()) {
      const ssize_t sent = ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
      if (sent <= 0) {
        throw std::runtime_error("the server has hung up");
      }
      bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
  }
  std::string line() {
    std::size_t end;
    while ((end = read_.find('\n', at_)) == std::string::npos) {
      more();
    }
    std::string text = read_.substr(at_, end - at_);
    at_ = end + 1;
    return text;
  }
  std::string bytes(std::size_t count) {
    while (read_.size() - at_ < count) {
      more();
    }
    std::string text = read_.substr(at_, count);
    at_ += count;
    return text;
  }

 private:
  void more() {
    read_.erase(0, at_);
    at_ = 0;
    const std::size_t size = read_.size();
    read_.resize(size + 262144);
    const ssize_t got = ::recv(socket_, read_.data() + size, read_.size() - size, 0);
    if (got <= 0) {
      throw std::runtime_error("the server has hung up");
    }
    read_.resize(size + static_cast<std::size_t>(got));
  }

  int socket_;
  std::string read_;
  std::size_t at_ = 0;
};

void write(int file, std::string_view bytes) {
  if (::write(file, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
    throw std::runtime_error("the disk does not take it");
  }
}

// Keeps a message as an outbox does: in a journal, or a large one as a file, with a line in the
// journal and its name in the folder.
class SafeFolder {
 public:
  explicit SafeFolder(const std::string& path) : path_(path) {
    std::filesystem::create_directories(path + "/new");
    journal_ = ::open((path + "/journal").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    folder_ = ::open((path + "/new").c_str(), O_RDONLY | O_DIRECTORY);
  }
  void keep(std::string_view message) {
    file_ = message.size() > kLargestInJournal;
    if (!file_) {
      write(journal_, message);
      ::fsync(journal_);
      return;
    }
    const std::string name = std::to_string(++count_);
    const int file = ::open((path_ + "/" + name).c_str(), O_WRONLY | O_CREAT, 0600);
    write(file, message);
    ::fsync(file);
    ::close(file);
    write(journal_, name + "\n");
    ::fsync(journal_);
    ::rename((path_ + "/" + name).c_str(), (path_ + "/new/" + name).c_str());
    ::fsync(folder_);
  }
  void remove() const {
    if (file_) {
      ::unlink((path_ + "/new/" + std::to_string(count_)).c_str());
    }
  }

 private:
  static constexpr std::size_t kLargestInJournal = 65536;

  std::string path_;
  int journal_ = -1;
  int folder_ = -1;
  int count_ = 0;
  bool file_ = false;  // the last message is in one
};

// One connection, and one round trip a message: the end of a text goes out with the next envelope.
class Sender {
 public:
  explicit Sender(int port) : line_(port) {
    expect('2');
    line_.say("EHLO raw.example\r\n");
    expect('2');
  }
  void send(std::string_view message) {
    line_.say(open_ ? std::string(".\r\n") + kMail + kRcpt + kData
                    : std::string(kMail) + kRcpt + kData);
    for (int answers = open_ ? 3 : 2; answers > 0; --answers) {
      expect('2');
    }
    expect('3');
    line_.say(stuffed(message));
    open_ = true;
  }
  void end() {
    if (open_) {
      line_.say(".\r\n");
      expect('2');
      open_ = false;
    }
  }

 private:
  static constexpr const char* kMail = "MAIL FROM:<me@here.example>\r\n";
  static constexpr const char* kRcpt = "RCPT TO:<cell@phone.example>\r\n";
  static constexpr const char* kData = "DATA\r\n";

  void expect(char kind) {
    std::string answer;
    do {
      answer = line_.line();
    } while (answer.size() > 3 && answer[3] == '-');
    if (answer.empty() || answer[0] != kind) {
      throw std::runtime_error("the server says " + answer);
    }
  }
  static std::string stuffed(std::string_view message) {
    std::string text = message.substr(0, 1) == "." ? "." : "";
    for (std::size_t at = 0, dot; at < message.size(); at = dot) {
      dot = message.find("\n.", at);
      dot = dot == std::string_view::npos ? message.size() : dot + 1;
      text += message.substr(at, dot - at);
      if (dot < message.size()) {
        text += '.';
      }
    }
    return text;
  }

  Line line_;
  bool open_ = false;
};

// Reads responses up to the one with that tag, and gives each line, with the literal it ends in.
template <typename Take>
void readUntil(Line& imap, const std::string& tag, Take take) {
  for (;;) {
    std::string line = imap.line();
    if (line.rfind(tag + " ", 0) == 0) {
      if (line.find(" OK") == std::string::npos) {
        throw std::runtime_error("the server says " + line);
      }
      return;
    }
    std::string literal;
    if (line.size() > 2 && line[line.size() - 2] == '}') {
      literal = imap.bytes(std::stoul(line.substr(line.rfind('{') + 1)));
      imap.line();
    }
    take(line, literal);
  }
}

std::string numberAfter(const std::string& line, const std::string& word) {
  const std::size_t at = line.find(word) + word.size();
  return line.substr(at, line.find_first_not_of("0123456789", at) - at);
}

std::string joined(const std::vector<std::string>& uids) {
  std::string set;
  for (const std::string& uid : uids) {
    set += (set.empty() ? "" : ",") + uid;
  }
  return set;
}

void forward(int imapPort, int smtpPort, const std::string& user, const std::string& password,
             const std::string& sender, const std::string& folder) {
  Line imap(imapPort);
  imap.line();
  imap.say("a LOGIN " + user + " " + password + "\r\nb SELECT INBOX\r\nc UID SEARCH UNSEEN\r\n");
  std::vector<std::string> unseen;
  readUntil(imap, "c", [&](const std::string& line, const std::string&) {
    if (line.rfind("* SEARCH", 0) == 0) {
      std::size_t at = 8;
      while ((at = line.find_first_of("0123456789", at)) != std::string::npos) {
        const std::size_t end = std::min(line.find_first_not_of("0123456789", at), line.size());
        unseen.push_back(line.substr(at, end - at));
        at = end;
      }
    }
  });
  imap.say("d UID FETCH " + joined(unseen) +
           " (UID INTERNALDATE RFC822.SIZE BODYSTRUCTURE BODY.PEEK[HEADER.FIELDS (FROM SUBJECT "
           "DATE)])\r\n");
  std::vector<std::string> wanted;
  readUntil(imap, "d", [&](const std::string& line, const std::string& literal) {
    if (literal.find(sender) != std::string::npos) {
      wanted.push_back(numberAfter(line, "UID "));
    }
  });
  imap.say("e UID FETCH " + joined(wanted) + " BODY.PEEK[]\r\nf UID STORE " + joined(wanted) +
           " +FLAGS.SILENT (\\Seen)\r\n");
  Sender smtp(smtpPort);
  SafeFolder outbox(folder);
  readUntil(imap, "e", [&](const std::string&, const std::string& literal) {
    if (!literal.empty()) {
      outbox.keep(literal);
      smtp.send(literal);
      outbox.remove();
    }
  });
  smtp.end();
  readUntil(imap, "f", [](const std::string&, const std::string&) {});
}

void sendFiles(int port, const std::string& folder) {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  Sender smtp(port);
  for (const auto& file : files) {
    std::ifstream in(file, std::ios::binary);
    smtp.send(std::string{std::istreambuf_iterator<char>(in), {}});
  }
  smtp.end();
}

}  // namespace

int main(int count, char** words) {
  try {
    const std::vector<std::string> given(words + 1, words + count);
    if (given.size() == 7 && given[0] == "forward") {
      forward(std::stoi(given[1]), std::stoi(given[2]), given[3], given[4], given[5], given[6]);
    } else if (given.size() == 3 && given[0] == "send") {
      sendFiles(std::stoi(given[1]), given[2]);
    } else {
      throw std::runtime_error("usage: forward ... | send ...");
    }
  } catch (const std::exception& error) {
    std::cerr << "raw_client: " << error.what() << "\n";
    return 1;
  }
  return 0;
}
