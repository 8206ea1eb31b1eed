#include <string>

#include "platform/catalogue.h"
#include "platform/prompt/window/conversation.h"
#include "platform/prompt/window/fields.h"
#include "platform/prompt/window/prompts.h"
#include "platform/prompt/window/safe_text.h"
#include "platform/prompt/window/style.h"

static void accept() {
    conversation_accept();
}

static void refuse() {
    conversation_refuse();
}

GtkWidget *prompt_caller(const WindowRequest &request) {
    return field_caption(catalogue_format("Asked by the program %s", window_safe_name(request.program).c_str()));
}

// `standard` is the button that the Enter key presses.
static void show_question(const char *title, const std::string &text, const WindowRequest &request, GtkWidget *buttons,
                          GtkWidget *standard) {
    GtkWindow *window = style_window(title, GTK_ACCESSIBLE_ROLE_ALERT_DIALOG);
    GtkBox *content = style_content(window);
    GtkWidget *question = field_long_text(text);
    for (GtkWidget *part : {question, prompt_caller(request), buttons}) gtk_box_append(content, part);
    field_describes(question, GTK_WIDGET(window));
    field_mark_default(standard);
    gtk_window_set_focus(window, standard);
    g_signal_connect(window, "close-request", G_CALLBACK(refuse), nullptr);
    gtk_window_present(window);
}

void prompt_confirm(const WindowRequest &request) {
    GtkWidget *buttons = field_buttons();
    GtkWidget *no = field_button(buttons, catalogue_text("_No"), G_CALLBACK(refuse), nullptr);
    GtkWidget *yes = field_button(buttons, catalogue_text("_Yes"), G_CALLBACK(accept), nullptr);
    show_question(catalogue_text("Question"), window_safe_text(request.subject), request, buttons,
                  request.ask == WindowAsk::confirmYes ? yes : no);
}

void prompt_pause(const WindowRequest &request) {
    GtkWidget *buttons = field_buttons();
    GtkWidget *proceed = field_button(buttons, catalogue_text("_Continue"), G_CALLBACK(accept), nullptr);
    show_question(catalogue_text("Pause"), catalogue_text("The login script waits until you continue."), request,
                  buttons, proceed);
}
