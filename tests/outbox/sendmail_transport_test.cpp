// SPDX-License-Identifier: MIT
// The arguments that the delivery command gets, and the meaning of each of its exit statuses. No
// command is run: a runner notes the arguments and gives the result that the test wants.
#include "outbox/delivery/sendmail_transport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <memory>

#include "message/memory_files.h"

namespace relaybird {
namespace {

using End = CommandResult::End;
using Kind = Outcome::Kind;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::SizeIs;

struct RecordingRunner : CommandRunner {
  CommandResult run(const std::vector<std::string>& given, const CommandInput& bytes,
                    std::chrono::milliseconds limit, std::stop_token) override {
    arguments = given;
    for (auto piece = bytes(); !piece || !piece->empty(); piece = bytes()) {
      if (!piece) {
        return {End::kNoInput, piece.error().code, piece.error().text};
      }
      input += *piece;
    }
    timeLimit = limit;
    return result;
  }
  std::vector<std::string> arguments;
  std::string input;
  std::chrono::milliseconds timeLimit{0};
  CommandResult result{End::kExited, 0, {}};
};

OutgoingMessage messageTo(std::vector<std::string> recipients) {
  return {{"ann@example.org", std::move(recipients)}, "subject", OutgoingText("From: x\n\n.\n")};
}

TEST(SendmailTransport, PassesTheEnvelopeAsArgumentsOfItsOwn) {
  RecordingRunner runner;
  SendmailTransport transport(runner, {"/bin/mta", "-a", "work"});
  const auto outcome = transport.deliver(messageTo({"a b@x", "$(rm)@x"}), {});
  EXPECT_EQ(outcome.kind, Kind::kDelivered);
  EXPECT_THAT(runner.arguments, ElementsAre("/bin/mta", "-a", "work", "-i", "-f", "ann@example.org",
                                            "--", "a b@x", "$(rm)@x"));
  EXPECT_EQ(runner.input, "From: x\n\n.\n");
  EXPECT_EQ(runner.timeLimit, std::chrono::minutes{10});
}

TEST(SendmailTransport, HandsOverToAHundredRecipientsAtOnce) {
  RecordingRunner runner;
  SendmailTransport transport(runner, {"/bin/mta"});
  (void)transport.deliver(messageTo(std::vector<std::string>(100, "r@example.org")), {});
  EXPECT_THAT(runner.arguments, SizeIs(105));
}

TEST(SendmailTransport, EveryExitStatusHasItsMeaning) {
  struct Row {
    int status;
    Kind kind;
    bool everything;
  };
  for (const Row& row : {Row{0, Kind::kDelivered, false}, {1, Kind::kTemporary, false},
                         {2, Kind::kTemporary, false},    {64, Kind::kPermanent, false},
                         {65, Kind::kPermanent, false},   {66, Kind::kPermanent, false},
                         {67, Kind::kPermanent, false},   {68, Kind::kTemporary, true},
                         {69, Kind::kPermanent, false},   {70, Kind::kPermanent, false},
                         {71, Kind::kTemporary, true},    {72, Kind::kTemporary, true},
                         {73, Kind::kTemporary, true},    {74, Kind::kTemporary, true},
                         {75, Kind::kTemporary, false},   {76, Kind::kPermanent, false},
                         {77, Kind::kTemporary, true},    {78, Kind::kTemporary, true},
                         {126, Kind::kTemporary, true},   {127, Kind::kTemporary, true},
                         {255, Kind::kTemporary, false}}) {
    const auto outcome = outcomeOf({End::kExited, row.status, "550 said so\n"}, "/bin/mta");
    EXPECT_EQ(outcome.kind, row.kind) << row.status;
    EXPECT_EQ(outcome.everything, row.everything) << row.status;
    if (row.status == 0) {
      continue;
    }
    EXPECT_THAT(outcome.words, HasSubstr("550 said so"));
    EXPECT_THAT(outcome.words,
                HasSubstr("/bin/mta ended with status " + std::to_string(row.status)));
  }
}

TEST(SendmailTransport, OtherEndsAreTemporaryAndSaySo) {
  const auto killed = outcomeOf({End::kKilled, 9, {}}, "/bin/mta");
  EXPECT_EQ(killed.kind, Kind::kTemporary);
  EXPECT_FALSE(killed.everything);
  EXPECT_EQ(killed.words, "/bin/mta was ended by signal 9");
  const auto late = outcomeOf({End::kTimedOut, 0, "connecting"}, "/bin/mta");
  EXPECT_EQ(late.kind, Kind::kTemporary);
  EXPECT_TRUE(late.everything);
  EXPECT_EQ(late.words, "connecting (/bin/mta did not end in time)");
  const auto missing = outcomeOf({End::kNotStarted, ENOENT, {}}, "/bin/mta");
  EXPECT_EQ(missing.kind, Kind::kTemporary);
  EXPECT_TRUE(missing.everything);
  EXPECT_EQ(missing.words, "/bin/mta cannot be started: No such file or directory");
  const auto tooMany = outcomeOf({End::kNotStarted, E2BIG, {}}, "/bin/mta");
  EXPECT_EQ(tooMany.kind, Kind::kPermanent);
  EXPECT_EQ(tooMany.words, "/bin/mta cannot be started: Argument list too long");
  EXPECT_EQ(outcomeOf({End::kCancelled, 0, {}}, "/bin/mta").kind, Kind::kCancelled);
}

// A command that got the half of it would send that.
TEST(SendmailTransport, AMessageThatCannotBeReadToItsEndIsKept) {
  class Broken : public MemoryInput {
   public:
    using MemoryInput::MemoryInput;
    Result<std::size_t> readAt(std::uint64_t offset, char* buffer, std::size_t size) override {
      failing = offset > 0;
      return MemoryInput::readAt(offset, buffer, size);
    }
  };
  RecordingRunner runner;
  OutgoingMessage message = messageTo({"r@example.org"});
  message.text =
      *OutgoingText::read(std::make_unique<Broken>("a: b\n\n" + std::string(90'000, 'x')));
  const auto outcome = SendmailTransport(runner, {"/bin/mta"}).deliver(message, {});
  EXPECT_EQ(outcome.kind, Kind::kTemporary);
  EXPECT_EQ(outcome.cause, Outcome::Cause::kDisk);
  EXPECT_FALSE(outcome.everything) << "others can be read";
  EXPECT_EQ(outcome.words, "the disk is gone");
}

TEST(SendmailTransport, AnExitStatusIsToldWithWhatWasPrintedBeforeItOrAlone) {
  EXPECT_EQ(outcomeOf({End::kExited, 67, " 550 no\nsuch user \n"}, "/bin/mta").words,
            "550 no\nsuch user (/bin/mta ended with status 67: a recipient is unknown)");
  EXPECT_EQ(outcomeOf({End::kExited, 75, {}}, "/bin/mta").words,
            "/bin/mta ended with status 75: temporary failure");
  EXPECT_EQ(outcomeOf({End::kExited, 5, {}}, "/bin/mta").words, "/bin/mta ended with status 5");
}

TEST(SplitCommand, TakesArgumentsApartAtBlanks) {
  EXPECT_THAT(*splitCommand("/usr/bin/msmtp"), ElementsAre("/usr/bin/msmtp"));
  EXPECT_THAT(*splitCommand("  /usr/bin/msmtp \t-a  work "),
              ElementsAre("/usr/bin/msmtp", "-a", "work"));
}

TEST(SplitCommand, RefusesWhatIsNoFullPath) {
  for (const std::string& command :
       {std::string(), std::string("  "), std::string("sendmail"), std::string("./sendmail"),
        std::string("~/sendmail"), std::string("/bin/a\0b", 8)}) {
    const auto parts = splitCommand(command);
    ASSERT_FALSE(parts) << command;
    const bool empty = command.find_first_not_of(' ') == command.npos;
    EXPECT_EQ(parts.error().text, empty ? "The delivery command is empty"
                                        : "The delivery command must begin with a full path, such "
                                          "as /usr/sbin/sendmail: " +
                                              command);
  }
}

}  // namespace
}  // namespace relaybird
