// SPDX-License-Identifier: MIT
#include "message/writing/forward_output.h"

namespace relaybird {
namespace {

constexpr std::size_t kBlock = 65536;

}  // namespace

void ForwardOutput::add(std::string_view bytes) {
  if (!bytes.empty()) {
    atLineStart_ = bytes.back() == '\n';
  }
  pending_ += bytes;
  if (pending_.size() >= kBlock) {
    if (result_) {
      result_ = file_.write(pending_);
    }
    pending_.clear();
  }
}

void ForwardOutput::addWithPlainLineEnds(std::string_view block) {
  std::size_t copied = 0;
  for (std::size_t i = 0; i < block.size(); ++i) {
    if (carriageReturn_ && block[i] != '\n') {
      add("\r");
    }
    carriageReturn_ = block[i] == '\r';
    if (carriageReturn_) {
      add(block.substr(copied, i - copied));
      copied = i + 1;
    }
  }
  add(block.substr(copied));
}

void ForwardOutput::endPlainLineEnds() {
  if (carriageReturn_) {
    add("\r");
    carriageReturn_ = false;
  }
}

void ForwardOutput::endLine() {
  if (!atLineStart_) {
    add("\n");
  }
}

void ForwardOutput::fail(const Error& error) {
  if (result_) {
    result_ = error;
  }
}

Result<void> ForwardOutput::finish() {
  if (result_ && !pending_.empty()) {
    result_ = file_.write(pending_);
  }
  pending_.clear();
  return result_;
}

}  // namespace relaybird
