// SPDX-License-Identifier: MIT
// A settings dialog that consists of values only, and records every access.
#pragma once

#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "prefs/pref_forms.h"

namespace relaybird {

class RecordingForms : public PrefForms {
 public:
  std::map<std::string, std::string, std::less<>> texts;
  std::map<std::string, int, std::less<>> values;
  mutable std::vector<std::string> reads;  ///< names of the controls that were read
  std::vector<std::string> writes;         ///< "control=value", and the calls to the windows
  std::vector<std::string> questions;      ///< "title|question"
  std::string failing;                     ///< the control or call that throws
  bool answer = true;

  std::string text(std::string_view control) const override { return at(texts, control); }
  int value(std::string_view control) const override { return at(values, control); }
  void setText(std::string_view control, const std::string& text) override {
    write(control, text);
    texts[std::string(control)] = text;
  }
  void setValue(std::string_view control, int value) override {
    write(control, std::to_string(value));
    values[std::string(control)] = value;
  }
  void SetCellPrefs(bool cell) override {
    write("SetCellPrefs", cell ? "true" : "false");
    values["opbRegCellPhone"] = cell;
  }
  void SetMainFrmCellPref(bool cell) override {
    write("SetMainFrmCellPref", cell ? "true" : "false");
  }
  void SetMainFormFwdToAddresses(const std::string& text, int count) override {
    write("SetMainFormFwdToAddresses", text + "|" + std::to_string(count));
  }
  bool confirm(const std::string& title, const std::string& question) override {
    questions.push_back(title + "|" + question);
    return answer;
  }

 private:
  template <class Map>
  typename Map::mapped_type at(const Map& map, std::string_view control) const {
    fail(control);
    reads.emplace_back(control);
    const auto found = map.find(control);
    return found == map.end() ? typename Map::mapped_type{} : found->second;
  }
  void write(std::string_view what, const std::string& value) {
    fail(what);
    writes.push_back(std::string(what) + "=" + value);
  }
  void fail(std::string_view what) const {
    if (what == failing) {
      throw std::runtime_error("no " + failing);
    }
  }
};

}  // namespace relaybird
