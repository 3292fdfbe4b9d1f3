// SPDX-License-Identifier: MIT
#include "outlook_double/commands.h"

#include <windows.h>

#include <map>
#include <stdexcept>

#include "outlook_double/double_world.h"
#include "outlook_double/journal.h"
#include "outlook_double/objects.h"

namespace relaybird::outlook_double {

namespace {

std::string decoded(std::string_view text) {
  std::string bytes;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size()) {
      bytes += static_cast<char>(std::stoi(std::string(text.substr(i + 1, 2)), nullptr, 16));
      i += 2;
    } else {
      bytes += text[i];
    }
  }
  return bytes;
}

DoubleWorld& world() {
  return DoubleWorld::only();
}

HRESULT codeOf(const CommandLine& command) {
  return static_cast<HRESULT>(std::stoul(command.value("code", "80004005"), nullptr, 16));
}

Plan planOf(const CommandLine& command, PlanKind kind) {
  Plan plan;
  plan.kind = kind;
  plan.call = command.value("call");
  plan.skip = static_cast<std::size_t>(command.number("skip", 0));
  plan.times = static_cast<std::size_t>(command.number("times", -1));
  plan.code = codeOf(command);
  plan.source = command.value("source", plan.source);
  plan.text = command.value("text", plan.text);
  plan.milliseconds = static_cast<std::uint32_t>(command.number("milliseconds", 0));
  return plan;
}

std::string deliver(const CommandLine& command) {
  return "ok" + field("id", world().deliver(itemOfLine(command))) + "\n";
}

std::string take(const CommandLine& command) {
  auto& store = world().store();
  const auto inbox = createAs<Application>(store.factory(), prog_id::kApplication)
                         ->GetNamespace("MAPI")
                         ->GetDefaultInbox()
                         ->Items();
  for (std::int32_t i = 1; i <= inbox->Count(); ++i) {
    if (inbox->Item(i)->Subject() == command.value("subject")) {
      world().takeAway(inbox->Item(i)->EntryID());
      return {};
    }
  }
  throw std::invalid_argument("there is no such item");
}

std::string inbox(const CommandLine&) {
  std::string lines;
  auto& store = world().store();
  const auto items = createAs<Application>(store.factory(), prog_id::kApplication)
                         ->GetNamespace("MAPI")
                         ->GetDefaultInbox()
                         ->Items();
  for (std::int32_t i = 1; i <= items->Count(); ++i) {
    const auto item = items->Item(i);
    lines += "item" + field("id", item->EntryID()) + field("subject", item->Subject()) +
             field("unread", item->UnRead() ? "1" : "0") + "\n";
  }
  return lines;
}

std::string messages(const std::vector<MemoryMessage>& all) {
  std::string lines;
  for (const auto& message : all) {
    lines += lineOfMessage(message) + "\n";
  }
  return lines;
}

std::string name(const CommandLine& command) {
  if (command.has("address")) {
    world().store().setKnownName(command.value("name"), command.value("address"));
  } else {
    world().store().setUnresolvable(command.value("name"));
  }
  return {};
}

std::string syncs(const CommandLine& command) {
  if (command.has("end")) {
    world().behaviour().syncsEndByThemselves = command.value("end") == "itself";
  }
  world().behaviour().startsJoin = command.flag("join", world().behaviour().startsJoin);
  return {};
}

std::string event(const CommandLine& command) {
  const std::map<std::string, SyncEvent> events = {{"SyncStart", kSyncStartEvent},
                                                   {"Progress", kProgressEvent},
                                                   {"OnError", kErrorEvent},
                                                   {"SyncEnd", kSyncEndEvent}};
  world().running()->sync->fire(events.at(command.value("name")),
                                static_cast<std::int32_t>(command.number("code", 0)),
                                command.value("text"));
  return {};
}

std::string die(const CommandLine& command) {
  if (!command.has("call") && !command.has("skip")) {
    world().calls().die();
    return {};
  }
  Plan plan = planOf(command, command.flag("after", false) ? PlanKind::kDieAfter : PlanKind::kDie);
  plan.times = 1;
  world().calls().add(plan);
  return {};
}

std::string meanwhile(const CommandLine& command) {
  Plan plan = planOf(command, PlanKind::kWork);
  plan.work = [line = command.value("command")] { carryOut(CommandLine(line)); };
  world().calls().add(plan);
  return {};
}

std::string missing(const CommandLine& command) {
  Plan plan;
  plan.kind = PlanKind::kReturn;
  plan.call = "create " + command.value("component");
  plan.code = REGDB_E_CLASSNOTREG;
  world().calls().add(plan);
  return {};
}

std::string show(const CommandLine& command) {
  const std::map<std::string, DateName> dates = {{"time", DateName::kModificationTime},
                                                 {"date", DateName::kModificationDate},
                                                 {"both", DateName::kBoth}};
  const std::map<std::string, TypeNames> types = {{"underscore", TypeNames::kUnderscore},
                                                  {"class", TypeNames::kClass},
                                                  {"none", TypeNames::kNone}};
  auto& behaviour = world().behaviour();
  if (command.has("dates")) {
    behaviour.dateName = dates.at(command.value("dates"));
  }
  if (command.has("types")) {
    behaviour.typeNames = types.at(command.value("types"));
  }
  if (command.has("order")) {
    behaviour.newestFirst = command.value("order") == "newest";
  }
  if (command.has("filter")) {
    behaviour.filterIsLive = command.value("filter") == "live";
  }
  behaviour.opensByIdentifier = command.flag("openers", behaviour.opensByIdentifier);
  return {};
}

