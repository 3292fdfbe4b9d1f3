// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace relaybird {

/// A password or an access token. Its bytes are overwritten when the object ends or gets another
/// value. There is no conversion to text and no output operator, so that it cannot get into a log
/// by accident.
class Secret {
 public:
  Secret() = default;
  explicit Secret(std::string_view bytes);
  ~Secret();
  Secret(const Secret& other);
  Secret& operator=(const Secret& other);
  Secret(Secret&& other) noexcept;
  Secret& operator=(Secret&& other) noexcept;

  bool empty() const { return size_ == 0; }
  /// Valid until the object ends or changes. Callers must not keep copies.
  std::string_view bytes() const { return {bytes_.get(), size_}; }

 private:
  void wipe();

  std::unique_ptr<char[]> bytes_;
  std::size_t size_ = 0;
};

}  // namespace relaybird
