// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include "stores/outlook/connection.h"

namespace relaybird::outlook {

/// The inbox. `mapi` is the namespace, which opens items by their identifiers.
std::shared_ptr<Folder> makeFolder(const ConnectionRef& connection, Object folder, Object mapi);

}  // namespace relaybird::outlook
