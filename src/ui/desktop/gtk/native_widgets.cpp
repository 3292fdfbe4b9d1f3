// SPDX-License-Identifier: MIT
#include <gtk/gtk.h>

#include "ui/desktop/native/native_widgets.h"

namespace relaybird::desktop {
namespace {

AtkObject* accessible(wxWindow& window) {
  return gtk_widget_get_accessible(static_cast<GtkWidget*>(window.GetHandle()));
}

AtkRole toAtk(AccessibleRole role) {
  switch (role) {
    case AccessibleRole::kAlert:
      return ATK_ROLE_ALERT;
    case AccessibleRole::kDialog:
      return ATK_ROLE_DIALOG;
    case AccessibleRole::kList:
      return ATK_ROLE_LIST;
  }
  return ATK_ROLE_UNKNOWN;
}

void keep(gpointer object, gpointer) {
  g_object_ref(object);
}

}  // namespace

void setAccessibleName(wxWindow& window, const std::string& name) {
  if (name.empty()) {
    return;
  }
  auto* widget = static_cast<GtkWidget*>(window.GetHandle());
  // A field of several lines stands in a frame that scrolls; what has the focus is inside.
  if (GTK_IS_SCROLLED_WINDOW(widget)) {
    if (GtkWidget* inside = gtk_bin_get_child(GTK_BIN(widget))) {
      atk_object_set_name(gtk_widget_get_accessible(inside), name.c_str());
    }
  }
  atk_object_set_name(gtk_widget_get_accessible(widget), name.c_str());
}

void setAccessibleDescription(wxWindow& window, const std::string& text) {
  atk_object_set_description(accessible(window), text.c_str());
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

void showScrollBars(wxWindow& window) {
  auto* widget = static_cast<GtkWidget*>(window.GetHandle());
  if (GTK_IS_SCROLLED_WINDOW(widget)) {
    gtk_scrolled_window_set_overlay_scrolling(GTK_SCROLLED_WINDOW(widget), FALSE);
  }
}

void setModalOver(wxTopLevelWindow& dialog, wxTopLevelWindow& owner, bool modal) {
  auto* window = GTK_WINDOW(dialog.GetHandle());
  gtk_window_set_transient_for(window, GTK_WINDOW(owner.GetHandle()));
  gtk_window_set_modal(window, modal ? TRUE : FALSE);
}

void cancelNativeDialogs() {
  GList* windows = gtk_window_list_toplevels();
  // An answer may destroy one further down.
  g_list_foreach(windows, keep, nullptr);
  for (GList* each = windows; each != nullptr; each = each->next) {
    if (GTK_IS_DIALOG(each->data) && gtk_widget_get_visible(GTK_WIDGET(each->data)) == TRUE) {
      gtk_dialog_response(GTK_DIALOG(each->data), GTK_RESPONSE_CANCEL);
    }
  }
  g_list_free_full(windows, g_object_unref);
}

}  // namespace relaybird::desktop
