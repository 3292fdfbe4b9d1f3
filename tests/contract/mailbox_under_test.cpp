// SPDX-License-Identifier: MIT
// The messages of the outbox are read as their recipient's mail program would read them: with
// GMime, and not with the code that wrote them.
#include "contract/mailbox_under_test.h"

#include <fcntl.h>
#include <gmime/gmime.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <memory>

#include "message/text/libraries.h"
#include "platform/text/ascii_text.h"
#include "support/mail_text.h"

namespace relaybird {

namespace {

template <class T>
using Ref = std::unique_ptr<T, decltype(&g_object_unref)>;

template <class T>
Ref<T> own(T* object) {
  return {object, &g_object_unref};
}

std::string text(const char* value) {
  return value == nullptr ? "" : value;
}

std::vector<std::string> addresses(InternetAddressList* list) {
  std::vector<std::string> result;
  for (int i = 0; list != nullptr && i < internet_address_list_length(list); ++i) {
    InternetAddress* one = internet_address_list_get_address(list, i);
    result.push_back(text(internet_address_mailbox_get_addr(INTERNET_ADDRESS_MAILBOX(one))));
  }
  return result;
}

std::string contentOf(GMimePart* part) {
  const auto stream = own(g_mime_stream_mem_new());
  g_mime_data_wrapper_write_to_stream(g_mime_part_get_content(part), stream.get());
  const GByteArray* bytes = g_mime_stream_mem_get_byte_array(GMIME_STREAM_MEM(stream.get()));
  return {reinterpret_cast<const char*>(bytes->data), bytes->len};
}

void readPart(GMimeObject*, GMimeObject* object, void* into) {
  SentMail& mail = *static_cast<SentMail*>(into);
  if (!GMIME_IS_PART(object)) {
    return;
  }
  GMimePart* part = GMIME_PART(object);
  GMimeContentType* type = g_mime_object_get_content_type(object);
  if (const char* name = g_mime_part_get_filename(part)) {
    mail.attachments.push_back({name, contentOf(part)});
  } else if (g_mime_content_type_is_type(type, "text", "html")) {
    mail.html = true;
  } else if (g_mime_content_type_is_type(type, "text", "plain")) {
    mail.body += contentOf(part);
  }
}

SentMail readSentMessage(std::string_view bytes) {
  prepareLibraries();
  const auto stream = own(g_mime_stream_mem_new_with_buffer(bytes.data(), bytes.size()));
  const auto parser = own(g_mime_parser_new_with_stream(stream.get()));
  const auto message = own(g_mime_parser_construct_message(parser.get(), nullptr));
  SentMail mail;
  if (!message) {
    return mail;
  }
  for (const auto& one : addresses(g_mime_message_get_to(message.get()))) {
    mail.recipients.emplace_back(one, RecipientType::kTo);
  }
  for (const auto& one : addresses(g_mime_message_get_bcc(message.get()))) {
    mail.recipients.emplace_back(one, RecipientType::kBlindCopy);
  }
  mail.replyTo = addresses(g_mime_message_get_reply_to(message.get()));
  mail.subject = text(g_mime_message_get_subject(message.get()));
  if (GMimeObject* root = g_mime_message_get_mime_part(message.get())) {
    if (GMIME_IS_MULTIPART(root)) {
      g_mime_multipart_foreach(GMIME_MULTIPART(root), readPart, &mail);
    } else {
      readPart(nullptr, root, &mail);
    }
  }
  return mail;
}

}  // namespace

std::vector<SentMail> MailboxUnderTest::outbox() {
  std::set<std::string> files;
  std::error_code none;
  for (const auto& entry : std::filesystem::directory_iterator(outboxFolder() + "/new", none)) {
    files.insert(entry.path().string());
  }
  std::vector<SentMail> sent;
  for (const std::string& file : files) {
    sent.push_back(readSentMessage(readBytes(file)));
  }
  return sent;
}

void MailboxUnderTest::removeComponent(std::string_view progId) {
  partial_.missing.insert(asciiLower(progId));
}

std::shared_ptr<AutomationObject> MailboxUnderTest::Partial::CreateObject(std::string_view progId) {
  if (missing.contains(asciiLower(progId))) {
    throw MailStoreError("not installed");
  }
  return test_.whole().factory().CreateObject(progId);
}

std::optional<std::pair<std::string, std::string>> MailboxUnderTest::knownName() {
  return std::pair("Ann Example", "ann@example.org");
}

std::string MailboxUnderTest::makeAddressBook(const TempFolder& temp) {
  std::string file = temp.path("book.vcf");
  writeBytes(file,
             "BEGIN:VCARD\r\nVERSION:4.0\r\nFN:Ann Example\r\nEMAIL:ann@example.org\r\n"
             "END:VCARD\r\n");
  return file;
}

std::string MailboxUnderTest::textOf(const SampleMail& mail) {
  MailText text;
  text.from = mail.senderAddress.empty() ? "" : mail.senderName + " <" + mail.senderAddress + ">";
  text.subject = mail.subject;
  text.body = mail.body;
  text.html = mail.html;
  for (const auto& [name, bytes] : mail.attachments) {
    text.attachments.emplace_back(name, bytes);
  }
  return mailTextOfKind(mail.kind, text);
}

void MailboxUnderTest::setReceived(const std::string& path, DateTime received) {
  const auto seconds =
      std::chrono::floor<std::chrono::seconds>(received).time_since_epoch().count();
  const timespec times[2] = {{seconds, 0}, {seconds, 0}};
  ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
}

bool MailboxUnderTest::begin(Trouble trouble) {
  if (trouble == Trouble::kOutboxRefuses) {
    disk().failFromStep(disk().steps() + 1, ENOSPC);
  } else {
    loseInbox();
  }
  return true;
}

void MailboxUnderTest::end(Trouble trouble) {
  if (trouble == Trouble::kOutboxRefuses) {
    disk().reset();
  } else {
    findInbox();
  }
}

}  // namespace relaybird
