// SPDX-License-Identifier: MIT
// A control of a form as data: what a window shows of it, and what happens when it changes. A front
// end draws controls and reports the user's input; it keeps no state of its own.
//
// Reactions run inside the call that causes them, whether the user or the program makes it: a form
// that code fills in reacts like one that the user fills in. All calls are made on the
// user-interface thread.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace relaybird {

/// A colour of the user's theme, or one given by red, green and blue.
struct Colour {
  enum class Source : std::uint8_t {
    kRgb,
    kWindowBackground,
    kWindowText,
    kButtonFace,
    kButtonText,
    kGrayText,
  };

  Source source = Source::kRgb;
  std::uint8_t red = 0;
  std::uint8_t green = 0;
  std::uint8_t blue = 0;

  bool operator==(const Colour&) const = default;
};

constexpr Colour rgb(std::uint8_t red, std::uint8_t green, std::uint8_t blue) {
  return {Colour::Source::kRgb, red, green, blue};
}

inline constexpr Colour kWindowBackground{Colour::Source::kWindowBackground};
inline constexpr Colour kWindowText{Colour::Source::kWindowText};
inline constexpr Colour kButtonFace{Colour::Source::kButtonFace};
inline constexpr Colour kButtonText{Colour::Source::kButtonText};
inline constexpr Colour kGrayText{Colour::Source::kGrayText};

inline constexpr Colour kRunningGreen = rgb(0, 255, 0);
inline constexpr Colour kStoppedRed = rgb(255, 0, 0);
inline constexpr Colour kLightGreen = rgb(192, 255, 192);

class Form;
class Timer;

enum class ControlKind {
  kLabel,
  kTextBox,
  kButton,
  kPictureButton,
  kPicture,
  kFrame,
  kCheckBox,
  kOptionButton,
  kPictureOption,
  kListBox,
  kComboBox,
  kTabs,
  kMenu,
  kTimer,
  kFileDialog,
  kLink,
};

/// The name of a kind: "text box".
std::string_view kindName(ControlKind kind);

/// Which part of a control has changed.
enum class Change {
  kText,
  kValue,
  kEnabled,
  kVisible,
  kColours,
  kToolTip,
  kPicture,
  kListEntryAdded,
  kListCleared,
  kListSelection,
  kListExtent,
};

/// The text of a field and the position of its caret, in bytes.
struct TypedText {
  std::string text;
  std::size_t caret = 0;
};

class Control {
 public:
  /// Adds itself to the form, of which it must be a member.
  Control(Form& form, ControlKind kind, std::string name, std::string text = {});
  Control(const Control&) = delete;
  Control& operator=(const Control&) = delete;

  Form& form() const { return form_; }
  ControlKind kind() const { return kind_; }
  const std::string& name() const { return name_; }

  // State. Setting an equal value runs no reaction, except for text: an edit control reports every
  // assignment.

  /// The caption, with "&" before the access key, or the contents of a field.
  const std::string& text() const { return text_; }
  void setText(std::string text);

  /// Check box: 0, 1 checked, 2 grayed. Option button: 1 for the selected one of its group. Combo
  /// box, list and tabs: the chosen position from 0, -1 for none. A position outside the list is
  /// kept. Other kinds: 0.
  int value() const { return value_; }
  void setValue(int value);
  /// Whether value() is 1; a grayed box is not checked.
  bool checked() const { return value_ == 1; }

  bool enabled() const;
  void setEnabled(bool enabled);
  bool visible() const { return visible_; }
  void setVisible(bool visible);
  const Colour& foreColor() const { return foreColor_; }
  const Colour& backColor() const { return backColor_; }
  void setForeColor(Colour colour);
  void setBackColor(Colour colour);
  const std::string& toolTip() const { return toolTip_; }
  void setToolTip(std::string toolTip);
  /// The tool tip to show now: for a disabled control the reason, if one was given, otherwise
  /// toolTip().
  const std::string& tip() const;
  /// The name of the image that a picture or picture button shows.
  const std::string& picture() const { return picture_; }
  void setPicture(std::string picture);

  // Entries of a list, a combo box or tabs.

  const std::vector<std::string>& list() const { return list_; }
  void addItem(std::string entry);
  void clearList();
  /// Positions of the selected entries of a list box, ascending.
  const std::set<std::size_t>& selection() const { return selection_; }
  void setSelection(std::set<std::size_t> positions);
  /// How far a list can be scrolled sideways, in pixels.
  std::int32_t horizontalExtent() const { return horizontalExtent_; }
  void setHorizontalExtent(std::int32_t pixels);

