// SPDX-License-Identifier: MIT
// The plainest late-bound client: what tests call the double with. It knows nothing of the store
// that the programs use.
#pragma once

#include <oaidl.h>

#include <string>
#include <string_view>
#include <vector>

#include "outlook_double/com_values.h"

namespace relaybird::outlook_double {

/// Thrown by the calls below.
struct CallFailed {
  HRESULT code;   ///< what the call returned
  HRESULT scode;  ///< of the error that was raised; S_OK for none
  std::string source;
  std::string text;
};

/// An object by its identifier, of this process where it has registered one, else as the registry
/// says.
ComRef<IDispatch> create(std::string_view progId, DWORD context = CLSCTX_ALL);

DISPID idOf(IDispatch& object, const std::string& member);
/// `flags` as those of IDispatch::Invoke. The arguments in the order of writing.
Value invoke(IDispatch& object, DISPID id, WORD flags, std::vector<Value> arguments = {});

Value get(IDispatch& object, const std::string& member, std::vector<Value> arguments = {});
Value call(IDispatch& object, const std::string& member, std::vector<Value> arguments = {});
void put(IDispatch& object, const std::string& member, Value value);

/// Asks the control object.
std::string tell(IDispatch& control, const std::string& command);

/// One value in a list of arguments.
template <class... Values>
std::vector<Value> with(Values... values) {
  std::vector<Value> all;
  (all.push_back(std::move(values)), ...);
  return all;
}

}  // namespace relaybird::outlook_double
