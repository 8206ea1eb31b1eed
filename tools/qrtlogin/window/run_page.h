// The page of the window that shows the run of the scripts, and its summary at the end.
#ifndef TOOLS_QRTLOGIN_WINDOW_RUN_PAGE_H
#define TOOLS_QRTLOGIN_WINDOW_RUN_PAGE_H

#include <gtk/gtk.h>

#include "tools/qrtlogin/login_message.h"
#include "tools/qrtlogin/window/record.h"

// The page, which is one in the program and shows this record.
GtkWidget *run_page_new(LoginRecord *record, void (*close)());

// The tree and the user are known now.
void run_page_begin();
// Shows a message of the kinds s, n, o, w, m, p, d and v.
void run_page_take(const LoginMessage &message);
// Shows the summary: the record has an outcome now.
void run_page_end();

// The button that ends the run, or closes the window after it.
GtkWidget *run_page_button();

#endif
