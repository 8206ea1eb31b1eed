// The windows of the prompts. Each shows itself and gives its answer through conversation.h.
#ifndef PLATFORM_PROMPT_WINDOW_PROMPTS_H
#define PLATFORM_PROMPT_WINDOW_PROMPTS_H

#include <gtk/gtk.h>

#include "platform/prompt/window_message.h"

void prompt_login(const WindowRequest &request);
void prompt_confirm(const WindowRequest &request);
void prompt_pause(const WindowRequest &request);

// The line that names the program that asks.
GtkWidget *prompt_caller(const WindowRequest &request);

#endif
