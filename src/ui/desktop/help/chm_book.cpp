// SPDX-License-Identifier: MIT
#include "ui/desktop/help/chm_book.h"

#include <chm_lib.h>

#include <memory>

namespace relaybird::desktop {
namespace {

// A limit far above the size of any page of a manual.
constexpr LONGUINT64 kLargestPage = 16U << 20U;

struct Reading {
  const TakeFile& take;
  bool complete = true;
};

int takeEntry(chmFile* book, chmUnitInfo* entry, void* context) {
  auto& reading = *static_cast<Reading*>(context);
  if (entry->length > kLargestPage) {
    reading.complete = false;
    return CHM_ENUMERATOR_CONTINUE;
  }
  std::string bytes(entry->length, '\0');
  const LONGINT64 got =
      ::chm_retrieve_object(book, entry, reinterpret_cast<unsigned char*>(bytes.data()), 0,
                            static_cast<LONGINT64>(entry->length));
  if (got != static_cast<LONGINT64>(entry->length)) {
    reading.complete = false;
    return CHM_ENUMERATOR_CONTINUE;
  }
  std::string path = entry->path;
  path.erase(0, path.find_first_not_of('/'));
  reading.take(path, bytes);
  return CHM_ENUMERATOR_CONTINUE;
}

}  // namespace

Result<void> readChm(const std::string& file, const TakeFile& take) {
  const std::unique_ptr<chmFile, void (*)(chmFile*)> book(::chm_open(file.c_str()), ::chm_close);
  if (!book) {
    return Error{0, "The help file " + file + " cannot be opened."};
  }
  Reading reading{take};
  const int walked =
      ::chm_enumerate(book.get(), CHM_ENUMERATE_NORMAL | CHM_ENUMERATE_FILES, takeEntry, &reading);
  if (walked == 0 || !reading.complete) {
    return Error{0, "The help file " + file + " is damaged."};
  }
  return {};
}

}  // namespace relaybird::desktop
