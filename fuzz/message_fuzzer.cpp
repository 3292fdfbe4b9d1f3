// SPDX-License-Identifier: MIT
// Any bytes as a message: its kind, its texts and attachments, and the forward made of it, which
// must be a message with the same content.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <memory>
#include <numeric>
#include <string>
#include <vector>

#include "message/memory_files.h"
#include "message/message.h"
#include "message/message_kind.h"
#include "message/message_rules.h"
#include "message/parts/message_layout.h"
#include "message/text/charset.h"
#include "message/writing/forward.h"
#include "message/writing/forward_text.h"

namespace {

using namespace relaybird;

void require(bool holds, const char* what) {
  if (!holds) {
    std::cerr << "violated: " << what << '\n';
    std::abort();
  }
}

bool isOneLine(const std::string& text) {
  return text.find('\n') == std::string::npos && text.find('\r') == std::string::npos &&
         text.find('\0') == std::string::npos;
}

void checkTexts(const Message& message) {
  for (const std::string& line :
       {message.subject(), message.addressText("From"), message.addressText("To")}) {
    require(isValidUtf8(line), "header texts are UTF-8");
    require(isOneLine(line), "header texts are one line");
  }
  require(isValidUtf8(message.bodyText()), "the text is UTF-8");
  require(message.bodyText().find('\r') == std::string::npos, "lines end with LF");
  require(!message.htmlBody() || isValidUtf8(*message.htmlBody()), "the HTML is UTF-8");
  message.date();
  message.task();
}

void checkParts(const Part& part, std::uint64_t begin, std::uint64_t end) {
  require(begin <= part.begin && part.begin <= part.body && part.body <= part.end,
          "parts in order");
  require(part.end <= end, "parts lie within their parent");
  for (const auto& child : part.children) {
    checkParts(*child, part.body, part.end);
  }
}

ForwardDraft draftOf(const Message& source) {
  ForwardDraft draft;
  draft.source = &source;
  draft.from = {"Me", "me@example.com"};
  draft.to = {{"", "pager@example.net"}};
  draft.replyTo = source.headers().mailboxes("From");
  draft.subject = source.subject();
  draft.messageId = "<forward@example.com>";
  draft.traces = traceMarks(source.headers());
  draft.traces.insert(draft.traces.begin(), "mark");
  draft.keptAttachments.resize(source.attachments().size());
  std::iota(draft.keptAttachments.begin(), draft.keptAttachments.end(), 0U);
  return draft;
}

void checkTraces(std::vector<std::string> expected, const HeaderBlock& forward) {
  require(expected.size() <= kHopLimit, "traces are bounded");
  std::erase(expected, "mark");
  expected.insert(expected.begin(), "mark");
  expected.resize(std::min(expected.size(), kHopLimit));
  require(traceMarks(forward) == expected, "traces are carried on behind ours");
  require(forward.value("Auto-Submitted") == "auto-generated", "a forward is automatic");
}

void checkForward(const Message& source) {
  MemoryOutput out;
  require(static_cast<bool>(writeForward(draftOf(source), out)), "every message can be forwarded");
  for (const std::string& wrong : brokenRules(out.written)) {
    std::cerr << wrong << '\n';
    require(false, "a forward obeys the rules for mail");
  }
  const auto forward = Message::read(memoryFile(out.written));
  require(static_cast<bool>(forward), "a forward can be read");
  const HeaderBlock& headers = (*forward)->headers();
  require(headers.ended() && headers.value("To") == "pager@example.net", "the recipient is ours");
  require(!headers.raw("Bcc") && headers.allRaw(kTraceHeader).size() == 1,
          "no field was slipped in");
  checkTraces(traceMarks(source.headers()), headers);
  require(!(*forward)->isOpaque() || source.attachments().size() > 1000, "a forward can be opened");
  if (!(*forward)->isOpaque()) {
    require((*forward)->attachments().size() == source.attachments().size(), "all is carried");
    const std::string text = forwardText(source, "");
    const std::string carried = (*forward)->bodyText();
    require(carried == text || carried == text + "\n", "the text is carried");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string bytes(reinterpret_cast<const char*>(data), size);
  const auto file = memoryFile(bytes);
  const auto headers = readHeaderBlock(*file);
  require(static_cast<bool>(headers), "headers can be read");
  require(headers->bodyOffset() <= size, "the body begins within the message");
  for (const bool ours : {true, false}) {
    const auto answer = [ours](std::string_view) { return ours; };
    const auto kind = readMessageKind(*headers, *file, {answer, answer});
    require(static_cast<bool>(kind), "the kind can be read");
    require(ours || *kind != MessageKind::kOwnForward, "what is nobody's is not ours");
  }
  const auto message = Message::read(file);
  require(static_cast<bool>(message), "the message can be read");
  checkParts((*message)->layout().root(), 0, size);
  checkTexts(**message);
  checkForward(**message);
  return 0;
}
