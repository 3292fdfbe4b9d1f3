// SPDX-License-Identifier: MIT
#include "contract/sent_message.h"

#include <gmime/gmime.h>

#include <memory>

#include "message/text/libraries.h"

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

}  // namespace

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

}  // namespace relaybird
