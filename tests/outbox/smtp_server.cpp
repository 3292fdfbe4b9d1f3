// SPDX-License-Identifier: MIT
// Answers by RFC 5321, or with the fault that the test wants at a step. What no client may do is
// noted as a violation: a line end that is not CR LF, a command that does not wait for the answer
// before it where PIPELINING is not offered, an unknown command.
#include "outbox/smtp_server.h"

#include <algorithm>

#include "platform/text/ascii_text.h"

namespace relaybird {

namespace {

class SmtpScript : public ServerScript {
 public:
  SmtpScript(SmtpServer& server, std::size_t connection)
      : server_(server), connection_(connection) {}

  void heard(ServerEnd& end, std::string_view bytes) override {
    in_ += bytes;
    std::size_t commands = 0;
    for (std::size_t at = in_.find("\r\n"); at != in_.npos && !over_; at = in_.find("\r\n")) {
      std::string line = in_.substr(0, at);
      in_.erase(0, at + 2);
      if (line.find('\n') != line.npos || line.find('\r') != line.npos) {
        server_.violations.push_back("a line end without CR LF: " + line);
      }
      if (inText_) {
        takeLine(end, line);
        continue;
      }
      if (++commands > 1 && !server_.pipelining) {
        server_.violations.push_back("did not wait before: " + line);
      }
      command(end, line);
    }
  }

 private:
  void takeLine(ServerEnd& end, const std::string& line) {
    if (line != ".") {
      message_.text += line.substr(line.starts_with('.') ? 1 : 0) + "\r\n";
      return;
    }
    inText_ = false;
    const bool wanted = !message_.recipients.empty();
    const auto fault = faultAt("END", {});
    if (wanted && (!fault || fault->reply.starts_with('2') ||
                   (fault->reply.empty() && server_.takesBeforeItFails))) {
      server_.taken.push_back(message_);
      ++taken_;
    }
    message_ = {};
    answer(end, fault, wanted ? "250 2.0.0 taken" : "554 5.5.1 no valid recipients");
  }

  void command(ServerEnd& end, const std::string& line) {
    server_.commands.push_back(line);
    const std::string verb = asciiUpper(line.substr(0, line.find(' ')));
    const std::string argument = line.substr(std::min(line.size(), verb.size() + 1));
    if (verb == "MAIL") {
      sender_ = between(argument);
    }
    const auto fault = faultAt(verb, argument);
    const bool refused = fault && !fault->reply.starts_with('2') && !fault->reply.starts_with('3');
    if (verb == "EHLO" || verb == "HELO") {
      answer(end, fault, verb == "EHLO" ? hello() : "250 server");
    } else if (verb == "MAIL") {
      if (!message_.sender.empty()) {
        return answer(end, fault, "503 5.5.1 nested MAIL");
      }
      message_.sender = refused ? "" : sender_;
      answer(end, fault, "250 2.1.0 fine");
    } else if (verb == "RCPT") {
      if (message_.sender.empty()) {
        return answer(end, fault, "503 5.5.1 MAIL first");
      }
      if (!refused) {
        message_.recipients.push_back(between(argument));
      }
      answer(end, fault, "250 2.1.5 fine");
    } else if (verb == "DATA") {
      if (message_.recipients.empty() && (!fault || !fault->reply.starts_with('3'))) {
        return answer(end, fault, "503 5.5.1 RCPT first");
      }
      inText_ = !refused;
      message_.connection = connection_;
      answer(end, fault, "354 go on");
    } else if (verb == "RSET") {
      message_ = {};
      answer(end, fault, "250 2.0.0 reset");
    } else if (verb == "QUIT") {
      answer(end, fault, "221 2.0.0 bye");
      if (!over_) {
        over_ = true;
        end.close();
      }
    } else {
      server_.violations.push_back("unknown command: " + line);
      answer(end, fault, "500 5.5.2 what?");
    }
  }

  std::string hello() const {
    std::string text = "250-server\r\n";
    for (const std::string& capability : server_.capabilities) {
      text += "250-" + capability + "\r\n";
    }
    return text + (server_.pipelining ? "250 PIPELINING" : "250 HELP");
  }

  std::optional<SmtpFault> faultAt(const std::string& verb, const std::string& argument) const {
    if (!server_.fault) {
      return std::nullopt;
    }
    return server_.fault({verb, argument, sender_, connection_, taken_, !in_.empty()});
  }

  void answer(ServerEnd& end, const std::optional<SmtpFault>& fault, const std::string& usual) {
    if (!fault) {
      end.say(usual + "\r\n");
    } else if (fault->hang) {
      over_ = true;
      end.hang();
    } else if (fault->drop || fault->cut) {
      over_ = true;
      end.fail(
          {.cause = fault->cut ? ConnectFailure::Cause::kTls : ConnectFailure::Cause::kNotReached,
           .step = ConnectStep::kReady,
           .words = fault->cut ? "The encryption failed" : "The connection was lost",
           .answer = {}});
    } else {
      end.say(fault->reply + "\r\n");
      if (fault->reply.starts_with("421")) {
        over_ = true;
        end.close();
      }
    }
  }

  static std::string between(const std::string& argument) {
    const std::size_t begin = argument.find('<') + 1;
    return argument.substr(begin, argument.rfind('>') - begin);
  }

  SmtpServer& server_;
  std::size_t connection_;
  std::size_t taken_ = 0;
  std::string in_;
  std::string sender_;
  TakenMessage message_;
  bool inText_ = false;
  bool over_ = false;
};

}  // namespace

namespace {

class WatchedConnection : public Connection {
 public:
  WatchedConnection(std::unique_ptr<Connection> real, BorrowedNetwork::OnSend onSend)
      : real_(std::move(real)), onSend_(std::move(onSend)) {}
  State state() const override { return real_->state(); }
  ConnectStep step() const override { return real_->step(); }
  const std::optional<ConnectFailure>& failure() const override { return real_->failure(); }
  std::size_t send(std::string_view bytes) override {
    if (onSend_) {
      onSend_(bytes);
    }
    return real_->send(bytes);
  }
  std::size_t receive(std::string& to, std::size_t most) override {
    return real_->receive(to, most);
  }
  void wantToSend(bool want) override { real_->wantToSend(want); }
  void wantToReceive(bool want) override { real_->wantToReceive(want); }

 private:
  std::unique_ptr<Connection> real_;
  BorrowedNetwork::OnSend onSend_;
};

}  // namespace

std::unique_ptr<Connection> BorrowedNetwork::connect(const MailServer& server,
                                                     const std::optional<SignIn>& signIn,
                                                     std::chrono::milliseconds limit,
                                                     std::function<void(ProtocolLine)> trace) {
  return std::make_unique<WatchedConnection>(
      network_.connect(server, signIn, limit, std::move(trace)), onSend_);
}

std::size_t SmtpServer::count(const std::string& sender) const {
  return static_cast<std::size_t>(
      std::count_if(taken.begin(), taken.end(),
                    [&](const TakenMessage& message) { return message.sender == sender; }));
}

std::unique_ptr<ServerScript> SmtpServer::script(std::size_t connection) {
  return std::make_unique<SmtpScript>(*this, connection);
}

}  // namespace relaybird
