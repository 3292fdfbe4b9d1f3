// SPDX-License-Identifier: MIT
// The GTK side of widgets: what wxWidgets does not offer, done on the GTK widget behind a wxWindow.
//
// Most of it is accessibility. Why: wxGTK 3.2 has no API for accessible names, roles and relations
// (wxAccessible exists on Windows only), so they are set with ATK directly. The rest adjusts the
// appearance and modality of widgets, and the clipboard.
#include <gdk/gdkx.h>
#include <gtk/gtk.h>
#include <wx/utils.h>

#include <algorithm>
#include <memory>

#include "ui/desktop/native/native_widgets.h"

namespace relaybird::desktop {
namespace {

// Vertical alignment: the border of a frame runs through the middle of its title.
constexpr float kOnTheLine = 0.5;

AtkObject* accessible(wxWindow& window) {
  return gtk_widget_get_accessible(static_cast<GtkWidget*>(window.GetHandle()));
}

// The widget that gets the keyboard focus. Why: a multi-line field is a text view inside a scrolled
// window, and an editable combo box holds an entry; assistive tools look at the inner one.
GtkWidget* focusWidget(wxWindow& window) {
  auto* widget = static_cast<GtkWidget*>(window.GetHandle());
  const bool hasInnerField =
      GTK_IS_SCROLLED_WINDOW(widget) ||
      (GTK_IS_COMBO_BOX(widget) && gtk_combo_box_get_has_entry(GTK_COMBO_BOX(widget)) == TRUE);
  GtkWidget* inside = hasInnerField ? gtk_bin_get_child(GTK_BIN(widget)) : nullptr;
  return inside != nullptr ? inside : widget;
}

constexpr const char* kNamedByLabel = "relaybird-named-by-label";

// Why: whenever a control is added to a window, wxGTK assigns preceding labels to it as mnemonic
// labels. This handler restores the intended assignment.
void restoreNamed(GtkLabel* label, GParamSpec*, gpointer) {
  auto* named = static_cast<GtkWidget*>(g_object_get_data(G_OBJECT(label), kNamedByLabel));
  if (gtk_label_get_mnemonic_widget(label) != named) {
    gtk_label_set_mnemonic_widget(label, named);
  }
}

void clearNamed(GtkLabel* label) {
  g_object_set_data(G_OBJECT(label), kNamedByLabel, nullptr);
  gtk_label_set_mnemonic_widget(label, nullptr);
}

void nameBy(GtkLabel* label, GtkWidget* named) {
  const void* before = g_object_get_data(G_OBJECT(label), kNamedByLabel);
  g_object_set_data(G_OBJECT(label), kNamedByLabel, named);
  if (named != nullptr && named != before) {
    g_signal_connect_object(named, "destroy", G_CALLBACK(clearNamed), label, G_CONNECT_SWAPPED);
  }
  g_signal_handlers_disconnect_by_func(label, reinterpret_cast<gpointer>(restoreNamed), nullptr);
  g_signal_connect(label, "notify::mnemonic-widget", G_CALLBACK(restoreNamed), nullptr);
  gtk_label_set_mnemonic_widget(label, named);
}

AtkRole toAtk(AccessibleRole role) {
  switch (role) {
    case AccessibleRole::kAlert:
      return ATK_ROLE_ALERT;
    case AccessibleRole::kDialog:
      return ATK_ROLE_DIALOG;
    case AccessibleRole::kLink:
      return ATK_ROLE_LINK;
    case AccessibleRole::kList:
      return ATK_ROLE_LIST;
  }
  return ATK_ROLE_UNKNOWN;
}

void centre(GtkWidget* widget, gpointer) {
  gtk_widget_set_valign(widget, GTK_ALIGN_CENTER);
  if (GTK_IS_CONTAINER(widget)) {
    gtk_container_foreach(GTK_CONTAINER(widget), centre, nullptr);
  }
}

void refObject(gpointer object, gpointer) {
  g_object_ref(object);
}

void provideText(GtkClipboard*, GtkSelectionData* wanted, guint, gpointer text) {
  const auto& given = *static_cast<std::string*>(text);
  gtk_selection_data_set_text(wanted, given.c_str(), static_cast<gint>(given.size()));
}

void freeText(GtkClipboard*, gpointer text) {
  delete static_cast<std::string*>(text);
}

}  // namespace

void setAccessibleName(wxWindow& window, const std::string& name) {
  if (name.empty()) {
    return;
  }
  atk_object_set_name(gtk_widget_get_accessible(focusWidget(window)), name.c_str());
  atk_object_set_name(accessible(window), name.c_str());
}

void setAccessibleDescription(wxWindow& window, const std::string& text) {
  atk_object_set_description(gtk_widget_get_accessible(focusWidget(window)), text.c_str());
}

void setLabelFor(wxWindow& label, wxWindow* named) {
  auto* widget = static_cast<GtkWidget*>(label.GetHandle());
  if (GTK_IS_FRAME(widget)) {
    widget = gtk_frame_get_label_widget(GTK_FRAME(widget));
  }
  GtkWidget* target = named == nullptr ? nullptr : focusWidget(*named);
  if (GTK_IS_LABEL(widget)) {
    nameBy(GTK_LABEL(widget), target);
  } else if (widget != nullptr && target != nullptr) {
    AtkObject* one = gtk_widget_get_accessible(widget);
    AtkObject* other = gtk_widget_get_accessible(target);
    atk_object_add_relationship(one, ATK_RELATION_LABEL_FOR, other);
    atk_object_add_relationship(other, ATK_RELATION_LABELLED_BY, one);
  }
}

void setAccessibleRole(wxWindow& window, AccessibleRole role) {
  atk_object_set_role(accessible(window), toAtk(role));
}

void nameTools(wxToolBar& bar) {
  auto* inside = static_cast<GtkWidget*>(bar.GetHandle());
  while (GTK_IS_BIN(inside)) {
    inside = gtk_bin_get_child(GTK_BIN(inside));
  }
  if (!GTK_IS_TOOLBAR(inside)) {
    return;
  }
  for (std::size_t position = 0; position < bar.GetToolsCount(); ++position) {
    const wxToolBarToolBase* tool = bar.GetToolByPos(static_cast<int>(position));
    GtkToolItem* item = gtk_toolbar_get_nth_item(GTK_TOOLBAR(inside), static_cast<int>(position));
    GtkWidget* button = item == nullptr ? nullptr : gtk_bin_get_child(GTK_BIN(item));
    if (button != nullptr && tool->IsButton()) {
      atk_object_set_name(gtk_widget_get_accessible(button), tool->GetShortHelp().utf8_str());
    }
  }
}

void setTextMargin(wxWindow& field, int pixels) {
  auto* frame = static_cast<GtkWidget*>(field.GetHandle());
  GtkWidget* inside = GTK_IS_BIN(frame) ? gtk_bin_get_child(GTK_BIN(frame)) : nullptr;
  if (GTK_IS_TEXT_VIEW(inside)) {
    auto* text = GTK_TEXT_VIEW(inside);
    gtk_text_view_set_left_margin(text, pixels);
    gtk_text_view_set_right_margin(text, pixels);
    gtk_text_view_set_top_margin(text, pixels);
    gtk_text_view_set_bottom_margin(text, pixels);
  }
}

// Why: GTK aligns image and caption on one base line, so a caption beside a large image sits too
// low.
// Why: the toolkit measures a field before the theme has styled it. With a large font the field
// would be too low for its text.
void leaveRoomForText(wxTextCtrl& field) {
  constexpr int kAroundText = 12;  // above and below, borders included
  const wxSize measured = field.GetEffectiveMinSize();
  const int height = field.GetCharHeight() + field.FromDIP(kAroundText);
  field.SetMinSize({measured.GetWidth(), std::max(measured.GetHeight(), height)});
}

void centreCaption(wxButton& button) {
  auto* widget = static_cast<GtkWidget*>(button.GetHandle());
  if (GTK_IS_BIN(widget) && gtk_bin_get_child(GTK_BIN(widget)) != nullptr) {
    centre(gtk_bin_get_child(GTK_BIN(widget)), nullptr);
  }
}

// Why: GTK positions a frame's title by a fraction of the remaining width, not by pixels, so the
// fraction is recomputed at every change of size. The margins keep the border off the letters:
// GTK leaves the border out behind the margins, too.
void indentTitle(wxStaticBox& frame, int pixels) {
  auto* widget = static_cast<GtkWidget*>(frame.GetHandle());
  GtkWidget* title = GTK_IS_FRAME(widget) ? gtk_frame_get_label_widget(GTK_FRAME(widget)) : nullptr;
  if (title == nullptr) {
    return;
  }
  const int gap = pixels / 3;
  gtk_widget_set_margin_start(title, gap);
  gtk_widget_set_margin_end(title, gap);
  frame.Bind(wxEVT_SIZE, [widget, title, indent = pixels - gap](wxSizeEvent& event) {
    event.Skip();
    int natural = 0;
    gtk_widget_get_preferred_width(title, nullptr, &natural);
    const int left = event.GetSize().GetWidth() - natural;
    const float share = left > indent ? static_cast<float>(indent) / static_cast<float>(left) : 0;
    gtk_frame_set_label_align(GTK_FRAME(widget), share, kOnTheLine);
  });
}

void setLinkColour(wxHyperlinkCtrl& link, const wxColour& colour) {
  constexpr const char* kStyle = "link-colour";
  auto* button = static_cast<GtkWidget*>(link.GetHandle());
  GtkWidget* text = GTK_IS_BIN(button) ? gtk_bin_get_child(GTK_BIN(button)) : nullptr;
  if (text == nullptr) {
    return;
  }
  auto* style = static_cast<GtkCssProvider*>(g_object_get_data(G_OBJECT(text), kStyle));
  if (style == nullptr) {
    style = gtk_css_provider_new();
    g_object_set_data_full(G_OBJECT(text), kStyle, style, g_object_unref);
    gtk_style_context_add_provider(gtk_widget_get_style_context(text), GTK_STYLE_PROVIDER(style),
                                   GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);
  }
  const wxString css = "* { color: " + colour.GetAsString(wxC2S_HTML_SYNTAX) + "; }";
  gtk_css_provider_load_from_data(style, css.utf8_str(), -1, nullptr);
}

// Why: GTK's overlay scroll bars hide until the pointer moves and cover the last line of the text.
void showScrollBars(wxWindow& window) {
  auto* widget = static_cast<GtkWidget*>(window.GetHandle());
  if (GTK_IS_SCROLLED_WINDOW(widget)) {
    gtk_scrolled_window_set_overlay_scrolling(GTK_SCROLLED_WINDOW(widget), FALSE);
  }
}

void setModalOver(wxTopLevelWindow& dialog, wxTopLevelWindow& owner, bool modal) {
  auto* window = GTK_WINDOW(dialog.GetHandle());
  // Why not wxDialog::ShowModal(): it blocks until the dialog closes, but forms are shown without
  // blocking.
  gtk_window_set_transient_for(window, GTK_WINDOW(owner.GetHandle()));
  gtk_window_set_modal(window, modal ? TRUE : FALSE);
}

void exemptFromModality(wxTopLevelWindow& window) {
  // A modal dialog blocks only windows of its own group. The window holds the reference to its
  // group.
  GtkWindowGroup* group = gtk_window_group_new();
  gtk_window_group_add_window(group, GTK_WINDOW(window.GetHandle()));
  g_object_unref(group);
}

// Window managers on X11 announce this (EWMH). On Wayland GTK offers no such information.
bool windowsCanBeMinimised() {
  GdkScreen* screen = gdk_screen_get_default();
  return screen != nullptr && GDK_IS_X11_SCREEN(screen) &&
         gdk_x11_screen_supports_net_wm_hint(
             screen, gdk_atom_intern_static_string("_NET_WM_ACTION_MINIMIZE")) == TRUE;
}

// On Wayland only the compositor can.
bool programsPlaceWindows() {
  return wxGetDisplayInfo().type != wxDisplayWayland;
}

void cancelNativeDialogs() {
  GList* windows = gtk_window_list_toplevels();
  // The response to one dialog may destroy another of the list: hold references meanwhile.
  g_list_foreach(windows, refObject, nullptr);
  for (GList* each = windows; each != nullptr; each = each->next) {
    if (GTK_IS_DIALOG(each->data) && gtk_widget_get_visible(GTK_WIDGET(each->data)) == TRUE) {
      gtk_dialog_response(GTK_DIALOG(each->data), GTK_RESPONSE_CANCEL);
    }
  }
  g_list_free_full(windows, g_object_unref);
}

bool putOnClipboard(const std::string& text) {
  GtkTargetList* targets = gtk_target_list_new(nullptr, 0);
  gtk_target_list_add_text_targets(targets, 0);
  gint count = 0;
  GtkTargetEntry* table = gtk_target_table_new_from_list(targets, &count);
  auto kept = std::make_unique<std::string>(text);
  GtkClipboard* clipboard = gtk_clipboard_get(GDK_SELECTION_CLIPBOARD);
  const bool taken = gtk_clipboard_set_with_data(clipboard, table, static_cast<guint>(count),
                                                 provideText, freeText, kept.get()) == TRUE;
  if (taken) {
    kept.release();
    // GTK stores the text with the clipboard manager when its main loop ends. Why not at once:
    // gtk_clipboard_store() waits in a nested main loop, and another copy made inside that loop
    // would leave it running for ever.
    gtk_clipboard_set_can_store(clipboard, nullptr, 0);
  }
  gtk_target_table_free(table, count);
  gtk_target_list_unref(targets);
  return taken;
}

}  // namespace relaybird::desktop
