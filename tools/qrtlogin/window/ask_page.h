// The page of the window that asks for the user's name and password.
#ifndef TOOLS_QRTLOGIN_WINDOW_ASK_PAGE_H
#define TOOLS_QRTLOGIN_WINDOW_ASK_PAGE_H

#include <gtk/gtk.h>
#include <string>

#include "tools/qrtlogin/login_message.h"

// The page, which is one in the program. `answered` is called when the question has been answered, `refused` when it is
// cancelled.
GtkWidget *ask_page_new(void (*answered)(), void (*refused)());

// Puts up the question of a message of the kind "q" to log in to that tree.
void ask_page_show(const LoginMessage &question, const std::string &tree);

// Where the typing goes.
GtkWidget *ask_page_focus();

#endif
