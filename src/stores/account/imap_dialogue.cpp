// SPDX-License-Identifier: MIT
// Commands leave in order. Two things hold them back: a literal that the server has to ask for, and
// IDLE, which lasts until DONE. DONE is sent only after the server has agreed to IDLE, because some
// servers take an earlier one for a command.
#include "stores/account/imap_dialogue.h"

#include <algorithm>
#include <utility>

namespace relaybird {
namespace {

// How much of a line is written to the log.
constexpr std::size_t kTracedBytes = 300;

std::string tracedLine(std::string_view line) {
  std::string result(line.substr(0, std::min(line.find_first_of("\r\n"), kTracedBytes)));
  if (result.size() == kTracedBytes) {
    result += "...";
  }
  return result;
}

}  // namespace

ImapDialogue::ImapDialogue(std::function<void(ImapResponse)> onData,
                           std::function<void(ProtocolLine)> trace, ImapLimits limits)
    : onData_(std::move(onData)), trace_(std::move(trace)), reader_(limits) {}

void ImapDialogue::send(const ImapCommand& command, Done done) {
  endIdle();
  queue(command.pieces(), std::move(done), false);
}

void ImapDialogue::idle(Done done) {
  endIdle();
  queue({"IDLE"}, std::move(done), true);
}

void ImapDialogue::endIdle() {
  if (idle_ == Idle::kAsked) {
    endIdleWhenOn_ = true;
  } else if (idle_ == Idle::kOn) {
    idle_ = Idle::kEnding;
    put("DONE\r\n");
    flush();
  }
}

void ImapDialogue::queue(std::vector<std::string> pieces, Done done, bool isIdle) {
  Queued next{'r' + std::to_string(++lastTag_), {}, std::move(done), isIdle};
  next.pieces.assign(std::make_move_iterator(pieces.begin()),
                     std::make_move_iterator(pieces.end()));
  next.pieces.front().insert(0, next.tag + ' ');
  next.pieces.back() += "\r\n";
  queued_.push_back(std::move(next));
  flush();
}

void ImapDialogue::flush() {
  while (!queued_.empty() && !holding_ && (idle_ == Idle::kOff || idle_ == Idle::kEnding)) {
    Queued& next = queued_.front();
    put(next.pieces.front());
    next.pieces.pop_front();
    if (!next.pieces.empty()) {
      holding_ = true;
      return;
    }
    if (next.isIdle) {
      idle_ = Idle::kAsked;
    }
    sent_.push_back({std::move(next.tag), std::move(next.done), next.isIdle});
    queued_.pop_front();
  }
}

void ImapDialogue::put(const std::string& bytes) {
  output_ += bytes;
  if (trace_) {
    trace_({true, tracedLine(bytes)});
  }
}

void ImapDialogue::received(std::string_view bytes) {
  reader_.feed(bytes);
  while (auto lines = reader_.next()) {
    take(std::move(*lines));
  }
}

void ImapDialogue::take(ImapLines lines) {
  if (trace_) {
    trace_({false, tracedLine(lines.text)});
  }
  ImapResponse response = parseImapResponse(std::move(lines));
  if (std::holds_alternative<ImapContinuation>(response)) {
    onContinuation();
    return;
  }
  const auto* condition = std::get_if<ImapCondition>(&response);
  if (condition != nullptr && condition->tag != "*") {
    onReply(*condition);
    return;
  }
  if (condition != nullptr && condition->status == ImapStatus::kBye) {
    bye_ = condition->words;
  }
  onData_(std::move(response));
}

void ImapDialogue::onContinuation() {
  if (holding_) {
    Queued& next = queued_.front();
    output_ += next.pieces.front();
    next.pieces.pop_front();
    if (next.pieces.empty()) {
      holding_ = false;
      sent_.push_back({std::move(next.tag), std::move(next.done), false});
      queued_.pop_front();
      flush();
    }
  } else if (idle_ == Idle::kAsked) {
    idle_ = Idle::kOn;
    if (std::exchange(endIdleWhenOn_, false)) {
      endIdle();
    }
  }
}

void ImapDialogue::onReply(const ImapCondition& reply) {
  ++replies_;
  // A server may refuse a command before it has got all of it.
  if (holding_ && queued_.front().tag == reply.tag) {
    const Done done = std::move(queued_.front().done);
    queued_.pop_front();
    holding_ = false;
    flush();
    done(reply);
    return;
  }
  const auto found = std::find_if(sent_.begin(), sent_.end(),
                                  [&](const Sent& each) { return each.tag == reply.tag; });
  if (found == sent_.end()) {
    return;
  }
  const Sent ended = std::move(*found);
  sent_.erase(found);
  if (ended.isIdle &&
      !std::any_of(sent_.begin(), sent_.end(), [](const Sent& each) { return each.isIdle; })) {
    idleCut_ = idle_ != Idle::kEnding;
    idle_ = Idle::kOff;
    endIdleWhenOn_ = false;
    flush();
  }
  // Last, because it may send the next command.
  ended.done(reply);
}

}  // namespace relaybird
