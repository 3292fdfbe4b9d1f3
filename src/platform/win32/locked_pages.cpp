// SPDX-License-Identifier: MIT
#include "platform/win32/locked_pages.h"

#include <windows.h>

#include <new>

namespace relaybird {

char* LockedPages::take(std::size_t size) {
  void* const pages = ::VirtualAlloc(nullptr, size, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
  if (pages == nullptr) {
    throw std::bad_alloc();
  }
  // A refusal is no reason to do without the password: overwriting it early is what counts.
  (void)::VirtualLock(pages, size);
  return static_cast<char*>(pages);
}

void LockedPages::giveBack(char* bytes, std::size_t) {
  (void)::VirtualFree(bytes, 0, MEM_RELEASE);
}

}  // namespace relaybird
