// SPDX-License-Identifier: MIT
#include "ui/forms/setup/setup_advice.h"

#include "platform/text/ascii_text.h"

namespace relaybird {

namespace {

SetupAdvice adviceAbout(const Proposal& proposal) {
  SetupAdvice advice;
  advice.page = proposal.page;
  for (const std::string& remark : proposal.remarks) {
    addAdviceLine(advice.first.empty() ? advice.first : advice.more, remark);
  }
  return advice;
}

// A server for sending with a sign-in of its own; with the account's the advice is about that.
bool signsInToSend(const MailSettings& settings) {
  return settings.delivery == DeliveryKind::kSmtp && settings.smtp.signIn &&
         settings.smtp.secret != SecretSource::kSameAsImap;
}

std::string passwordLabel(const Proposal& proposal) {
  return proposal.signIn == ProviderSignIn::kAppPassword ? "App password:" : "Password:";
}

}  // namespace

void addAdviceLine(std::string& text, std::string_view line) {
  text += text.empty() ? "" : "\r\n";
  text += line;
}

Proposal knownForReading(const MailSettings& settings, std::string_view address,
                         const Proposal& proposal) {
  if (proposal.kind == Proposal::Kind::kGuess) {
    Proposal byServer = proposalAt(settings.imap.server, address);
    if (byServer.kind == Proposal::Kind::kFound) {
      return byServer;
    }
  }
  return proposal;
}

SetupAdvice setupAdvice(const MailSettings& settings, std::string_view address,
                        const Proposal& proposal, const std::string& userAtHost) {
  const Proposal sending =
      signsInToSend(settings) ? proposalAt(settings.smtp.server, address) : Proposal();
  const Proposal reading = knownForReading(settings, address, proposal);
  SetupAdvice advice;
  if (settings.mailbox == MailboxKind::kMaildir) {
    advice = adviceAbout(sending);
    // Many servers refuse mail from an address that does not exist.
    if (trimmed(address).empty()) {
      addAdviceLine(advice.first.empty() ? advice.first : advice.more,
                    "Without your address, forwards come from " + userAtHost +
                        ", which many servers refuse.");
    }
  } else {
    advice = adviceAbout(reading);
    // Servers that were typed were not filled in.
    if (proposal.kind == Proposal::Kind::kFound && !proposal.provider.empty()) {
      addAdviceLine(advice.more, proposal.provider + " is in the built-in list of " +
                                     std::string(kProviderListDate) +
                                     ", so the servers are filled in.");
    }
  }
  advice.passwordLabel = passwordLabel(reading);
  advice.smtpPasswordLabel = passwordLabel(sending);
  return advice;
}

}  // namespace relaybird
