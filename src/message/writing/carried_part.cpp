// SPDX-License-Identifier: MIT
// A part is copied unchanged where it keeps the rules for sent mail, its header section included.
// Otherwise its content is encoded and its fields are written anew from what they were understood
// to mean. An embedded message must not be encoded (RFC 2046 section 5.2.1), so one that breaks the
// rules becomes a file.
#include "message/writing/carried_part.h"

#include <gmime/gmime.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

#include "message/parts/part_content.h"
#include "message/text/encoded_word.h"
#include "message/text/header_text.h"
#include "message/text/libraries.h"
#include "message/writing/field_writer.h"
#include "platform/text/ascii_text.h"

namespace relaybird {
namespace {

// RFC 5322 section 2.1.1; the next two are from RFC 2047 section 2. The last three are bounds of
// ours, far above what senders write.
constexpr std::size_t kLongestLine = 998;
constexpr std::size_t kLongestEncodedWord = 75;
constexpr std::size_t kLongestLineWithEncodedWord = 76;
constexpr std::size_t kLongestToken = 100;
constexpr std::size_t kLongestParameterName = 40;
constexpr std::size_t kLongestId = 900;

std::string encodingLabel(const Part& part) {
  return asciiLower(part.headers.value("Content-Transfer-Encoding"));
}

bool isToken(std::string_view text) {
  return !text.empty() && text.size() <= kLongestToken &&
         std::all_of(text.begin(), text.end(), [](char c) {
           return isPrintable(c) &&
                  std::string_view("()<>@,;:\\\"/[]?=").find(c) == std::string_view::npos;
         });
}

bool isTypeName(std::string_view type) {
  const std::size_t slash = type.find('/');
  return slash != std::string_view::npos && isToken(type.substr(0, slash)) &&
         isToken(type.substr(slash + 1));
}

// Parts that contain others; RFC 2045 section 6.4 forbids encoding them.
bool isComposite(const Part& part) {
  return isTypeName(part.type.value) &&
         (part.type.value.starts_with("message/") || part.type.value.starts_with("multipart/"));
}

bool isWritableWord(std::string_view text) {
  return !text.empty() && text.size() <= kLongestId &&
         std::all_of(text.begin(), text.end(), isPrintable);
}

// Whether the line breaks the limits of RFC 2047 section 2 for an encoded word or a line with one.
// Inside quotes there are no encoded words, although many senders write file names so.
bool hasLongEncodedWords(std::string_view line) {
  for (const Span& word : encodedWords(line)) {
    const auto before = line.substr(0, word.start);
    const bool isQuoted = std::count(before.begin(), before.end(), '"') % 2 != 0;
    if (word.length > kLongestEncodedWord ||
        (!isQuoted && line.size() > kLongestLineWithEncodedWord)) {
      return true;
    }
  }
  return false;
}

// Whether the part's stored Content-Type field can stay: it names the type that the part is taken
// for and is well-formed, or there is no such field.
bool isRightType(const Part& part) {
  const auto raw = part.headers.raw("Content-Type");
  return !raw || (bareContentType(*raw) == part.type.value && isTypeName(part.type.value));
}

// Whether a stored header section can be written again unchanged.
bool isRightHeader(const HeaderBlock& headers) {
  const std::string_view bytes = headers.bytes();
  ByteFacts facts;
  facts.add(bytes);
  const auto isControl = [](char c) {
    return (c >= 0 && c < ' ' && c != '\t' && c != '\r' && c != '\n') || c == '\x7f';
  };
  if (!facts.isLines() || facts.isEightBit() ||
      std::any_of(bytes.begin(), bytes.end(), isControl)) {
    return false;
  }
  std::set<std::string> names;
  for (std::size_t pos = 0; pos < bytes.size();) {
    const std::size_t end = lineEnd(bytes, pos);
    const std::string_view line = bytes.substr(pos, end - pos);
    const bool isEmpty = isEmptyLine(line);
    // The empty line has to be there, and nothing behind it.
    if (isEmpty != (end == bytes.size())) {
      return false;
    }
    const std::string_view name = line.substr(0, line.find(':'));
    const bool isField = name.size() < line.size() && isWritableWord(name);
    const bool isMore = isBlank(line[0]) && pos > 0;
    if (!isEmpty && (isBlankLine(line) || (!isField && !isMore))) {
      return false;
    }
    if (hasLongEncodedWords(line.substr(0, line.find_last_not_of("\r\n") + 1))) {
      return false;
    }
    // Readers disagree which of two equal fields counts, so a checked attachment could be shown as
    // another one. Written anew, each field is there once.
    if (isField && !isMore && !names.insert(asciiLower(name)).second) {
      return false;
    }
    pos = end;
  }
  return !bytes.empty();
}

// Whether the stored label says what the bytes are. A wrong label may make a server on the way
// convert the content.
bool isRightLabel(const CarriedPart& carried) {
  const std::string label = encodingLabel(*carried.part);
  switch (carried.carriage) {
    case Carriage::kAsIs:
      return carried.eightBit ? label == "8bit"
                              : label.empty() || label == "7bit" || label == "x-uuencode";
    case Carriage::kRewrapBase64:
      return label == "base64";
    case Carriage::kRewrapQuotedPrintable:
      return label == "quoted-printable";
    default:
      return false;
  }
}

std::string_view newLabel(const CarriedPart& carried) {
  switch (carried.carriage) {
    case Carriage::kAsIs:
      if (carried.part->encoding == TransferEncoding::kUuencode) {
        return "x-uuencode";
      }
      return carried.eightBit ? "8bit" : "7bit";
    case Carriage::kRewrapQuotedPrintable:
    case Carriage::kEncodeQuotedPrintable:
      return "quoted-printable";
    default:
      return "base64";
  }
}

// A boundary has no meaning here and may have any bytes. A name must leave room for a value on its
// line: GMime 3.2 loops forever for names of about 70 letters, and does not fold for longer ones.
bool isWritableParameter(const std::string& name) {
  return isToken(name) && name.size() <= kLongestParameterName && name != "boundary";
}

std::string contentTypeField(std::string_view type,
                             const std::vector<std::pair<std::string, std::string>>& parameters) {
  prepareLibraries();
  // An invalid type means unknown content.
  const std::string_view written = isTypeName(type) ? type : "application/octet-stream";
  const std::string main(written.substr(0, written.find('/')));
  const std::string sub(written.substr(main.size() + 1));
  const GObjectPtr<GMimeContentType> value(g_mime_content_type_new(main.c_str(), sub.c_str()));
  for (const auto& [name, text] : parameters) {
    if (isWritableParameter(name)) {
      g_mime_content_type_set_parameter(value.get(), name.c_str(), text.c_str());
    }
  }
  // GMime folds the value, with a blank in front and a line end behind.
  const GText text(g_mime_content_type_encode(value.get(), nullptr));
  return "Content-Type:" + std::string(text.get());
}

std::string dispositionField(std::string_view disposition,
                             const std::vector<std::pair<std::string, std::string>>& parameters) {
  prepareLibraries();
  const GObjectPtr<GMimeContentDisposition> value(g_mime_content_disposition_new());
  g_mime_content_disposition_set_disposition(
      value.get(), isToken(disposition) ? std::string(disposition).c_str() : "attachment");
  for (const auto& [name, text] : parameters) {
    if (isWritableParameter(name)) {
      g_mime_content_disposition_set_parameter(value.get(), name.c_str(), text.c_str());
    }
  }
  const GText text(g_mime_content_disposition_encode(value.get(), nullptr));
  return "Content-Disposition:" + std::string(text.get());
}

// Writes the fields of the content anew from their meaning.
void writeNewFields(ForwardOutput& out, const CarriedPart& carried) {
  const Part& part = *carried.part;
  out.add(contentTypeField(part.type.value, part.type.parameters));
  out.add("Content-Transfer-Encoding: " + std::string(newLabel(carried)) + '\n');
  if (part.headers.raw("Content-Disposition")) {
    out.add(dispositionField(part.disposition.value, part.disposition.parameters));
  }
  if (isWritableWord(part.contentId)) {
    out.add(wordField("Content-ID", {"<" + part.contentId + ">"}));
  }
  out.add(locationField(part));
  if (const auto description = part.headers.text("Content-Description"); !description.empty()) {
    out.add(textField("Content-Description", description));
  }
}

}  // namespace

// Blocks are cut anywhere, so a CR at the end and the length of the last line are kept for the next
// block.
void ByteFacts::add(std::string_view block) {
  if (block.empty()) {
    return;
  }
  hasLoneCr_ = hasLoneCr_ || (endsWithCr_ && block.front() != '\n');
  unsigned char bits = 0;
  for (const char c : block) {
    bits |= static_cast<unsigned char>(c);
  }
  bits_ |= bits;
  hasNul_ = hasNul_ || block.find('\0') != std::string_view::npos;
  for (std::size_t at = block.find('\r'); !hasLoneCr_ && at < block.size();
       at = block.find('\r', at + 1)) {
    hasLoneCr_ = at + 1 < block.size() && block[at + 1] != '\n';
  }
  endsWithCr_ = block.back() == '\r';
  for (std::size_t pos = 0; pos < block.size();) {
    const std::size_t feed = block.find('\n', pos);
    const bool ends = feed != std::string_view::npos;
    line_ += (ends ? feed : block.size()) - pos;
    longest_ = std::max(longest_, line_);
    line_ = ends ? 0 : line_;
    pos = ends ? feed + 1 : block.size();
  }
}

bool ByteFacts::isLines() const {
  return !hasNul_ && !hasLoneCr_ && !endsWithCr_ && longest_ <= kLongestLine;
}

Result<ByteFacts> readByteFacts(InputFile& file, std::uint64_t begin, std::uint64_t end) {
  ByteFacts facts;
  const auto read = readBlocks(file, begin, end, [&facts](std::string_view block) {
    facts.add(block);
    return true;
  });
  if (!read) {
    return read.error();
  }
  return facts;
}

Result<CarriedPart> planCarriage(InputFile& file, const Part& part) {
  const bool isText = part.type.value.starts_with("text/");
  const auto encoding = encodingInUse(file, part);
  if (!encoding) {
    return encoding.error();
  }
  // Encoded content is not decoded and encoded again: apart from line ends and damage, the sender's
  // bytes stay.
  if (*encoding == TransferEncoding::kBase64 && !isComposite(part)) {
    return CarriedPart{&part, Carriage::kRewrapBase64};
  }
  if (*encoding == TransferEncoding::kQuotedPrintable && !isComposite(part)) {
    return CarriedPart{&part, Carriage::kRewrapQuotedPrintable};
  }
  const auto facts = readByteFacts(file, part.body, part.end);
  if (!facts) {
    return facts.error();
  }
  const bool isEncoded = *encoding != TransferEncoding::kIdentity;
  if (isComposite(part)) {
    // A multipart among the attachments is one that cannot be taken apart.
    const bool stays = !isEncoded && facts->isLines() && !part.type.value.starts_with("multipart/");
    return CarriedPart{&part, stays ? Carriage::kAsIs : Carriage::kFile,
                       stays && facts->isEightBit()};
  }
  // Binary content need not be lines, even if these bytes happen to look so (RFC 2045 section 2.9).
  const bool isBinary = encodingLabel(part) == "binary";
  if (facts->isLines() && !facts->isEightBit() && !isBinary) {
    return CarriedPart{&part, Carriage::kAsIs};
  }
  return CarriedPart{&part, isText && !isBinary && !isEncoded ? Carriage::kEncodeQuotedPrintable
                                                              : Carriage::kEncodeBase64};
}

void writePartHeader(ForwardOutput& out, const CarriedPart& carried, bool isRoot) {
  const Part& part = *carried.part;
  if (carried.carriage == Carriage::kFile) {
    return writeFileHeader(out, part.fileName.empty() ? "message.eml" : part.fileName);
  }
  // Text that was an attachment only by its position would be shown as part of the forward's text.
  if (part.isText() && part.fileName.empty() && !part.headers.raw("Content-Disposition")) {
    out.add("Content-Disposition: attachment\n");
  }
  // The root is the message itself: its header section has From, To and all the rest, which must
  // not stand in a part.
  if (isRoot || !isRightHeader(part.headers) || !isRightLabel(carried) || !isRightType(part)) {
    writeNewFields(out, carried);
    out.add("\n");
    return;
  }
  if (!part.headers.raw("Content-Type") && part.type.value != "text/plain") {
    out.add("Content-Type: " + part.type.value + "\n");  // inherited from a digest
  }
  out.addWithPlainLineEnds(part.headers.bytes());
  out.endPlainLineEnds();
}

void writeFileHeader(ForwardOutput& out, std::string_view name) {
  out.add(contentTypeField("application/octet-stream", {{"name", std::string(name)}}));
  out.add("Content-Transfer-Encoding: base64\n");
  out.add(dispositionField("attachment", {{"filename", std::string(name)}}));
  out.add("\n");
}

std::string locationField(const Part& part) {
  if (!isWritableWord(part.location)) {
    return {};
  }
  const std::string field = wordField("Content-Location", {part.location});
  // A location that looks like an encoded word and does not fit cannot be folded, so it is left
  // out.
  return hasLongEncodedWords(std::string_view(field).substr(0, field.size() - 1)) ? std::string()
                                                                                  : field;
}

std::unique_ptr<ContentFilter> filterFor(Carriage carriage, ForwardOutput& out) {
  switch (carriage) {
    case Carriage::kAsIs:
      break;
    case Carriage::kRewrapBase64:
      return std::make_unique<Base64Rewrapper>(out);
    case Carriage::kRewrapQuotedPrintable:
      return std::make_unique<QuotedPrintableRewrapper>(out);
    case Carriage::kEncodeQuotedPrintable:
      return std::make_unique<QuotedPrintableEncoder>(out);
    case Carriage::kEncodeBase64:
    case Carriage::kFile:
      return std::make_unique<Base64Encoder>(out);
  }
  return std::make_unique<PlainLineEnds>(out);
}

}  // namespace relaybird
