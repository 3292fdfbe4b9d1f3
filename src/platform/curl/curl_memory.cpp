// SPDX-License-Identifier: MIT
// A connection keeps its password as long as it lives, because libcurl compares it when it looks
// for a connection to use again. It cannot be told to forget it, so the memory is guarded instead:
// every block comes from the memory of secrets, which is left out of core dumps, and is overwritten
// before it is given back. An access token may have some kilobytes, and it is encoded and put into
// a command, so large blocks are no exception.
//
// A secret has pages of its own, which is too much for each of some hundred blocks. So blocks are
// cut from large chunks, in a few sizes, and kept in one list per size. Chunks are never given
// back. The few blocks that are larger than these sizes are secrets of their own. A sanitizer knows
// nothing of blocks within a chunk, so under one all blocks come from malloc().
#include "platform/curl/curl_memory.h"

#include <curl/curl.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <new>
#include <span>
#include <utility>
#include <vector>

#include "platform/system/secret.h"

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define RELAYBIRD_PLAIN_MALLOC 1
#else
#define RELAYBIRD_PLAIN_MALLOC 0
#endif

namespace relaybird {
namespace {

// Before every block, at the alignment that malloc() promises.
struct alignas(std::max_align_t) Header {
  std::size_t size;      // without the header
  std::size_t sizeName;  // the list that it belongs to; kLarge: none, kPlain: malloc()
};

constexpr std::array<std::size_t, 11> kSizes{32,   64,   128,  256,   512,  1024,
                                             2048, 4096, 8192, 16384, 32768};
constexpr std::size_t kLarge = kSizes.size();
constexpr std::size_t kPlain = kLarge + 1;
constexpr std::size_t kChunk = std::size_t{256} * 1024;

class SmallBlocks {
 public:
  Header* take(std::size_t sizeName) {
    const std::lock_guard lock(mutex_);
    Free*& first = free_[sizeName];
    if (first == nullptr && !cutChunk(sizeName)) {
      return nullptr;
    }
    void* block = first;
    first = first->next;
    return new (block) Header{.size = 0, .sizeName = sizeName};
  }

  // The link to the next free block takes the header's place; a free block needs no size.
  void giveBack(Header* header) {
    const std::lock_guard lock(mutex_);
    Free*& first = free_[header->sizeName];
    first = new (header) Free{first};
  }

 private:
  struct Free {
    Free* next;
  };

  bool cutChunk(std::size_t sizeName) {
    const std::size_t step = sizeof(Header) + kSizes[sizeName];
    if (left_ < step) {
      // What is left of the former chunk, less than a block, stays unused.
      if (!addChunk()) {
        return false;
      }
    }
    free_[sizeName] = new (chunk_) Free{nullptr};
    chunk_ += step;
    left_ -= step;
    return true;
  }

  bool addChunk() {
    try {
      chunks_.push_back(Secret::ofSize(kChunk));
    } catch (const std::bad_alloc&) {
      return false;
    }
    chunk_ = chunks_.back().writable().data();
    left_ = kChunk;
    return true;
  }

  std::mutex mutex_;
  std::vector<Secret> chunks_;
  std::array<Free*, kSizes.size()> free_{};
  char* chunk_ = nullptr;
  std::size_t left_ = 0;
};

// Never destroyed: libcurl frees memory until the process ends.
SmallBlocks& smallBlocks() {
  static auto* const blocks = new SmallBlocks;
  return *blocks;
}

// A large block begins with the secret that owns it, then comes the header.
struct alignas(std::max_align_t) Owner {
  Secret pages;
};

Header* takeLarge(std::size_t size) {
  constexpr std::size_t kBefore = sizeof(Owner) + sizeof(Header);
  if (size > SIZE_MAX - kBefore) {
    return nullptr;
  }
  try {
    Secret pages = Secret::ofSize(kBefore + size);
    char* const begin = pages.writable().data();
    new (begin) Owner{std::move(pages)};
    return new (begin + sizeof(Owner)) Header{.size = 0, .sizeName = kLarge};
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

void giveBackLarge(Header* header) {
  auto* const owner = reinterpret_cast<Owner*>(reinterpret_cast<char*>(header) - sizeof(Owner));
  // Out of its own memory, which goes with it.
  const Secret pages = std::move(owner->pages);
  owner->~Owner();
}

Header* headerOf(void* memory) {
  return static_cast<Header*>(memory) - 1;
}

void* allocate(std::size_t size) {
  if (size > SIZE_MAX - sizeof(Header)) {
    return nullptr;
  }
  Header* header = nullptr;
  const auto fitting = std::lower_bound(kSizes.begin(), kSizes.end(), size);
  if (RELAYBIRD_PLAIN_MALLOC) {
    if (void* memory = std::malloc(sizeof(Header) + size); memory != nullptr) {
      header = new (memory) Header{.size = 0, .sizeName = kPlain};
    }
  } else if (fitting != kSizes.end()) {
    header = smallBlocks().take(static_cast<std::size_t>(fitting - kSizes.begin()));
  } else {
    header = takeLarge(size);
  }
  if (header == nullptr) {
    return nullptr;
  }
  header->size = size;
  return header + 1;
}

void release(void* memory) {
  if (memory == nullptr) {
    return;
  }
  Header* header = headerOf(memory);
  overwrite({static_cast<char*>(memory), header->size});
  if (header->sizeName == kPlain) {
    std::free(header);
  } else if (header->sizeName == kLarge) {
    giveBackLarge(header);
  } else {
    smallBlocks().giveBack(header);
  }
}

void* allocateZeroed(std::size_t count, std::size_t size) {
  if (size != 0 && count > SIZE_MAX / size) {
    return nullptr;
  }
  void* memory = allocate(count * size);
  if (memory != nullptr) {
    std::memset(memory, 0, count * size);
  }
  return memory;
}

// Always moves, so that the old bytes are overwritten and the block is of a size that its list has.
// Without memory for the move the old block stays, as realloc() demands.
void* reallocate(void* memory, std::size_t size) {
  void* moved = allocate(size);
  if (memory != nullptr && moved != nullptr) {
    std::memcpy(moved, memory, std::min(size, headerOf(memory)->size));
    release(memory);
  }
  return moved;
}

char* duplicate(const char* text) {
  const std::size_t size = std::strlen(text) + 1;
  void* memory = allocate(size);
  return memory == nullptr ? nullptr : static_cast<char*>(std::memcpy(memory, text, size));
}

}  // namespace

void initialiseCurlWithGuardedMemory() {
  if (curl_global_init_mem(CURL_GLOBAL_DEFAULT, allocate, release, reallocate, duplicate,
                           allocateZeroed) != CURLE_OK) {
    throw std::bad_alloc();
  }
}

}  // namespace relaybird
