// SPDX-License-Identifier: MIT
#include <gtk/gtk.h>

#include "ui/desktop/desk/native.h"

namespace relaybird::desktop {

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

void setModalOver(wxTopLevelWindow& dialog, wxTopLevelWindow& owner, bool modal) {
  auto* window = GTK_WINDOW(dialog.GetHandle());
  gtk_window_set_transient_for(window, GTK_WINDOW(owner.GetHandle()));
  gtk_window_set_modal(window, modal ? TRUE : FALSE);
}

}  // namespace relaybird::desktop
