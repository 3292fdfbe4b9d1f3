// SPDX-License-Identifier: MIT
// A lasting connection to one folder of an account: opens it and opens it again, does the work that
// ImapWork wants, idles in between, and notices when it has died. It runs on a thread of its own,
// which calls step() until that returns false.
//
// While the folder is not watched, a connection that nobody has used for kUnusedLife is left, and
// none is opened again before something is wanted or a read mark waits.
//
// All state is guarded by one lock, which is held except while the thread waits or works on the
// disk, so that the user-interface thread waits for neither when it looks at what is there. All
// waits have limits, measured by Network::steadyTime().
//
// While the server reports changes by itself (IDLE) and nothing is wanted, what it says is left
// unread and does not wake the thread; the end of the connection does. Whoever asks for the
// messages asks for what was said as well, by wantHeard(). A server that says so much that it does
// not get through has to wait until then, or until IDLE is renewed, which harms nobody.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>
#include <string>
#include <utility>

#include "mail/sign_in_source.h"
#include "platform/file_system.h"
#include "platform/result.h"
#include "platform/system/network.h"
#include "platform/system/random_bytes.h"
#include "stores/account/fetched_body.h"
#include "stores/account/idle_keeper.h"
#include "stores/account/imap_client.h"
#include "stores/account/imap_work.h"
#include "stores/account/reconnect_pauses.h"
#include "stores/account/reply_watch.h"

namespace relaybird {

/// From the first packet to the end of the sign-in.
inline constexpr std::chrono::seconds kConnectLimit{30};
/// Read marks are sent so long after the first of them, together.
inline constexpr std::chrono::milliseconds kMarkDelay{500};
/// A connection to a folder that is not watched is left so long after its last use.
inline constexpr std::chrono::minutes kUnusedLife{5};
/// A connection that has lived so long is not counted with those that failed before.
inline constexpr std::chrono::minutes kStableAfter{1};
/// What is needed to recognise messages again is written to disk so often.
inline constexpr std::chrono::minutes kSaveInterval{1};
/// What the session's thread would wake up for within so long is done at once when takeAlong() is
/// called: a little more than the minute that lies between two calls.
inline constexpr std::chrono::seconds kTakenAlong{75};
/// What is left for marks under way when the store is closed, and for each goodbye.
inline constexpr std::chrono::seconds kFarewellLimit{3};

/// What signing in needs; all are called on the session's thread.
struct SessionSignIn {
  std::function<SignInMaterial(std::stop_token)> get;
  std::function<void()> accepted = [] {};
  std::function<void()> refused = [] {};
  std::function<void()> tryAgain = [] {};  ///< before get(), where the user has asked
};

struct ImapSessionWorld {
  Network& network;
  MailServer server;
  std::string folder;   ///< as people write it
  std::string version;  ///< of this program, for the server
  SessionSignIn signIn;
  RandomBytes random;
  FileSystem& files;
  std::string folderOnDisk;  ///< of this account alone, made when it is needed
  /// Both are called on the session's thread, `news` without the lock, and may be called often.
  std::function<void(ProtocolLine)> trace = {};
  std::function<void()> news = [] {};
  /// A sentence for the user's log.
  std::function<void(std::string)> complain = [](const std::string&) {};
  /// The time of day, for messages without one.
  std::function<DateTime()> now = [] { return kNoDate; };
};

class ImapSession {
 public:
  explicit ImapSession(ImapSessionWorld world);
  ~ImapSession();
  ImapSession(const ImapSession&) = delete;
  ImapSession& operator=(const ImapSession&) = delete;

