// SPDX-License-Identifier: MIT
#include "stores/account/reconnect_pauses.h"

#include <utility>

namespace relaybird {
namespace {

// After a failed try, requests fail at once with its failure for so long.
constexpr std::chrono::seconds kTryAgainAfter{5};

}  // namespace

ReconnectPauses::ReconnectPauses(RandomBytes random) : random_(std::move(random)) {}

bool ReconnectPauses::failed(Time now, bool stable) {
  failedAt_ = now;
  failures_ = stable ? 1 : failures_ + 1;
  return failures_ == 1;
}

void ReconnectPauses::begin(bool again, bool wanted) {
  ifWanted_ = again ? failedAt_ : failedAt_ + kTryAgainAfter;
  if (failures_ == 1 && wanted) {
    byItself_ = failedAt_;
    return;
  }
  Time length = kFirstPause;
  for (int i = 1; i < failures_ && length < kLongestPause; ++i) {
    length *= 2;
  }
  length = std::min<Time>(length, kLongestPause);
  const auto bytes = random_(1);
  const int chance = bytes && !bytes->empty() ? static_cast<unsigned char>(bytes->front()) : 128;
  byItself_ = failedAt_ + length * 3 / 4 + length * chance / 512;
}

void ReconnectPauses::userAsks() {
  failures_ = 0;
  byItself_ = ifWanted_ = failedAt_ + Time(kUsersPause);
}

}  // namespace relaybird
