// SPDX-License-Identifier: MIT
// What a test tells the double, in text, so that it reaches an application in another process too:
// through the control object (identifier "MailDouble.Control", method Do), or with the program
// outlook_double_control.
//
// A command is one line: its name and fields NAME=VALUE, separated by tabs. In values, "%" and two
// hexadecimal digits stand for a byte; tabs, line breaks and "%" itself must be written so. An
// answer has a line for each thing that it lists, in the same form.
//
//   reset                            as new
//   deliver    kind subject body html unread received modified sender address file id
//              (times in microseconds since 1970; file=NAME:CONTENT, any number; html=1)
//              answers id=
//   take       subject                the item leaves the inbox
//   mark       id unread              a mark, as another program sets it
//   inbox                             lists id subject unread
//   sent                              lists subject body html recipient=TYPE:ADDRESS reply file
//   drafts                            the same of items that were saved and not sent
//   name       name address           a name that resolves; without an address one that does not
//   full       on                     the outbox takes nothing
//   version    text
//   syncs      end=itself|told  join  how synchronisations end; whether a start joins one that runs
//   end                               ends the synchronisations that run
//   event      name code text         fires SyncStart, SyncEnd or OnError
//   listeners                         answers count=
//   raise      call code source text skip times   a planned error
//   return     call code skip times               a code, such as 8001010A for a busy application
//   die        call skip after                    the application ends; at once without call
//   wait       call milliseconds skip times
//   meanwhile  call command skip times            that command is carried out within the call
//   missing    component                          making it fails as if it were not registered
//   calm                                          drops everything planned
//   show       dates=time|date|both  types=underscore|class|none  order=oldest|newest
//              filter=live|fixed  openers=1|0 (whether the namespace opens items by identifiers)
//   counts     clear                              lists call= count=; clear=1 starts anew
//   state                                         answers starts= runs= deliveries= sessions=
//                                                 running= objects=
//   quit                                          the application ends as its user ends it
#pragma once

#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace relaybird::outlook_double {

class CommandLine {
 public:
  explicit CommandLine(std::string_view line);

  const std::string& name() const { return name_; }
  bool has(std::string_view field) const;
  /// The value of the first such field.
  std::string value(std::string_view field, const std::string& without = {}) const;
  long long number(std::string_view field, long long without) const;
  bool flag(std::string_view field, bool without) const;
  std::vector<std::string> all(std::string_view field) const;

 private:
  std::string name_;
  std::vector<std::pair<std::string, std::string>> fields_;
};

/// The form of a field in a line, with a tab before it.
std::string field(std::string_view name, std::string_view value);

/// Carries the command out in the world of this process and returns its answer. Throws
/// std::invalid_argument for a command that it does not know.
std::string carryOut(const CommandLine& command);

}  // namespace relaybird::outlook_double