std::string counts(const CommandLine& command) {
  std::string lines;
  for (const auto& [call, count] : world().calls().counts()) {
    lines += "call" + field("call", call) + field("count", std::to_string(count)) + "\n";
  }
  if (command.flag("clear", false)) {
    world().calls().clearCounts();
  }
  return lines;
}

std::string state(const CommandLine&) {
  const auto& store = world().store();
  return "state" + field("starts", std::to_string(store.syncStarts())) +
         field("runs", std::to_string(store.syncRuns())) +
         field("deliveries", std::to_string(store.deliveries())) +
         field("sessions", std::to_string(store.attachedSessions())) +
         field("running", std::to_string(world().running()->sync->waiting())) +
         field("objects", std::to_string(liveObjects())) + "\n";
}

// Those that are one call and answer nothing.
std::string simple(const CommandLine& command) {
  auto& store = world().store();
  const auto& what = command.name();
  if (what == "reset") {
    world().reset();
  } else if (what == "mark") {
    world().mark(command.value("id"), command.flag("unread", true));
  } else if (what == "full") {
    store.setOutboxFull(command.flag("on", true));
  } else if (what == "version") {
    store.setVersion(command.value("text"));
  } else if (what == "end") {
    store.endSyncs();
  } else if (what == "raise") {
    world().calls().add(planOf(command, PlanKind::kRaise));
  } else if (what == "return") {
    world().calls().add(planOf(command, PlanKind::kReturn));
  } else if (what == "wait") {
    world().calls().add(planOf(command, PlanKind::kWait));
  } else if (what == "calm") {
    world().calls().clear();
  } else if (what == "quit") {
    world().quit();
  } else {
    throw std::invalid_argument("there is no command " + what);
  }
  return {};
}

}  // namespace

CommandLine::CommandLine(std::string_view line) {
  while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) {
    line.remove_suffix(1);
  }
  for (bool first = true; first || !line.empty(); first = false) {
    const auto end = std::min(line.find('\t'), line.size());
    const auto part = line.substr(0, end);
    line.remove_prefix(std::min(end + 1, line.size()));
    const auto equals = part.find('=');
    if (first) {
      name_ = part;
    } else if (equals != std::string_view::npos) {
      fields_.emplace_back(part.substr(0, equals), decoded(part.substr(equals + 1)));
    }
  }
}

bool CommandLine::has(std::string_view field) const {
  return !all(field).empty();
}

std::string CommandLine::value(std::string_view field, const std::string& without) const {
  const auto values = all(field);
  return values.empty() ? without : values.front();
}

long long CommandLine::number(std::string_view field, long long without) const {
  return has(field) ? std::stoll(value(field)) : without;
}

bool CommandLine::flag(std::string_view field, bool without) const {
  return has(field) ? value(field) == "1" : without;
}

std::vector<std::string> CommandLine::all(std::string_view field) const {
  std::vector<std::string> values;
  for (const auto& [name, value] : fields_) {
    if (name == field) {
      values.push_back(value);
    }
  }
  return values;
}

std::string field(std::string_view name, std::string_view value) {
  static const char* const digits = "0123456789ABCDEF";
  std::string text = "\t" + std::string(name) + "=";
  for (const char letter : value) {
    const auto byte = static_cast<unsigned char>(letter);
    if (byte < 0x20 || byte > 0x7E || letter == '%') {
      text += '%';
      text += digits[byte >> 4];
      text += digits[byte & 15];
    } else {
      text += letter;
    }
  }
  return text;
}

std::string carryOut(const CommandLine& command) {
  static const std::map<std::string, std::string (*)(const CommandLine&)> commands = {
      {"deliver", deliver},
      {"take", take},
      {"inbox", inbox},
      {"sent", [](const CommandLine&) { return messages(world().allSent()); }},
      {"drafts", [](const CommandLine&) { return messages(world().store().drafts()); }},
      {"name", name},
      {"syncs", syncs},
      {"event", event},
      {"listeners",
       [](const CommandLine&) {
         const auto count = world().running()->sync->listeners();
         return "listeners" + field("count", std::to_string(count)) + "\n";
       }},
      {"die", die},
      {"meanwhile", meanwhile},
      {"missing", missing},
      {"show", show},
      {"counts", counts},
      {"state", state},
  };
  const auto found = commands.find(command.name());
  return found == commands.end() ? simple(command) : found->second(command);
}

namespace {

class ControlObject : public DispatchObject {
 public:
  ControlObject() : DispatchObject(members(), "Control") {}

 private:
  static const MemberTable& members() {
    static const MemberTable table =
        MemberTable("Control").method("Do", 1, 1, on<ControlObject>([](auto&, const Arguments& a) {
                                        return Value::text(carryOut(CommandLine(a.text(0))));
                                      }));
    return table;
  }
};

}  // namespace

ComRef<IDispatch> makeControl() {
  return ComRef<IDispatch>(new ControlObject);
}

}  // namespace relaybird::outlook_double
