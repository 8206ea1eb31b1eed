// Shows the scripts' output as it arrives: selectable, marked where it is about a mistake, the newest 10,000 lines of
// it, in batches so that the window answers meanwhile.
#ifndef TOOLS_QRTLOGIN_WINDOW_OUTPUT_VIEW_H
#define TOOLS_QRTLOGIN_WINDOW_OUTPUT_VIEW_H

#include <gtk/gtk.h>
#include <string>
#include <string_view>

// One in the program. The widget; `label` names it for screen readers.
GtkWidget *output_view_new(const char *label);
void output_view_add(std::string_view text);
void output_view_add_marked(std::string_view line);
// What is shown.
std::string output_view_text();

#endif
