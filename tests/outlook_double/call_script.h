// SPDX-License-Identifier: MIT
// What happens to the automation calls that reach the double: each is counted by name, and a test
// can plan that calls fail, are refused as busy, wait, end the mail application, or have something
// else happen meanwhile.
//
// Names are class and member, "MailItem.Subject", with "=" after it for writing. All kinds of items
// are "MailItem", all safe items "SafeItem". "create outlook.application" is the making of an
// object by its identifier, "type information" and "class information" are what any object is asked
// for its class. The steps to the events of a synchronisation are "SyncObject.QueryInterface",
// "SyncObject.EnumConnectionPoints", "EnumConnectionPoints.Next",
// "ConnectionPoint.GetConnectionInterface" and "ConnectionPoint.Advise". Names are compared without
// regard to case.
#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace relaybird::outlook_double {

enum class PlanKind {
  kRaise,     ///< the call tells an error in its EXCEPINFO
  kReturn,    ///< the call returns a code, as a busy or lost application does
  kDie,       ///< the application ends before the call has done anything
  kDieAfter,  ///< it ends when the call is done, before the answer is given
  kWait,      ///< the call waits first
  kWork,      ///< something else happens first, in the middle of the client's call
};

struct Plan {
  PlanKind kind = PlanKind::kRaise;
  std::string call;      ///< whose calls; empty for every call of a member
  std::size_t skip = 0;  ///< calls that are let through first
  std::size_t times = static_cast<std::size_t>(-1);
  HRESULT code = E_FAIL;
  std::string source = "Mail application";
  std::string text = "The operation failed.";
  std::uint32_t milliseconds = 0;
  std::function<void()> work = {};
};

class CallScript {
 public:
  void add(Plan plan) { plans_.push_back(std::move(plan)); }
  /// Drops the plans; the counts stay.
  void clear() { plans_.clear(); }

  /// Counts the call and does what is planned for it: returns, or throws Returned or Raised.
  void before(std::string_view call);
  /// The call is done.
  void after(std::string_view call);
  /// Counts something that is not a member: a name looked up, a class name asked for.
  void count(std::string_view name) { ++counts_[std::string(name)]; }

  const std::map<std::string, std::size_t>& counts() const { return counts_; }
  void clearCounts() { counts_.clear(); }

  /// How the application ends. May return, with the application lost to its clients.
  std::function<void()> die;

 private:
  void carryOut(const Plan& plan);

  std::vector<Plan> plans_;
  std::map<std::string, std::size_t> counts_;
};

}  // namespace relaybird::outlook_double
