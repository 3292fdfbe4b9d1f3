// SPDX-License-Identifier: MIT
// First the plan, then the writing. The plan reads everything that can change the structure,
// because a container's fields stand before its content: whether a part has bytes beyond ASCII,
// whether there is an HTML form. BodyWriter then copies a block at a time and keeps nothing in
// memory.
#include "message/writing/forward.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <optional>

#include "message/parts/message_layout.h"
#include "message/parts/part_content.h"
#include "message/text/charset.h"
#include "message/text/clean_text.h"
#include "message/text/header_text.h"
#include "message/writing/carried_part.h"
#include "message/writing/forward_output.h"
#include "message/writing/forward_text.h"
#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

// What the forward is made of, decided before anything is written.
struct ForwardPlan {
  const Message* source = nullptr;
  std::string text;
  std::optional<std::string> html;
  std::vector<CarriedPart> shown;     // kept attachments that the HTML shows
  std::vector<CarriedPart> attached;  // the other kept ones
  bool whole = false;                 // carries the source itself
  bool wholeIsFile = false;           // the source breaks the rules for a message within a message
  bool eightBit = false;              // carries bytes beyond ASCII
  std::string boundary;
};

// A container must be labelled 8bit where anything within it is (RFC 2045 section 6.4). A source
// that is not lines cannot be a part of type message/rfc822, and goes as a file in base64.
Result<void> planWhole(ForwardPlan& plan) {
  InputFile& file = plan.source->file();
  const auto facts = readByteFacts(file, 0, file.info().size);
  if (!facts) {
    return facts.error();
  }
  plan.wholeIsFile = !facts->isLines();
  plan.eightBit = facts->isEightBit() && !plan.wholeIsFile;
  return {};
}

Result<void> planParts(const ForwardDraft& draft, const std::vector<std::size_t>& kept,
                       ForwardPlan& plan) {
  for (const std::size_t index : kept) {
    const auto carried =
        planCarriage(draft.source->file(), *draft.source->layout().attached[index]);
    if (!carried) {
      return carried.error();
    }
    const bool isShown = plan.html && draft.source->attachments()[index].isInline;
    (isShown ? plan.shown : plan.attached).push_back(*carried);
    plan.eightBit = plan.eightBit || carried->eightBit;
  }
  return {};
}

Result<void> chooseAttachments(const ForwardDraft& draft, ForwardPlan& plan) {
  if (draft.keptAttachments.empty()) {
    return {};
  }
  const std::size_t count = draft.source == nullptr ? 0 : draft.source->attachments().size();
  auto kept = draft.keptAttachments;
  std::sort(kept.begin(), kept.end());
  kept.erase(std::unique(kept.begin(), kept.end()), kept.end());
  // An index out of range would mean that the caller decided on another message.
  if (kept.back() >= count) {
    return Error{EINVAL, "The forward names an attachment that its source does not have"};
  }
  plan.whole = draft.source->isOpaque();
  return plan.whole ? planWhole(plan) : planParts(draft, kept, plan);
}

// A hash (FNV-1a) of the forward's own identifier, which no sender of a carried part can have
// guessed.
std::string boundaryFor(std::string_view messageId) {
  std::uint64_t hash = 0xcbf29ce484222325U;
  for (const char c : messageId) {
    hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001b3U;
  }
  std::string bytes;
  for (int shift = 56; shift >= 0; shift -= 8) {
    bytes += static_cast<char>(hash >> shift);
  }
  return "=_rb_" + toHex(bytes) + "_";
}

// Reads the source's texts and examines what is to be carried. EINVAL for an attachment that the
// source does not have, otherwise the error of reading. The plan refers to the draft's source.
Result<ForwardPlan> planForward(const ForwardDraft& draft) {
  ForwardPlan plan;
  plan.source = draft.source;
  plan.boundary = boundaryFor(draft.messageId);
  if (draft.body || draft.source == nullptr) {
    plan.text =
        // Line ends first: a CR that stands alone is a line end, and otherwise would be removed as
        // a control character.
        withoutFillers(withoutControls(withPlainLineEnds(scrubUtf8(draft.body.value_or("")))));
  } else {
    plan.text = forwardText(*draft.source, draft.sentText);
    if (draft.source->htmlBody()) {
      plan.html = forwardHtml(*draft.source, draft.sentText);
    }
  }
  if (const auto chosen = chooseAttachments(draft, plan); !chosen) {
    return chosen.error();
  }
  return plan;
}