  // Place in the form. Set once, by the form.

  /// The reason that tip() shows while the control is disabled.
  void setWhyDisabled(std::string reason) { whyDisabled_ = std::move(reason); }
  /// The text cannot be edited by the user.
  bool locked() const { return locked_; }
  void lock() { locked_ = true; }
  /// The text is a password: front ends show it as dots, keep it out of histories, and never print
  /// it.
  bool hidesText() const { return hidesText_; }
  void hideText() { hidesText_ = true; }
  /// The position of the control's tab; empty if it is not on a tab.
  std::optional<int> tab() const { return tab_; }
  void setTab(int tab) { tab_ = tab; }
  /// The frame or menu that contains the control; null if the form itself does.
  Control* parent() const { return parent_; }
  void setParent(Control& parent) { parent_ = &parent; }
  /// Whether a click on it may open a box now. The code that is running then waits for the answer.
  bool asks() const;
  void setAsks(std::function<bool()> when = [] { return true; }) { asks_ = std::move(when); }
  /// Makes this control an alias of `other`, which is on the same form: clicks go to `other`, and
  /// enabled() and asks() are those of `other`.
  void makeAliasOf(Control& other);
  /// The keys that click on it while its window has the focus, as menus write them: "Ctrl+Shift+S",
  /// "F3"; empty for none.
  const std::string& shortcut() const { return shortcut_; }
  void setShortcut(std::string keys) { shortcut_ = std::move(keys); }
  /// The menu that opens over it; null for none.
  Control* contextMenu() const { return contextMenu_; }
  void setContextMenu(Control& menu) { contextMenu_ = &menu; }
  /// The name of the group of option buttons that exclude one another.
  const std::string& group() const { return group_; }
  void setGroup(std::string group) { group_ = std::move(group); }
  /// Makes enabled() that of this timer, which must outlive the control's use.
  void follow(const Timer& timer) { timer_ = &timer; }

  // Reactions. Set once, by the form.

  void onChange(std::function<void()> reaction) { onChange_ = std::move(reaction); }
  void onClick(std::function<void()> reaction) { onClick_ = std::move(reaction); }
  void onKeyDown(std::function<void(int keyCode, int shift)> reaction) {
    onKeyDown_ = std::move(reaction);
  }
  /// Corrects a text while the user types it; `before` is the former text of the field.
  void onTyping(std::function<TypedText(const std::string& before, const TypedText&)> rule) {
    onTyping_ = std::move(rule);
  }

  // User input. Front ends call these only for a control that accepts input (whyNoInput()).

  /// Presses a button, chooses a menu entry, toggles a check box, selects an option, clicks on a
  /// label or picture.
  void click();
  /// A key goes down while the control has the focus. `shift` adds 1 for Shift, 2 for Ctrl, 4 for
  /// Alt; key codes are those of Windows (letters: their capitals in ASCII).
  void keyDown(int keyCode, int shift);
  /// The user has changed the text of a field by typing, pasting or deleting. Returns what the
  /// field has to show.
  TypedText type(const TypedText& typed);
  /// Whether a click does anything.
  bool takesClicks() const;

 private:
  void changed(Change what);
  void selectInGroup();

  Form& form_;
  const ControlKind kind_;
  const std::string name_;
  std::string text_;
  int value_;
  bool enabled_ = true;
  bool visible_ = true;
  bool locked_ = false;
  bool hidesText_ = false;
  Colour foreColor_;
  Colour backColor_;
  std::string toolTip_;
  std::string whyDisabled_;
  std::string picture_;
  std::vector<std::string> list_;
  std::set<std::size_t> selection_;
  std::int32_t horizontalExtent_ = 0;
  std::optional<int> tab_;
  Control* parent_ = nullptr;
  std::string shortcut_;
  Control* contextMenu_ = nullptr;
  Control* aliasOf_ = nullptr;
  std::vector<Control*> aliases_;
  std::string group_;
  const Timer* timer_ = nullptr;
  std::function<bool()> asks_;
  std::function<void()> onChange_;
  std::function<void()> onClick_;
  std::function<void(int, int)> onKeyDown_;
  std::function<TypedText(const std::string&, const TypedText&)> onTyping_;
};

/// A caption without the "&" that marks its access key; "&&" stands for one "&".
std::string plainCaption(std::string_view caption);

}  // namespace relaybird
