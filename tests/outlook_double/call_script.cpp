// SPDX-License-Identifier: MIT
#include "outlook_double/call_script.h"

#include "outlook_double/com_values.h"
#include "platform/text/ascii_text.h"

namespace relaybird::outlook_double {

namespace {

bool concerns(const Plan& plan, std::string_view call) {
  const bool member = call.find('.') != std::string_view::npos && call.find(' ') == call.npos;
  return plan.call.empty() ? member : asciiLower(plan.call) == asciiLower(call);
}

// Whether it is this call's turn; counts down.
bool isDue(Plan& plan) {
  if (plan.skip > 0) {
    --plan.skip;
    return false;
  }
  if (plan.times == 0) {
    return false;
  }
  --plan.times;
  return true;
}

}  // namespace

void CallScript::before(std::string_view call) {
  count(call);
  // By position: an application that ends may drop the plans.
  for (std::size_t i = 0; i < plans_.size(); ++i) {
    Plan& plan = plans_[i];
    if (plan.kind != PlanKind::kDieAfter && concerns(plan, call) && isDue(plan)) {
      carryOut(Plan(plan));
    }
  }
}

void CallScript::after(std::string_view call) {
  for (std::size_t i = 0; i < plans_.size(); ++i) {
    Plan& plan = plans_[i];
    if (plan.kind == PlanKind::kDieAfter && concerns(plan, call) && isDue(plan)) {
      carryOut(Plan(plan));
    }
  }
}

void CallScript::carryOut(const Plan& plan) {
  switch (plan.kind) {
    case PlanKind::kRaise:
      throw Raised{plan.code, plan.source, plan.text};
    case PlanKind::kReturn:
      throw Returned{plan.code};
    case PlanKind::kWait:
      Sleep(plan.milliseconds);
      return;
    case PlanKind::kWork:
      plan.work();
      return;
    case PlanKind::kDie:
    case PlanKind::kDieAfter:
      die();
      // What the system tells the client of a server that ended in the middle of a call.
      throw Returned{HRESULT_FROM_WIN32(RPC_S_CALL_FAILED)};
  }
}

}  // namespace relaybird::outlook_double