// RFC 5322 section 2.1.1 allows 998 bytes; some servers count the line end.
constexpr std::size_t kLongestLine = 990;

bool isPlainAscii(std::string_view text) {
  std::size_t line = 0;
  for (const char c : text) {
    line = c == '\n' ? 0 : line + 1;
    const auto byte = static_cast<unsigned char>(c);
    if (byte >= 0x7f || (byte < ' ' && c != '\n' && c != '\t') || line > kLongestLine) {
      return false;
    }
  }
  return true;
}

// Quoted-printable adds two bytes for each byte beyond ASCII, base64 a third to all. Up to one in
// five both have about the same length, and quoted-printable stays readable.
bool isMostlyAscii(std::string_view text) {
  const auto high = std::count_if(text.begin(), text.end(), [](char c) { return !isAscii(c); });
  return static_cast<std::size_t>(high) * 5 < text.size();
}

// Text has CR LF line ends before it is encoded in base64 (RFC 2045 section 6.8).
std::string withNetworkLineEnds(std::string_view text) {
  std::string result;
  for (const char c : text) {
    result += c == '\n' ? std::string_view("\r\n") : std::string_view(&c, 1);
  }
  return result;
}

// A header section, its empty line included, without the mbox line and the Bcc fields, which only
// the source's own recipient may read. A field is dropped by the word at its beginning alone: a Bcc
// field that breaks the syntax must not get out.
std::string fieldsForOthers(const HeaderBlock& headers) {
  std::string fields;
  bool dropped = false;
  const std::string_view all = headers.bytes();
  for (std::size_t pos = 0; pos < all.size();) {
    const std::size_t end = lineEnd(all, pos);
    const std::string_view line = all.substr(pos, end - pos);
    if (!isBlank(line[0])) {
      const std::string name = asciiLower(line.substr(0, line.find_first_of(": \t")));
      const bool isMboxLine = pos == 0 && (line.starts_with("From ") || line.starts_with(">From "));
      dropped = isMboxLine || name == "bcc" || name == "resent-bcc";
    }
    if (!dropped && !isBlankLine(line)) {
      fields += line;
    }
    pos = end;
  }
  if (!fields.empty() && !fields.ends_with('\n')) {
    fields += '\n';
  }
  return fields + (fields.ends_with("\r\n") ? "\r\n" : "\n");
}

// Writes the MIME fields, an empty line and the content of each part.
class BodyWriter {
 public:
  BodyWriter(const ForwardPlan& plan, ForwardOutput& out) : plan_(plan), out_(out) {}

  // mixed(alternative(plain, related(html, pictures)), attachments): the nesting that all mail
  // programs understand. Each container is left out where it would have one part.
  void write() {
    if (!plan_.whole && plan_.attached.empty()) {
      return writeText();
    }
    const std::string boundary = beginMultipart("mixed", "m");
    beginPart(boundary);
    writeText();
    if (plan_.whole) {
      beginPart(boundary);
      writeWhole();
    }
    for (const CarriedPart& part : plan_.attached) {
      beginPart(boundary);
      writePart(part);
    }
    endMultipart(boundary);
  }

 private:
  void writeText() {
    if (!plan_.html) {
      return writeOwnText("plain", plan_.text);
    }
    const std::string boundary = beginMultipart("alternative", "a");
    beginPart(boundary);
    writeOwnText("plain", plan_.text);
    beginPart(boundary);
    writeHtml();
    endMultipart(boundary);
  }

  void writeHtml() {
    if (plan_.shown.empty()) {
      return writeOwnText("html", *plan_.html);
    }
    const std::string boundary = beginMultipart("related", "r", "; type=\"text/html\"");
    beginPart(boundary);
    // The HTML may refer to its pictures relative to its own Content-Location.
    for (const Part* part : plan_.source->layout().htmlText) {
      if (part->isHtml() && !part->location.empty()) {
        out_.add(locationField(*part));
        break;
      }
    }
    writeOwnText("html", *plan_.html);
    for (const CarriedPart& part : plan_.shown) {
      beginPart(boundary);
      writePart(part);
    }
    endMultipart(boundary);
  }

