// SPDX-License-Identifier: MIT
#include "contract/mail_store_contract.h"

#include <algorithm>
#include <cctype>

namespace relaybird {

std::shared_ptr<Application> MailStoreContract::application() {
  return createAs<Application>(factory(), prog_id::kApplication);
}

std::shared_ptr<Folder> MailStoreContract::inbox() {
  return application()->GetNamespace("MAPI")->GetDefaultInbox();
}

std::shared_ptr<SyncObject> MailStoreContract::sync() {
  return application()->GetNamespace("MAPI")->SyncObjects()->Item(1);
}

std::shared_ptr<MailItem> MailStoreContract::received(const SampleMail& mail) {
  outside->deliver(mail);
  const auto all = items();
  return all->Item(all->Count());
}

std::shared_ptr<MailItem> MailStoreContract::addressedForward(const SampleMail& mail) {
  auto forward = received(mail)->Forward();
  forward->Recipients()->Add("good@example.org");
  return forward;
}

void MailStoreContract::deliverSubjects(const std::vector<std::string>& subjects) {
  SampleMail mail;
  for (const auto& subject : subjects) {
    mail.subject = subject;
    mail.received += std::chrono::minutes{1};
    outside->deliver(mail);
  }
}

std::vector<std::string> subjectsOf(ItemCollection& collection) {
  std::vector<std::string> subjects;
  for (std::int32_t i = 1; i <= collection.Count(); ++i) {
    subjects.push_back(collection.Item(i)->Subject());
  }
  return subjects;
}

std::string plainLines(std::string text) {
  text.erase(std::remove(text.begin(), text.end(), '\r'), text.end());
  while (!text.empty() && text.back() == '\n') {
    text.pop_back();
  }
  return text;
}

bool sameName(std::string_view left, std::string_view right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(), [](char a, char b) {
    return std::tolower(static_cast<unsigned char>(a)) ==
           std::tolower(static_cast<unsigned char>(b));
  });
}

}  // namespace relaybird
