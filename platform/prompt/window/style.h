// How the project's windows look and what they have in common: the toolkit's start, the person's preferences, and the
// frame of a dialog. A window is built of the fields of fields.h.
#ifndef PLATFORM_PROMPT_WINDOW_STYLE_H
#define PLATFORM_PROMPT_WINDOW_STYLE_H

#include <gtk/gtk.h>
#include <string>

// Opens the display and loads the style. False if no display can be opened. `program` is what the desktop knows the
// windows by, as that of the desktop file if there is one; `name` is its name for people.
bool style_init(const char *program, const char *name);

// A window of that title, which the Escape key closes like its own close button (the signal "close-request"). `role` is
// what screen readers call it: GTK_ACCESSIBLE_ROLE_DIALOG or, for a question, GTK_ACCESSIBLE_ROLE_ALERT_DIALOG.
GtkWindow *style_window(const std::string &title, GtkAccessibleRole role);

// The colour of what is wrong, for text that has no style of its own.
GdkRGBA style_problem_colour(GtkWidget *widget);

// The box for a window's content, with the usual margins; it becomes the window's child.
GtkBox *style_content(GtkWindow *window);

#endif