  std::string beginMultipart(std::string_view subtype, std::string_view suffix,
                             std::string_view parameters = {}) {
    std::string boundary = plan_.boundary + std::string(suffix);
    out_.add("Content-Type: multipart/");
    out_.add(subtype);
    out_.add(parameters);
    out_.add(";\n boundary=\"" + boundary + "\"\n");
    // An "alternative" without pictures has no carried part, so it is always 7bit.
    if (plan_.eightBit && (subtype != "alternative" || !plan_.shown.empty())) {
      out_.add("Content-Transfer-Encoding: 8bit\n");
    }
    out_.add("\n");
    return boundary;
  }

  // The line end in front of a boundary belongs to it (RFC 2046 section 5.1.1).
  void beginPart(const std::string& boundary) { out_.add("\n--" + boundary + "\n"); }
  void endMultipart(const std::string& boundary) { out_.add("\n--" + boundary + "--\n"); }

  void writeOwnText(std::string_view subtype, const std::string& text) {
    out_.add("Content-Type: text/" + std::string(subtype) + "; charset=utf-8\n");
    if (isPlainAscii(text)) {
      out_.add("Content-Transfer-Encoding: 7bit\n\n");
      out_.add(text);
    } else if (isMostlyAscii(text)) {
      out_.add("Content-Transfer-Encoding: quoted-printable\n\n");
      const auto filter = filterFor(Carriage::kEncodeQuotedPrintable, out_);
      filter->put(text);
      filter->end();
    } else {
      out_.add("Content-Transfer-Encoding: base64\n\n");
      out_.add(encodeBase64(withNetworkLineEnds(text)));
    }
  }

  // Writes the source without its Bcc fields. A signature covers only what is below the header
  // section.
  void writeWhole() {
    if (plan_.wholeIsFile) {
      writeFileHeader(out_, "message.eml");
    } else {
      out_.add("Content-Type: message/rfc822\nContent-Disposition: attachment\n");
      out_.add(plan_.eightBit ? "Content-Transfer-Encoding: 8bit\n\n" : "\n");
    }
    const HeaderBlock& headers = plan_.source->headers();
    const auto filter = filterFor(plan_.wholeIsFile ? Carriage::kFile : Carriage::kAsIs, out_);
    filter->put(fieldsForOthers(headers));
    copy(headers.bodyOffset(), plan_.source->file().info().size, *filter);
  }

  void writePart(const CarriedPart& carried) {
    const Part& part = *carried.part;
    writePartHeader(out_, carried, &part == &plan_.source->layout().root());
    const auto filter = filterFor(carried.carriage, out_);
    const bool decodes =
        carried.carriage == Carriage::kEncodeBase64 || carried.carriage == Carriage::kFile;
    // The filters for rewrapping work on the encoded bytes.
    if (!decodes || part.encoding == TransferEncoding::kIdentity) {
      return copy(part.body, part.end, *filter);
    }
    const auto read = decodeContent(plan_.source->file(), part, [&](std::string_view block) {
      filter->put(block);
      return !out_.failed();
    });
    filter->end();
    if (!read) {
      out_.fail(read.error());
    }
  }

  void copy(std::uint64_t begin, std::uint64_t end, ContentFilter& filter) {
    // Stops as soon as the disk fails: reading on would be for nothing.
    const auto read = readBlocks(plan_.source->file(), begin, end, [&](std::string_view block) {
      filter.put(block);
      begin += block.size();
      return !out_.failed();
    });
    filter.end();
    if (!read) {
      out_.fail(read.error());
    } else if (begin != end) {
      // Half an attachment must not go out as a whole one.
      out_.fail({EIO, "The message became shorter while it was being forwarded"});
    }
  }

  const ForwardPlan& plan_;
  ForwardOutput& out_;
};

}  // namespace

Result<void> writeForward(const ForwardDraft& draft, OutputFile& out) {
  // All checks are made here and in the plan, before the first byte is written.
  const auto header = forwardHeader(draft);
  if (!header) {
    return header.error();
  }
  const auto plan = planForward(draft);
  if (!plan) {
    return plan.error();
  }
  ForwardOutput output(out);
  output.add(*header);
  BodyWriter(*plan, output).write();
  output.endLine();
  return output.finish();
}

}  // namespace relaybird
