// SPDX-License-Identifier: MIT
// Chooses between terminal and script by the kinds of standard input and output, makes the forms
// over the store, and serves the system's requests: to end, and, where no person is there, to read
// the preferences again. The session decides when the program ends; everything else asks it to, so
// that boxes are answered and a check that runs comes to its end.
#include "app/console_application.h"

#include <utility>

#include "app/program_start.h"
#include "ui/console/console_output.h"
#include "ui/console/line_source.h"

namespace relaybird {
namespace {

// The version of the lines that scripts read and write; docs/console.md.
constexpr int kProtocol = 1;

}  // namespace

ConsoleApplication::ConsoleApplication(ProgramIdentity identity, ProgramPlatform platform,
                                       ConsoleSystem& system, Manual manual)
    : manual_(std::move(manual)),
      system_(system),
      loop_(system.loop()),
      core_(
          std::move(platform), std::move(identity), loop_,
          [this](const StoreNotice& notice) {
            if (forms_) {
              forms_->handleNotice(notice);
            }
          },
          [this] { return keepAlive(); }),
      input_(system.inputKind()) {
  system_.watchOutput([this] { outputBroken(); });
}

// The store is closed last, and its last notices may find the log gone.
ConsoleApplication::~ConsoleApplication() {
  system_.listen({});
  system_.watchOutput([] {});
  session_.reset();
  program_.reset();
  observer_.reset();
  forms_.reset();
  core_.closeStore();
}

// The mailbox comes first: a program that is refused must not have printed anything to its output,
// where a script reads the protocol.
int ConsoleApplication::run() {
  if (const auto refusal = core_.prepare()) {
    core_.platform.streams.err(core_.identity().name + ": " + refusal->text + "\n");
    return refusal->status;
  }
  makeConsole();
  makeForms();
  // Not earlier: the requests are served by the session.
  system_.listen({.end = [this] { terminated(); }, .hangUp = [this] { hungUp(); }});
  session_->begin([this] { startUp(); });
  loop_.runUntil([this] { return session_->ended(); });
  forms_->shutDown();
  return status_ != 0 ? status_ : session_->exitStatus();
}

// A person gets prompts, colours and abbreviations, a script the line protocol. The clipboard is
// the terminal's, so that a script has none.
void ConsoleApplication::makeConsole() {
  const bool person = input_ == InputKind::kPerson;
  if (person) {
    auto output = std::make_unique<TerminalOutput>(system_.output(), system_.terminalManner());
    auto lines = system_.terminalLines(
        {.historyFile = core_.stateFile("console-history"),
         .complete = [this](std::string_view line) { return completions(line, forms_->forms()); }});
    output->setPrompt(lines.get());
    output_ = std::move(output);
    lines_ = std::move(lines);
  } else {
    output_ = std::make_unique<ScriptOutput>(system_.output());
    lines_ = std::make_unique<StreamLines>(system_.input());
  }
  dialogs_ = std::make_unique<ConsoleDialogs>(
      DialogsParts{.out = *output_,
                   .runUntil = [this](const auto& done) { return loop_.runUntil(done); },
                   .forPeople = person});
  clipboard_ = std::make_unique<ConsoleClipboard>(person ? &system_.output() : nullptr, *output_);
  helpViewer_ = std::make_unique<ConsoleHelpViewer>(*output_, manual_.topics);
  folderViewer_ = std::make_unique<ConsoleFolderViewer>(*output_);
}

void ConsoleApplication::makeForms() {
  forms_ = std::make_unique<ProgramForms>(
      ProgramWorld{.objects = core_.objects(),
                   .outgoing = core_.outgoing(),
                   .files = core_.files,
                   .profiles = core_.profiles,
                   .folders = *core_.platform.folders,
                   .osVersion = *core_.platform.osVersion,
                   .clock = *core_.platform.clock,
                   .sleeper = *core_.platform.sleeper,
                   .timers = loop_,
                   .events = loop_,
                   .trace = core_.trace,
                   .dialogs = *dialogs_,
                   .screen = screen_,
                   .clipboard = *clipboard_,
                   .helpViewer = *helpViewer_,
                   .folderViewer = *folderViewer_,
                   .systemInformation = *core_.platform.systemInformation,
                   .tray = tray_,
                   .notifications = notifications_,
                   .autostart = autostart_,
                   .setup = core_.setup(),
                   .version = core_.identity().version,
                   .defaultHelpFile = defaultHelpFile(core_.files, core_.platform.programFolder),
                   .decimalSeparator = core_.platform.decimalSeparator,
                   .verbose = core_.verbose});
  frmRelaybird& main = forms_->main();
  // Made after the forms are whole: what they set up themselves is no news.
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
      std::move(manual_), core_.platform.decimalSeparator,
      [this](const auto& done) { loop_.runUntil(done); });
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

// Run by the session, so that boxes at the start can be answered already.
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
    output_->event("note", "there is no mailbox yet; type: setup");
  }
  if (forms_->main().prf().GetForwardAddress().empty()) {
    output_->event("note", "no address to forward to is set; type: settings txtAddress ADDRESS");
  }
}

// May be called inside any output, so the end is posted.
void ConsoleApplication::outputBroken() {
  status_ = 1;
  loop_.post([this] { session_->end(); });
}

// Whoever asked for the end may not read the output any more.
void ConsoleApplication::terminated() {
  system_.hurry();
  session_->end();
}

// A person's terminal has gone. A service has none, and is asked by the same signal to look at its
// settings again.
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
