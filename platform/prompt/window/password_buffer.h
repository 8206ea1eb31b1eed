// What is typed into a password entry: in the locked pages of a Secret, and wiped as it is deleted. (The toolkit's own
// buffer, as of 4.8, leaves deleted text in place.)
#ifndef PLATFORM_PROMPT_WINDOW_PASSWORD_BUFFER_H
#define PLATFORM_PROMPT_WINDOW_PASSWORD_BUFFER_H

#include <gtk/gtk.h>

// It takes more than a password may have, so that one that is too long is seen to be, and not cut unnoticed.
GtkEntryBuffer *password_buffer_new();

#endif
