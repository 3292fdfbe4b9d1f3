// SPDX-License-Identifier: MIT
// The tree is walked once. Every part returns its share of the text, in a plain and an HTML
// version, and a container decides which shares it passes up: all of a sequence, the best of
// alternatives, the root of a related group. Everything that is not passed up as text is attached.
#include "message/parts/message_layout.h"

#include <algorithm>

namespace relaybird {
namespace {

// Signed and encrypted parts, also S/MIME without a multipart (RFC 8551 section 3.2).
bool isSealed(const Part& part) {
  const std::string& type = part.type.value;
  return type == "multipart/signed" || type == "multipart/encrypted" ||
         type == "application/pkcs7-mime" || type == "application/x-pkcs7-mime";
}

// Whether the part is text that is shown in place. A file name makes it an attachment, except on
// the message itself. A multipart without its boundary is shown as it is.
bool isBodyText(const Part& part, bool isRoot) {
  if (part.isAttached()) {
    return false;
  }
  if (isRoot) {
    const std::string& type = part.type.value;
    return (type.starts_with("text/") && type != "text/calendar") || type.starts_with("multipart/");
  }
  return part.isText() && part.fileName.empty();
}

// A text without a Content-ID cannot be what the root refers to; one with a disposition says itself
// that it is shown.
// Whether text beside the root of a related group is shown, because the root cannot refer to it.
bool isReadInPlace(const Part& part) {
  return isBodyText(part, false) &&
         (part.contentId.empty() || part.headers.raw("Content-Disposition").has_value());
}

// Whether the part is a further version of the text that can be left out (enriched text, AMP).
bool isForeignText(const Part& part) {
  return part.type.value.starts_with("text/") && part.type.value != "text/calendar" &&
         !part.isText() && !part.isAttached() && part.fileName.empty();
}

// The text that one part contributes.
struct Share {
  std::vector<const Part*> plain;
  std::vector<const Part*> html;

  bool hasHtml() const {
    return std::any_of(html.begin(), html.end(), [](const Part* part) { return part->isHtml(); });
  }
  void add(const Share& other) {
    plain.insert(plain.end(), other.plain.begin(), other.plain.end());
    html.insert(html.end(), other.html.begin(), other.html.end());
  }
};

class PartSorter {
 public:
  PartSorter(MessageLayout& layout, const std::function<bool(const Part&)>& isBlank)
      : layout_(layout), isBlank_(isBlank) {}

  // The recursion is as deep as the tree, at most kPartDepth.
  Share visit(const Part& part, bool isRoot) {
    layout_.sealed = layout_.sealed || isSealed(part);
    if (!part.multipart) {
      return leaf(part, isRoot);
    }
    if (part.type.value == "multipart/alternative") {
      return alternative(part);
    }
    if (part.type.value == "multipart/related") {
      return related(part);
    }
    return sequence(part);
  }

 private:
  Share leaf(const Part& part, bool isRoot) {
    if (isBodyText(part, isRoot)) {
      return {{&part}, {&part}};
    }
    if (part.type.value == "text/calendar" && !part.isAttached() && layout_.calendar == nullptr) {
      layout_.calendar = &part;
    }
    layout_.attached.push_back(&part);
    return {};
  }

  // multipart/mixed and every type that is not known (RFC 2046 section 5.1.3): all parts in order.
  Share sequence(const Part& part) {
    Share all;
    for (const auto& child : part.children) {
      all.add(visit(*child, false));
    }
    return all;
  }

  // RFC 2046 section 5.1.4: the versions are in order of increasing faithfulness, so the last HTML
  // is the best one. Every version is visited, because one that is not taken may hold attachments.
  Share alternative(const Part& part) {
    Share plain;
    Share html;
    for (const auto& child : part.children) {
      if (isForeignText(*child)) {
        continue;
      }
      Share share = visit(*child, false);
      if (share.hasHtml()) {
        html = std::move(share);
      } else if (plain.plain.empty()) {
        plain = std::move(share);
      }
    }
    if (html.html.empty()) {
      return plain;
    }
    // True also where there is no plain text at all.
    // Some programs send a blank plain text beside HTML. Readers of plain text then get the HTML's
    // text instead of nothing.
    const bool isBlank = std::all_of(plain.plain.begin(), plain.plain.end(),
                                     [this](const Part* each) { return isBlank_(*each); });
    return {isBlank ? html.plain : plain.plain, html.html};
  }

  // The root of a related group (RFC 2387) is text; everything that it refers to is attached.
  Share related(const Part& part) {
    // Content-IDs are stored without brackets; the parameter has them (RFC 2387 section 3.2). An
    // unknown identifier means the first part, as without the parameter.
    std::string start(part.type.parameter("start"));
    std::erase_if(start, [](char c) { return c == '<' || c == '>'; });
    const auto named = [&](const auto& child) { return child->contentId == start; };
    auto root = start.empty() ? part.children.begin()
                              : std::find_if(part.children.begin(), part.children.end(), named);
    if (root == part.children.end()) {
      root = part.children.begin();
    }
    Share share;
    for (auto child = part.children.begin(); child != part.children.end(); ++child) {
      if (child == root || (*child)->multipart || isReadInPlace(**child)) {
        share.add(visit(**child, false));
      } else {
        layout_.attached.push_back(child->get());
      }
    }
    return share;
  }

  MessageLayout& layout_;
  const std::function<bool(const Part&)>& isBlank_;
};

}  // namespace

MessageLayout layOut(PartTree tree, const std::function<bool(const Part&)>& isBlank) {
  MessageLayout layout;
  layout.tree = std::move(tree);
  Share share = PartSorter(layout, isBlank).visit(layout.root(), true);
  layout.hasHtml = share.hasHtml();
  layout.plainText = std::move(share.plain);
  layout.htmlText = std::move(share.html);
  return layout;
}

std::uint64_t storedSize(const std::vector<const Part*>& parts) {
  std::uint64_t size = 0;
  for (const Part* part : parts) {
    size += part->end - part->body;
  }
  return size;
}

}  // namespace relaybird
