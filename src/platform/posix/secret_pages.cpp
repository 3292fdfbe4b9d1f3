// SPDX-License-Identifier: MIT
#include "platform/posix/secret_pages.h"

#include <sys/mman.h>

#include <new>

namespace relaybird {

char* SecretPages::take(std::size_t size) {
  void* const pages =
      ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (pages == MAP_FAILED) {
    throw std::bad_alloc();
  }
  // Neither refusal is a reason to do without the password: both are a second line of defence
  // behind overwriting it early.
  (void)::madvise(pages, size, MADV_DONTDUMP);
  (void)::mlock(pages, size);
  return static_cast<char*>(pages);
}

void SecretPages::giveBack(char* bytes, std::size_t size) {
  (void)::munmap(bytes, size);
}

}  // namespace relaybird
