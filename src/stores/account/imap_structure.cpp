// SPDX-License-Identifier: MIT
// The grammar is that of RFC 9051 section 7.5.2, "body". It is the only recursive one of all
// responses: a multipart contains parts. Strangers choose how deep, so that there is a limit.
#include "stores/account/imap_structure.h"

#include <string>
#include <utility>

#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

class StructureReader {
 public:
  explicit StructureReader(ImapScanner& in) : in_(in) {}

  std::optional<ImapPart> read() {
    ImapPart root = part(1);
    return in_.failed() ? std::nullopt : std::optional(std::move(root));
  }

 private:
  ImapPart part(int depth) {
    ImapPart result;
    if (depth > kImapPartDepth || ++count_ > kImapPartCount) {
      in_.fail();
      return result;
    }
    in_.expect('(');
    if (in_.at('(')) {
      while (!in_.failed() && in_.at('(')) {
        result.children.push_back(part(depth + 1));
        in_.skipBlanks();
      }
      // Parts in parentheses, and then the subtype: (...)(...) "mixed".
      result.type = "multipart/" + lowerText();
      extension(result, true);
    } else {
      leaf(result);
    }
    return result;
  }

  void leaf(ImapPart& result) {
    result.type = lowerText() + '/';
    blank();
    result.type += lowerText();
    blank();
    result.parameters = parameters();
    blank();
    in_.skipValue();  // Content-ID
    blank();
    in_.skipValue();  // Content-Description
    blank();
    result.encoding = lowerText();
    blank();
    result.size = in_.number();
    if (result.type == "message/rfc822" || result.type == "message/global") {
      embedded();
    } else if (result.type.starts_with("text/") && more()) {
      in_.number();  // lines
    }
    extension(result, false);
  }

  // The envelope, structure and number of lines of an embedded message. Some servers leave them out
  // for one that they could not read, and go on with a text (the MD5) or NIL.
  void embedded() {
    if (!more() || !in_.at('(')) {
      return;
    }
    in_.skipValue();
    blank();
    in_.skipValue();
    blank();
    in_.number();
  }

  // The extension data: all of it may be missing from the end (RFC 9051, "body-ext-1part").
  void extension(ImapPart& result, bool multipart) {
    if (more()) {
      if (multipart) {
        result.parameters = parameters();
      } else {
        in_.skipValue();  // MD5
      }
    }
    if (more()) {
      disposition(result);
    }
    while (more()) {
      in_.skipValue();  // language, location, and what the future brings
    }
    in_.expect(')');
  }

  void disposition(ImapPart& result) {
    if (!in_.take('(')) {
      in_.skipValue();  // NIL
      return;
    }
    result.disposition = lowerText();
    blank();
    in_.skipValue();
    in_.expect(')');
  }

  ImapPart::Parameters parameters() {
    ImapPart::Parameters result;
    if (!in_.take('(')) {
      in_.skipValue();  // NIL
      return result;
    }
    in_.skipBlanks();
    while (!in_.failed() && !in_.take(')')) {
      if (++parameters_ > kImapParameterCount) {
        in_.fail();
        return result;
      }
      std::string name = lowerText();
      blank();
      result.emplace_back(std::move(name), in_.text().value_or(""));
      in_.skipBlanks();
    }
    return result;
  }

  bool more() {
    in_.skipBlanks();
    return !in_.failed() && !in_.at(')');
  }

  void blank() {
    in_.expect(' ');
    in_.skipBlanks();
  }

  std::string lowerText() { return asciiLower(in_.text().value_or("")); }

  ImapScanner& in_;
  std::size_t count_ = 0;  // of parts
  std::size_t parameters_ = 0;
};

}  // namespace

std::optional<ImapPart> readImapStructure(ImapScanner& in) {
  return StructureReader(in).read();
}

}  // namespace relaybird