  // Any thread.
  struct Status {
    bool up = false;         ///< the folder is open
    bool everTried = false;  ///< a try to connect has ended, well or badly
    bool idles = false;      ///< the server reports changes by itself
    /// Why the last try to connect failed, or the connection ended, since it was last up.
    /// kLogonRefused if user or secret is not accepted, kNoSecretYet if there is no secret.
    std::optional<Error> failure;
    std::uint64_t news = 0;  ///< rises whenever anything has changed
  };
  Status status() const;
  /// Calls `act` with the ImapWork, under the lock, and lets the session see to what it wants. A
  /// try to connect is made at once, unless one has just failed. The session's thread is woken only
  /// if there is something for it to do: most calls of a walk find what was fetched ahead.
  template <class Act>
  auto work(Act&& act) {
    struct Call {
      ImapSession& session;
      std::unique_lock<std::mutex> lock;
      ~Call() {
        const bool wake = session.hasToAct();
        lock.unlock();  // first, or the thread would wait for it
        if (wake) {
          session.world_.network.wake();
        }
      }
    } call{*this, std::unique_lock(mutex_)};
    return act(work_);
  }
  /// The user asks for what is wanted next: the pauses of failed tries end, and what a server or
  /// the user has refused for the sign-in may be tried again. The try is made at once, but
  /// kUsersPause after the last failure at the earliest. Does nothing while a connection is there
  /// or being opened.
  void tryAgain();
  /// Whether the folder is watched; at first it is not. Either counts as a use of the connection.
  void watch(bool on);
  /// As work(), where nothing new is wanted.
  template <class Act>
  auto look(Act&& act) const {
    const std::lock_guard lock(mutex_);
    return act(work_);
  }
  /// Lets the session's thread read what the server has said until now, and do what follows from
  /// it. Returns a number for heard().
  std::uint64_t wantHeard();
  /// Whether that is done. Also where there is no connection, but perhaps only after a try to
  /// connect.
  bool heard(std::uint64_t number) const;
  /// The program is awake in any case: has the session's thread do now what it would do by itself
  /// within kTakenAlong. Does not wake it for nothing. `now` as of Network::steadyTime().
  void takeAlong(std::chrono::milliseconds now);
  /// Returns once Status::news is above `seen`, or after `limit`, in real time.
  void waitForNews(std::uint64_t seen, std::chrono::milliseconds limit) const;
  /// Sends the marks that wait, says goodbye and ends, within kFarewellLimit; step() returns false
  /// then.
  void close();

  /// Waits until there is something to do, and does it. False: the session has ended. One thread.
  bool step();

 private:
  using Time = std::chrono::milliseconds;

  void advance(std::unique_lock<std::mutex>& lock);
  bool hasToAct() const;
  bool mayConnect(Time now);
  bool opensByItself() const;
  void connect(std::unique_lock<std::mutex>& lock);
  void converse();
  void open();
  void select();
  void onOpened(const ImapOpened& opened);
  void receive();
  void checkLife();
  void keepFresh();
  void sayGoodbye();
  bool goodbyeIsOver() const;
  void transmit();
  void leave();
  void lose(Error why, Loss how = Loss::kOther);
  void wantSave();
  void save(const std::string& unsaved);
  void writeBodies(std::unique_lock<std::mutex>& lock);
  bool isDue(Time moment) const { return now_ + ahead_ >= moment; }
  bool onlyIdles() const;
  void planWait();
  Time nextMoment() const;
  void changedSomething() { ++status_.news; }

  ImapSessionWorld world_;
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::stop_source stop_;

  BodySpool spool_;
  MessageIdentities identities_;
  ImapWork work_;
  Status status_;
  std::unique_ptr<Connection> connection_;
  std::unique_ptr<ImapClient> client_;
  std::optional<Error> loss_;  // found within a call of the client; the connection ends after it
  std::string input_;
  bool drained_ = true;  // receive() has left nothing

  std::atomic<std::uint64_t> hearingAsked_{0};
  std::uint64_t heard_ = 0;

  Time wait_{0};     // of the next step
  Time wakesAt_{0};  // the end of that wait
  bool wakesEarly_ = false;
  Time now_{0};
  Time ahead_{0};  // how much of the future is done now
  ReconnectPauses pauses_;
  bool userAsks_ = false;
  bool wasUp_ = false;  // at any time
  bool watched_ = false;
  bool used_ = false;  // since the last step
  Time usedAt_{0};
  Time upSince_{0};
  ReplyWatch replies_;
  IdleKeeper idle_;
  Time savedAt_{0};
  bool saveDue_ = false;
  std::optional<Time> markSince_;
  bool leaving_ = false;
  bool saidGoodbye_ = false;
  std::optional<Time> leaveUntil_;
  bool ended_ = false;
};

}  // namespace relaybird
