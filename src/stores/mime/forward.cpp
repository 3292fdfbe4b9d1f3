// SPDX-License-Identifier: MIT
#include "stores/mime/forward.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>

#include "platform/text/number_text.h"
#include "stores/mime/header_text.h"
#include "stores/mime/parts/message_layout.h"
#include "stores/mime/parts/part_content.h"
#include "stores/mime/writing/forward_header.h"
#include "stores/mime/writing/forward_output.h"
#include "stores/mime/writing/forward_plan.h"

namespace relaybird {
namespace {

/// RFC 5322 section 2.1.1 allows 998; some servers count the line end.
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

bool isMostlyAscii(std::string_view text) {
  const auto high = std::count_if(text.begin(), text.end(), [](char c) {
    return (static_cast<unsigned char>(c) & 0x80U) != 0;
  });
  return static_cast<std::size_t>(high) * 5 < text.size();
}

/// Text in base64 has CR LF line ends before it is encoded (RFC 2045 section 6.8).
std::string withNetworkLineEnds(std::string_view text) {
  std::string result;
  for (const char c : text) {
    result += c == '\n' ? std::string_view("\r\n") : std::string_view(&c, 1);
  }
  return result;
}

/// Writes MIME fields, an empty line and content for each part; the caller has ended the line
/// before.
class BodyWriter {
 public:
  BodyWriter(const ForwardPlan& plan, ForwardOutput& out) : plan_(plan), out_(out) {}

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
    for (const Part* part : plan_.attached) {
      beginPart(boundary);
      // Text that was a file only by its place would be read as part of this text.
      if (part->isText() && part->fileName.empty() && !part->headers.raw("Content-Disposition")) {
        out_.add("Content-Disposition: attachment\n");
      }
      writePart(*part);
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
    writeOwnText("html", *plan_.html);
    for (const Part* part : plan_.shown) {
      beginPart(boundary);
      writePart(*part);
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
    // Only "alternative" can be without any carried part.
    if (plan_.eightBit && (subtype != "alternative" || !plan_.shown.empty())) {
      out_.add("Content-Transfer-Encoding: 8bit\n");
    }
    out_.add("\n");
    return boundary;
  }

  void beginPart(const std::string& boundary) { out_.add("\n--" + boundary + "\n"); }
  void endMultipart(const std::string& boundary) { out_.add("\n--" + boundary + "--\n"); }

  void writeOwnText(std::string_view subtype, const std::string& text) {
    out_.add("Content-Type: text/" + std::string(subtype) + "; charset=utf-8\n");
    if (isPlainAscii(text)) {
      out_.add("Content-Transfer-Encoding: 7bit\n\n");
      out_.add(text);
    } else if (isMostlyAscii(text)) {
      out_.add("Content-Transfer-Encoding: quoted-printable\n\n");
      out_.add(encodeContent(text, TransferEncoding::kQuotedPrintable));
    } else {
      out_.add("Content-Transfer-Encoding: base64\n\n");
      out_.add(encodeContent(withNetworkLineEnds(text), TransferEncoding::kBase64));
    }
  }

  void writeWhole() {
    out_.add("Content-Type: message/rfc822\nContent-Disposition: attachment\n");
    if (plan_.eightBit) {
      out_.add("Content-Transfer-Encoding: 8bit\n");
    }
    out_.add("\n");
    const std::string_view head = plan_.source->headers().bytes();
    const bool mboxLine = head.starts_with("From ") || head.starts_with(">From ");
    copy(mboxLine ? std::min(head.find('\n'), head.size() - 1) + 1 : 0,
         plan_.source->file().info().size, false);
  }

  void writePart(const Part& part) {
    if (&part == &plan_.source->layout().root()) {
      writeContentFields(part);
    } else {
      writePartHeader(part);
    }
    copy(part.body, part.end,
         asciiLower(part.headers.value("Content-Transfer-Encoding")) == "binary");
  }

  /// The fields of a part as they are, and the empty line that may be missing below them.
  void writePartHeader(const Part& part) {
    if (!part.headers.raw("Content-Type") && part.type.value != "text/plain") {
      out_.add("Content-Type: " + part.type.value + "\n");  // inherited from a digest
    }
    copy(part.begin, part.body, false);
    if (!part.headersEnded) {
      out_.add("\n");
    }
  }

  /// A message that is nothing but an attachment has fields of other uses among those of its
  /// content.
  void writeContentFields(const Part& part) {
    for (const std::string_view name :
         {"Content-Type", "Content-Transfer-Encoding", "Content-Disposition", "Content-ID",
          "Content-Description"}) {
      if (const auto raw = part.headers.raw(name)) {
        out_.add(name);
        out_.add(":");
        out_.addWithPlainLineEnds(*raw);
        out_.endPlainLineEnds();
        if (!raw->ends_with('\n')) {
          out_.add("\n");
        }
      }
    }
    out_.add("\n");
  }

  void copy(std::uint64_t begin, std::uint64_t end, bool binary) {
    const auto read = readBlocks(plan_.source->file(), begin, end, [&](std::string_view block) {
      if (binary) {
        out_.add(block);
      } else {
        out_.addWithPlainLineEnds(block);
      }
      begin += block.size();
      return !out_.failed();
    });
    out_.endPlainLineEnds();
    if (!read) {
      out_.fail(read.error());
    } else if (begin != end) {
      out_.fail({EIO, "The message became shorter while it was being forwarded"});
    }
  }

  const ForwardPlan& plan_;
  ForwardOutput& out_;
};

}  // namespace

Result<void> writeForward(const ForwardDraft& draft, OutputFile& out) {
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
  return output.finish();
}

}  // namespace relaybird
