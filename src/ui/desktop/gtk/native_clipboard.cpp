// SPDX-License-Identifier: MIT
#include "ui/desktop/native/native_clipboard.h"

#include <gtk/gtk.h>

#include <memory>

namespace relaybird::desktop {
namespace {

void giveText(GtkClipboard*, GtkSelectionData* wanted, guint, gpointer text) {
  const auto& given = *static_cast<std::string*>(text);
  gtk_selection_data_set_text(wanted, given.c_str(), static_cast<gint>(given.size()));
}

void dropText(GtkClipboard*, gpointer text) {
  delete static_cast<std::string*>(text);
}

}  // namespace

bool putOnClipboard(const std::string& text) {
  GtkTargetList* forms = gtk_target_list_new(nullptr, 0);
  gtk_target_list_add_text_targets(forms, 0);
  gint count = 0;
  GtkTargetEntry* table = gtk_target_table_new_from_list(forms, &count);
  auto kept = std::make_unique<std::string>(text);
  GtkClipboard* clipboard = gtk_clipboard_get(GDK_SELECTION_CLIPBOARD);
  const bool taken = gtk_clipboard_set_with_data(clipboard, table, static_cast<guint>(count),
                                                 giveText, dropText, kept.get()) == TRUE;
  if (taken) {
    kept.release();
    // Stored when the toolkit's loop ends. At once it would wait for the clipboard's keeper in a
    // loop of its own, which the next copy within would break for ever.
    gtk_clipboard_set_can_store(clipboard, nullptr, 0);
  }
  gtk_target_table_free(table, count);
  gtk_target_list_unref(forms);
  return taken;
}

}  // namespace relaybird::desktop
