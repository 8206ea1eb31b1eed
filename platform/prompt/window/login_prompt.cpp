#include <string>

#include "platform/catalogue.h"
#include "platform/prompt/window/conversation.h"
#include "platform/prompt/window/fields.h"
#include "platform/prompt/window/prompts.h"
#include "platform/prompt/window/safe_text.h"
#include "platform/prompt/window/style.h"

namespace {

// What is asked for, in words.
struct Wording {
    std::string heading, reason;
};

// What the callbacks need. It lives as long as the process.
struct LoginPrompt {
    GtkWindow *window;
    GtkWidget *name, *problem;
    PasswordField password;
};

} // namespace

// How the script library names a server in the label; every other label of one word is a tree.
static constexpr std::string_view server_mark = "(server) ";

static Wording wording_for_tree(const std::string &tree, const std::string &user) {
    Wording wording;
    wording.heading = catalogue_format("Log in to the tree %s", tree.c_str());
    if (user.empty())
        wording.reason = catalogue_format("A login script needs your name and your password in the directory tree %s.",
                                          tree.c_str());
    else
        wording.reason = catalogue_format(
            "A login script logs you in to the directory tree %1$s as %2$s and needs your "
            "password there. You may give another name with its own password.",
            tree.c_str(), user.c_str());
    return wording;
}

static Wording wording_for(const WindowRequest &request) {
    const std::string_view label = request.subject;
    if (label.substr(0, server_mark.size()) == server_mark) {
        const std::string server = window_safe_name(label.substr(server_mark.size()));
        return {catalogue_format("Log in to the server %s", server.c_str()),
                catalogue_format("A login script needs your name and your password on the server %s, which does not "
                                 "accept those of the directory.",
                                 server.c_str())};
    }
    if (!label.empty() && label.find_first_of(" \t\n") == label.npos)
        return wording_for_tree(window_safe_name(label), request.user.empty() ? "" : window_safe_name(request.user));
    return {label.empty() ? catalogue_text("Log in") : window_safe_text(label),
            catalogue_text("A login script needs your name and your password.")};
}

static std::string_view name_of(const LoginPrompt *prompt) {
    return gtk_editable_get_text(GTK_EDITABLE(prompt->name));
}

static std::string_view password_of(const LoginPrompt *prompt) {
    return field_password_text(prompt->password);
}

// Whether there is something in the field and not too much; says so, and goes there, if not.
static bool is_complete(const LoginPrompt *prompt, GtkWidget *field, std::string_view text, const char *missing) {
    if (!text.empty() && text.size() <= window_name_limit) return true;
    field_mark_error(field, prompt->problem,
                     text.empty()
                         ? std::string(missing)
                         : catalogue_format("This is longer than %d bytes.", static_cast<int>(window_name_limit)));
    gtk_widget_grab_focus(field);
    return false;
}

static void accept(GtkWidget *, gpointer data) {
    const auto *prompt = static_cast<LoginPrompt *>(data);
    if (is_complete(prompt, prompt->name, name_of(prompt), catalogue_text("Enter your user name.")) &&
        is_complete(prompt, prompt->password.entry, password_of(prompt), catalogue_text("Enter your password.")))
        conversation_accept(name_of(prompt), password_of(prompt),
                            [prompt] { field_password_forget(prompt->password); });
}

// The Enter key in the name goes on to the password.
static void go_to_password(GtkWidget *widget, gpointer data) {
    const auto *prompt = static_cast<LoginPrompt *>(data);
    if (password_of(prompt).empty() && !name_of(prompt).empty())
        gtk_widget_grab_focus(prompt->password.entry);
    else
        accept(widget, data);
}

static void forget_problem(GtkWidget *, gpointer data) {
    const auto *prompt = static_cast<LoginPrompt *>(data);
    field_clear_error(prompt->name, prompt->problem);
    field_clear_error(prompt->password.entry, prompt->problem);
}

static void refuse(GtkWidget *, gpointer data) {
    field_password_forget(static_cast<const LoginPrompt *>(data)->password);
    conversation_refuse();
}

static void connect(LoginPrompt *prompt) {
    g_signal_connect(prompt->window, "close-request", G_CALLBACK(refuse), prompt);
    g_signal_connect(prompt->name, "activate", G_CALLBACK(go_to_password), prompt);
    g_signal_connect(prompt->password.entry, "activate", G_CALLBACK(accept), prompt);
    for (GtkWidget *field : {prompt->name, prompt->password.entry})
        g_signal_connect(field, "changed", G_CALLBACK(forget_problem), prompt);
}

void prompt_login(const WindowRequest &request) {
    static LoginPrompt prompt;
    const Wording wording = wording_for(request);
    prompt.window = style_window(catalogue_text("Login"), GTK_ACCESSIBLE_ROLE_DIALOG);
    GtkBox *content = style_content(prompt.window);
    GtkWidget *reason = field_text(wording.reason);
    prompt.name = field_entry(request.user);
    prompt.password = field_password();
    prompt.problem = field_problem();

    GtkWidget *grid = field_grid();
    // TRANSLATORS: in windows, the letter behind "_" is the key that goes there, together with Alt.
    field_add(grid, 0, catalogue_text("User _name"), prompt.name);
    field_add(grid, 1, catalogue_text("_Password"), prompt.password.entry);
    gtk_grid_attach(GTK_GRID(grid), prompt.password.below, 1, 2, 1, 1);
    GtkWidget *buttons = field_buttons();
    field_button(buttons, catalogue_text("_Cancel"), G_CALLBACK(refuse), &prompt);
    field_mark_default(field_button(buttons, catalogue_text("_Log in"), G_CALLBACK(accept), &prompt));

    for (GtkWidget *part :
         {field_heading(wording.heading), reason, grid, prompt.problem, prompt_caller(request), buttons})
        gtk_box_append(content, part);
    field_describes(reason, GTK_WIDGET(prompt.window));
    connect(&prompt);
    gtk_window_set_focus(prompt.window, request.user.empty() ? prompt.name : prompt.password.entry);
    gtk_window_present(prompt.window);
}
