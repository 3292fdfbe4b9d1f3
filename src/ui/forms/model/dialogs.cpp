// SPDX-License-Identifier: MIT
#include "ui/forms/model/dialogs.h"

namespace relaybird {

std::vector<BoxAnswer> answersOf(BoxButtons buttons) {
  switch (buttons) {
    case BoxButtons::kOkCancel:
      return {BoxAnswer::kOk, BoxAnswer::kCancel};
    case BoxButtons::kYesNo:
      return {BoxAnswer::kYes, BoxAnswer::kNo};
    case BoxButtons::kYesNoCancel:
      return {BoxAnswer::kYes, BoxAnswer::kNo, BoxAnswer::kCancel};
    case BoxButtons::kOk:
    default:
      return {BoxAnswer::kOk};
  }
}

std::string_view answerText(BoxAnswer answer) {
  switch (answer) {
    case BoxAnswer::kYes:
      return "Yes";
    case BoxAnswer::kNo:
      return "No";
    case BoxAnswer::kCancel:
      return "Cancel";
    case BoxAnswer::kOk:
    default:
      return "OK";
  }
}

BoxAnswer safeAnswer(BoxButtons buttons) {
  return answersOf(buttons).back();
}

}  // namespace relaybird
