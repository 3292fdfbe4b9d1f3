// SPDX-License-Identifier: MIT
// From, To, Bcc and Reply-To of a forward. Any thread.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "message/address/mail_address.h"

namespace relaybird {

/// The whole field as lines, folded (RFC 5322), or nothing where there is no mailbox. Each address
/// stands in it byte by byte in its wire form, which readWrittenField() gives back; a name is
/// quoted or becomes encoded words (RFC 2047) where it has to. The addresses have passed
/// isRfc5322Address(). GMime is not asked: it decodes and encodes domains by rules of its own, and
/// makes "xn--a.example" another domain.
std::string addressField(std::string_view name, const std::vector<Mailbox>& mailboxes);

}  // namespace relaybird
