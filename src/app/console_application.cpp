// SPDX-License-Identifier: MIT
// Chooses between terminal and script by the kinds of standard input and output, makes the forms
// over the store, and translates signals: SIGTERM and SIGINT end the program, SIGHUP makes a
// script's console read the preferences again.
#include "app/console_application.h"

#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>
#include <utility>

#include "app/program_start.h"
#include "platform/posix/posix_processes.h"
#include "ui/console/console_output.h"
#include "ui/console/line_source.h"
#include "ui/forms/desktop_programs.h"

namespace relaybird {
namespace {

// The version of the lines that scripts read and write; docs/console.md.
constexpr int kProtocol = 1;

bool isNullDevice(int descriptor) {
  struct stat own {};
  struct stat null {};
  return ::fstat(descriptor, &own) == 0 && ::stat("/dev/null", &null) == 0 &&
         S_ISCHR(own.st_mode) && own.st_rdev == null.st_rdev;
}

std::string_view variable(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? std::string_view{} : value;
}

int terminalColumns() {
  winsize size{};
  const bool known = ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
  return known ? size.ws_col : 80;
}

// A person only where both streams are terminals.
InputKind standardInputKind() {
  if (::isatty(STDIN_FILENO) == 1 && ::isatty(STDOUT_FILENO) == 1) {
    return InputKind::kPerson;
  }
  return isNullDevice(STDIN_FILENO) ? InputKind::kNothing : InputKind::kScript;
}

// What the terminal on standard output can do, by TERM and NO_COLOR (no-color.org).
TerminalManner standardTerminalManner() {
  const std::string_view terminal = variable("TERM");
  const bool able = !terminal.empty() && terminal != "dumb";
  return {able && variable("NO_COLOR").empty(), able, terminalColumns};
}

}  // namespace

ConsoleApplication::ConsoleApplication(ProgramIdentity identity, Manual manual, std::ostream& err)
    : manual_(std::move(manual)),
      err_(err),
      core_(
          std::move(identity), loop_,
          [this](const StoreNotice& notice) {
            if (forms_) {
              forms_->handleNotice(notice);
            }
          },
          [this] { return keepAlive(); }),
      input_(standardInputKind()),
      sink_(STDOUT_FILENO, signals_.descriptor(), [this] { outputBroken(); }) {}

// The store is closed last, and its last notices may find the log gone.
ConsoleApplication::~ConsoleApplication() {
  signalWatch_.reset();
  session_.reset();
  program_.reset();
  observer_.reset();
  forms_.reset();
  core_.closeStore();
}

int ConsoleApplication::run() {
  if (const auto refusal = core_.prepare()) {
    err_ << core_.identity().name << ": " << refusal->text << '\n';
    return refusal->status;
  }
  makeConsole();
  makeForms();
  listenToSignals();
  session_->begin([this] { startUp(); });
  loop_.runUntil([this] { return session_->ended(); });
  forms_->shutDown();
  return status_ != 0 ? status_ : session_->exitStatus();
}

void ConsoleApplication::makeConsole() {
  const bool person = input_ == InputKind::kPerson;
  if (person) {
    const TerminalManner manner = standardTerminalManner();
    auto output = std::make_unique<TerminalOutput>(sink_, manner);
    auto lines = makeTerminalLines(
        {.loop = loop_,
         .sink = sink_,
         .input = STDIN_FILENO,
         .output = STDOUT_FILENO,
         .movesCursor = manner.movesCursor,
         .historyFile = core_.stateFile("console-history"),
         .complete = [this](std::string_view line) { return completions(line, forms_->forms()); }});
    output->setPrompt(lines.get());
    output_ = std::move(output);
    lines_ = std::move(lines);
  } else {
    output_ = std::make_unique<ScriptOutput>(sink_);
    lines_ = std::make_unique<StreamLines>(loop_, STDIN_FILENO);
  }
  dialogs_ = std::make_unique<ConsoleDialogs>(
      DialogsParts{.out = *output_,
                   .runUntil = [this](const auto& done) { return loop_.runUntil(done); },
                   .forPeople = person});
  clipboard_ = std::make_unique<ConsoleClipboard>(person ? &sink_ : nullptr, *output_);
  helpViewer_ = std::make_unique<ConsoleHelpViewer>(*output_, manual_.topics);
  folderViewer_ = std::make_unique<ConsoleFolderViewer>(*output_);
  systemInformation_ = std::make_unique<ListedSystemInformation>(freeDesktopInformationTools(),
                                                                 core_.files, startProgram);
}

void ConsoleApplication::makeForms() {
  forms_ = std::make_unique<ProgramForms>(
      ProgramWorld{.objects = core_.objects(),
                   .outgoing = core_.outgoing(),
                   .files = core_.files,
                   .profiles = core_.profiles,
                   .folders = core_.folders,
                   .osVersion = core_.osVersion,
                   .clock = core_.clock,
                   .sleeper = core_.sleeper,
                   .timers = loop_,
                   .events = loop_,
                   .trace = core_.trace,
                   .dialogs = *dialogs_,
                   .screen = screen_,
                   .clipboard = *clipboard_,
                   .helpViewer = *helpViewer_,
                   .folderViewer = *folderViewer_,
                   .systemInformation = *systemInformation_,
                   .tray = tray_,
                   .notifications = notifications_,
                   .autostart = autostart_,
                   .setup = core_.setup(),
                   .version = core_.identity().version,
                   .defaultHelpFile = defaultHelpFile(core_.files, programFolder()),
                   .decimalSeparator = userDecimalSeparator(),
                   .verbose = core_.verbose});
  frmRelaybird& main = forms_->main();
  observer_ = std::make_unique<ConsoleObserver>(
      forms_->forms(),
      ConsoleObserver::News{&main.lblCurrentActions, &main.txtStatus, &main.txtNumberForwarded,
                            &forms_->log().lstLog, &forms_->setup().txtTest},
      *output_);
  program_ = std::make_unique<ProgramCommands>(
      *forms_, core_.outgoing(),
      [this] {
        return std::vector<Fact>{
            {"version", core_.identity().versionText},
            {"mail-store", core_.mailbox().store + " " + core_.mailbox().place}};
      },
      std::move(manual_), userDecimalSeparator());
  session_ = std::make_unique<ConsoleSession>(SessionParts{.events = loop_,
                                                           .timers = loop_,
                                                           .lines = *lines_,
                                                           .out = *output_,
                                                           .dialogs = *dialogs_,
                                                           .program = *program_,
                                                           .input = input_,
                                                           .endProgram = [this] { end(); }});
  screen_.onEnd([this] { session_->end(); });
}

void ConsoleApplication::listenToSignals() {
  signalWatch_ = loop_.watchReadable(signals_.descriptor(), [this] {
    if (signals_.take() == SIGHUP) {
      hungUp();
    } else {
      terminated();
    }
  });
}

void ConsoleApplication::startUp() {
  output_->event("program", core_.identity().name + " " + core_.identity().versionText +
                                ", protocol " + std::to_string(kProtocol));
  if (!forms_->start()) {
    status_ = 1;
    session_->end();
    return;
  }
  if (!session_->ended()) {
    greet();
  }
}

void ConsoleApplication::greet() {
  for (const auto& [kind, text] : program_->status()) {
    output_->reply(kind, text);
  }
  if (forms_->main().mailbox().noMailbox()) {
    output_->event("note", "there is no mailbox yet; one is set up by: setup");
  }
  if (forms_->main().prf().GetForwardAddress().empty()) {
    output_->event("note",
                   "no address to forward to is set; one is by: settings txtAddress ADDRESS");
  }
}

// May be called inside any output, so the end is posted.
void ConsoleApplication::outputBroken() {
  status_ = 1;
  loop_.post([this] { session_->end(); });
}

void ConsoleApplication::terminated() {
  sink_.hurry();
  session_->end();
}

void ConsoleApplication::hungUp() {
  if (input_ == InputKind::kPerson) {
    session_->end();
  } else if (!session_->ended()) {
    forms_->readPreferencesAgain();
    output_->event("note", "the preferences have been read again");
  }
}

// A person can type `stop` meanwhile; a script's commands wait, as during any other command.
bool ConsoleApplication::keepAlive() {
  loop_.processPending();
  return !forms_ || !forms_->main().engine().state().stopWanted();
}

// A pass that is running ends after the current item; then the loops return.
void ConsoleApplication::end() {
  forms_->shutDown();
  loop_.quit();
}

}  // namespace relaybird
