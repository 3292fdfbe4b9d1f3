// SPDX-License-Identifier: MIT
#include "outlook_double/double_world.h"

#include <windows.h>

#include <algorithm>
#include <cstdio>
#include <deque>
#include <fstream>
#include <stdexcept>

#include "outlook_double/counted_object.h"
#include "outlook_double/journal.h"
#include "outlook_double/objects.h"

namespace relaybird::outlook_double {

// Events as messages of a hidden window: they run when the thread serves messages, which it also
// does while it waits for another process.
class WindowQueue : public EventQueue {
 public:
  WindowQueue() {
    WNDCLASSW description{};
    description.lpfnWndProc = serve;
    description.hInstance = ownModule();
    description.lpszClassName = L"OutlookDoubleEvents";
    RegisterClassW(&description);
    window_ = CreateWindowExW(0, description.lpszClassName, L"", 0, 0, 0, 0, 0, HWND_MESSAGE,
                              nullptr, description.hInstance, nullptr);
    SetWindowLongPtrW(window_, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(this));
  }
  WindowQueue(const WindowQueue&) = delete;
  WindowQueue& operator=(const WindowQueue&) = delete;
  ~WindowQueue() override { DestroyWindow(window_); }

  void post(std::function<void()> event) override {
    events_.push_back(std::move(event));
    PostMessageW(window_, WM_APP, 0, 0);
  }

  // Once, after that time; a second call starts the time anew.
  void later(UINT milliseconds, std::function<void()> event) {
    late_ = std::move(event);
    SetTimer(window_, 1, milliseconds, nullptr);
  }

 private:
  // Not the program's: a program that loads the double may contain another one.
  static HINSTANCE ownModule() {
    HMODULE module = nullptr;
    GetModuleHandleExW(
        GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT,
        reinterpret_cast<const wchar_t*>(&WindowQueue::serve), &module);
    return module;
  }
  static LRESULT CALLBACK serve(HWND window, UINT message, WPARAM w, LPARAM l) {
    auto* const self = reinterpret_cast<WindowQueue*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (message == WM_TIMER && self != nullptr) {
      KillTimer(window, 1);
      std::exchange(self->late_, nullptr)();
      return 0;
    }
    if (message != WM_APP || self == nullptr || self->events_.empty()) {
      return DefWindowProcW(window, message, w, l);
    }
    const auto event = std::move(self->events_.front());
    self->events_.pop_front();
    event();
    return 0;
  }

  HWND window_ = nullptr;
  std::deque<std::function<void()>> events_;
  std::function<void()> late_;
};

namespace {

// The MAPI session: an object that has no members of its own.
class MapiSession : public CountedObject<IUnknown> {};

}  // namespace

DoubleWorld& DoubleWorld::only() {
  // Never destroyed: objects that clients still hold may be released after the statics' end.
  static auto* const world = new DoubleWorld;
  return *world;
}

DoubleWorld::~DoubleWorld() = default;

DoubleWorld::DoubleWorld() : events_(std::make_unique<WindowQueue>()) {
  reset();
}

void DoubleWorld::reset() {
  running_.reset();
  store_ = std::make_unique<MemoryStore>(*events_);
  // Never at once: the end would overtake the answer to the call that started it.
  store_->setSyncEndsByItself(false);
  const auto die = std::move(calls_.die);
  calls_ = CallScript();
  calls_.die = die ? die : [this] { quit(); };
  behaviour_ = {};
  ids_.clear();
  sentBefore_.clear();
}

std::shared_ptr<RunningApplication> DoubleWorld::running() {
  if (!running_) {
    auto running = std::make_shared<RunningApplication>();
    running->application = createAs<Application>(store_->factory(), prog_id::kApplication);
    running->mapi = running->application->GetNamespace("MAPI");
    running->mapiObject = ComRef<IUnknown>(new MapiSession);
    running->sync = makeSyncPoint(running->mapi->SyncObjects()->Item(1));
    running_ = std::move(running);
  }
  return running_;
}

void DoubleWorld::syncBegan() {
  constexpr UINT kMoment = 20;
  if (behaviour_.syncsEndByThemselves) {
    events_->later(kMoment, [this] { store_->endSyncs(); });
  }
}

void DoubleWorld::quit() {
  store_->quitApplication();
  running_.reset();
}

void DoubleWorld::keepIn(const std::string& folder) {
  const std::string file = folder + "\\mailbox.txt";
  std::ifstream kept(file, std::ios::binary);
  for (std::string line; std::getline(kept, line);) {
    readBack(line);
  }
  journal_ = file;
}

void DoubleWorld::readBack(const std::string& line) {
  const CommandLine change(line);
  if (change.name() == "deliver") {
    deliver(itemOfLine(change));
  } else if (change.name() == "mark") {
    mark(change.value("id"), change.flag("unread", true));
  } else if (change.name() == "take") {
    takeAway(change.value("id"));
  } else if (change.name() == "sent") {
    sentBefore_.push_back(messageOfLine(change));
  } else if (!change.name().empty()) {
    throw std::runtime_error("the kept mailbox has a line " + change.name());
  }
}

void DoubleWorld::write(const std::string& line) {
  if (!journal_.empty()) {
    std::ofstream(journal_, std::ios::binary | std::ios::app) << line << "\n";
  }
}

std::string DoubleWorld::deliver(MemoryItem item) {
  ++lastId_;
  if (!item.entryId) {
    // Not the store's own, which start anew with every application.
    char id[32];
    std::snprintf(id, sizeof id, "DOUBLE%010u", static_cast<unsigned>(lastId_));
    item.entryId = id;
  }
  write(lineOfItem(item));
  ids_.push_back(store_->deliver(std::move(item)));
  return ids_.back();
}

std::optional<std::size_t> DoubleWorld::positionOf(const std::string& entryId) const {
  const auto found = std::find(ids_.begin(), ids_.end(), entryId);
  return found == ids_.end() ? std::nullopt
                             : std::optional(static_cast<std::size_t>(found - ids_.begin()));
}

void DoubleWorld::takeAway(const std::string& entryId) {
  const auto position = positionOf(entryId).value();
  store_->takeAway(position);
  ids_.erase(ids_.begin() + static_cast<std::ptrdiff_t>(position));
  write("take" + field("id", entryId));
}

void DoubleWorld::mark(const std::string& entryId, bool unread) {
  store_->setUnread(positionOf(entryId).value(), unread);
  write("mark" + field("id", entryId) + field("unread", unread ? "1" : "0"));
}

void DoubleWorld::marked(const std::string& entryId, bool unread) {
  // A draft has an identifier too.
  if (!journal_.empty() && positionOf(entryId)) {
    write("mark" + field("id", entryId) + field("unread", unread ? "1" : "0"));
  }
}

void DoubleWorld::sent() {
  if (!journal_.empty()) {
    write(lineOfMessage(store_->outbox().back()));
  }
}

std::vector<MemoryMessage> DoubleWorld::allSent() const {
  auto all = sentBefore_;
  const auto now = store_->outbox();
  all.insert(all.end(), now.begin(), now.end());
  return all;
}

}  // namespace relaybird::outlook_double
