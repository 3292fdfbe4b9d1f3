// SPDX-License-Identifier: MIT
#pragma once

#include <windows.h>

#include <unknwn.h>

#include <utility>

namespace relaybird::outlook {

/// One counted reference to a COM object, or none.
template <class T>
class ComPtr {
 public:
  ComPtr() = default;
  /// Adds a reference; the caller keeps its own.
  explicit ComPtr(T* object) : object_(object) {
    if (object_ != nullptr) {
      object_->AddRef();
    }
  }
  ComPtr(const ComPtr& other) : ComPtr(other.object_) {}
  ComPtr(ComPtr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
  ComPtr& operator=(ComPtr other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }
  ~ComPtr() {
    if (object_ != nullptr) {
      object_->Release();
    }
  }

  T* get() const { return object_; }
  T* operator->() const { return object_; }
  explicit operator bool() const { return object_ != nullptr; }

  /// Where a call puts a reference that the caller owns. Drops the former one.
  T** out() {
    *this = ComPtr();
    return &object_;
  }

  /// The object's interface of that identifier; none where it has no such interface.
  template <class U>
  ComPtr<U> as(REFIID identifier) const {
    ComPtr<U> other;
    if (object_ != nullptr) {
      void* found = nullptr;
      if (SUCCEEDED(object_->QueryInterface(identifier, &found))) {
        *other.out() = static_cast<U*>(found);
      }
    }
    return other;
  }

 private:
  T* object_ = nullptr;
};

}  // namespace relaybird::outlook
