// SPDX-License-Identifier: MIT
// A mailbox in memory and preferences, for building forwards; records the mail store's calls.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "compose/cls_security.h"
#include "memory_store/memory_store.h"
#include "prefs/pref_bench.h"
#include "support/fake_timers.h"

namespace relaybird {

struct StoreBench {
  StoreBench() {
    PreferenceFields& fields = prefs.fields();
    fields.mbolIncludeAttachments = true;
    fields.mdblMaxFwdSize = 1;
    fields.mstrFwdToAddress = {"5551234@cell.example"};
  }

  /// Puts an item into the inbox and obtains it in the way of the engine.
  std::shared_ptr<MailItem> deliver(MemoryItem item) {
    store.deliver(std::move(item));
    const auto application = createAs<Application>(store.factory(), prog_id::kApplication);
    const auto items = application->GetNamespace("MAPI")->GetDefaultInbox()->Items();
    return items->Item(items->Count());
  }

  /// From now on every call of the store is listed in `calls`.
  void record() {
    store.setHook([this](std::string_view operation) { calls.emplace_back(operation); });
  }

  /// Makes the call of that number, from 1, fail with "fault in " and its name.
  void failCall(std::size_t number) {
    store.setHook([this, number](std::string_view operation) {
      calls.emplace_back(operation);
      if (calls.size() == number) {
        throw MailStoreError("fault in " + std::string(operation));
      }
    });
  }

  /// The last forward that was sent.
  MemoryMessage sent() const { return store.outbox().back(); }

  FakeEventQueue events;
  MemoryStore store{events};
  PrefBench world{itemReaders(store.factory()), &store.factory()};
  clsPref& prefs = world.prefs;
  std::vector<std::string> calls;
};

inline MemoryItem letter() {
  MemoryItem item;
  item.subject = "Lunch";
  item.body = "At noon?";
  item.senderName = "Ann Writer";
  item.senderAddress = "ann@writer.example";
  return item;
}

inline MemoryItem ofKind(const std::string& kind) {
  MemoryItem item = letter();
  item.kind = kind;
  return item;
}

inline MemoryAttachment attachmentOf(std::int32_t size) {
  return {"file", "content", size};
}

/// A builder with the bench's preferences, and the outcome of building.
struct Built {
  Built(StoreBench& bench, const std::shared_ptr<MailItem>& item, bool cellPhone = false)
      : builder(bench.store.factory()) {
    builder.SetPref(bench.prefs);
    builder.setFormatForCellPhone(cellPhone);
    done = builder.MakeSafeInboxItem(item);
  }
  clsSecurity builder;
  bool done = false;
};

}  // namespace relaybird
