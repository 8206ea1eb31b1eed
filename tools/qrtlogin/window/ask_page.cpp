#include "tools/qrtlogin/window/ask_page.h"

#include <cstring>
#include <string_view>

#include "platform/catalogue.h"
#include "platform/prompt/window/fields.h"
#include "platform/prompt/window/safe_text.h"
#include "tools/qrtlogin/window/talk.h"

namespace {

struct AskPage {
    GtkWidget *heading, *explanation, *nameLabel, *name, *passwordLabel, *againLabel, *problem, *button;
    PasswordField password, again;
    bool asksName, asksPassword, asksTwice;
    void (*answered)();
    void (*refused)();
};

} // namespace

static AskPage page;

static std::string_view name_typed() {
    return gtk_editable_get_text(GTK_EDITABLE(page.name));
}

static std::string_view typed(const PasswordField &field) {
    return field_password_text(field);
}

static void complain(GtkWidget *field, const std::string &text) {
    field_mark_error(field, page.problem, text);
    gtk_widget_grab_focus(field);
}

// Whether there is something in the field and not too much; says so, and goes there, if not.
static bool is_complete(GtkWidget *field, std::string_view text, const char *missing) {
    if (!text.empty() && text.size() <= login_name_limit) return true;
    complain(field, text.empty()
                        ? std::string(missing)
                        : catalogue_format("this is longer than %d bytes", static_cast<int>(login_name_limit)));
    return false;
}

static void clear_password(const PasswordField &field) {
    gtk_editable_set_text(GTK_EDITABLE(field.text), "");
}

static void answer(GtkWidget *, gpointer) {
    if (page.asksName && !is_complete(page.name, name_typed(), catalogue_text("a user name is needed"))) return;
    if (page.asksPassword &&
        !is_complete(page.password.entry, typed(page.password), catalogue_text("a password is needed")))
        return;
    if (page.asksTwice && typed(page.password) != typed(page.again))
        return complain(page.again.entry, catalogue_text("the new passwords differ"));
    talk_answer(page.asksName ? name_typed() : "", page.asksPassword ? typed(page.password) : "");
    clear_password(page.password);
    clear_password(page.again);
    page.answered();
}

// The Enter key goes on to what is still empty.
static void go_on(GtkWidget *widget, gpointer) {
    if (page.asksPassword && typed(page.password).empty() && !name_typed().empty() && widget == page.name)
        gtk_widget_grab_focus(page.password.entry);
    else if (page.asksTwice && widget == page.password.entry)
        gtk_widget_grab_focus(page.again.entry);
    else
        answer(widget, nullptr);
}

static void forget_problem(GtkWidget *, gpointer) {
    for (GtkWidget *field : {page.name, page.password.entry, page.again.entry}) field_clear_error(field, page.problem);
}

static void refuse(GtkWidget *, gpointer) {
    page.refused();
}

static GtkWidget *label_of(GtkWidget *grid, int row) {
    return gtk_grid_get_child_at(GTK_GRID(grid), 0, row);
}

static GtkWidget *fields_new() {
    page.name = field_entry("");
    page.password = field_password();
    page.again = field_password();
    GtkWidget *grid = field_grid();
    field_add(grid, 0, catalogue_text("User _name"), page.name);
    field_add(grid, 1, catalogue_text("_Password"), page.password.entry);
    gtk_grid_attach(GTK_GRID(grid), page.password.below, 1, 2, 1, 1);
    field_add(grid, 3, catalogue_text("New password _again"), page.again.entry);
    page.nameLabel = label_of(grid, 0);
    page.passwordLabel = label_of(grid, 1);
    page.againLabel = label_of(grid, 3);
    for (GtkWidget *field : {page.name, page.password.entry, page.again.entry}) {
        g_signal_connect(field, "activate", G_CALLBACK(go_on), nullptr);
        g_signal_connect(field, "changed", G_CALLBACK(forget_problem), nullptr);
    }
    return grid;
}

GtkWidget *ask_page_new(void (*answered)(), void (*refused)()) {
    constexpr int spacing = 12;
    page.answered = answered;
    page.refused = refused;
    page.heading = field_heading("");
    page.explanation = field_caption("");
    page.problem = field_problem();
    GtkWidget *buttons = field_buttons();
    field_button(buttons, catalogue_text("_Cancel"), G_CALLBACK(refuse), nullptr);
    page.button = field_button(buttons, catalogue_text("_Log in"), G_CALLBACK(answer), nullptr);
    gtk_widget_add_css_class(page.button, "suggested-action");
    GtkWidget *box = gtk_box_new(GTK_ORIENTATION_VERTICAL, spacing);
    for (GtkWidget *part : {page.heading, page.explanation, fields_new(), page.problem, buttons})
        gtk_box_append(GTK_BOX(box), part);
    return box;
}

static std::string explanation(char ask, const std::string &user) {
    const std::string name = window_safe_name(user);
    if (ask == 'c') return catalogue_format("Choose a new password for %s.", name.c_str());
    if (ask == 'p')
        return catalogue_format("Your login scripts run when you have given the password of %s.", name.c_str());
    if (ask == 'n') return catalogue_text("Your login scripts run when you have given your name.");
    return catalogue_text("Your login scripts run when you have given your name and your password.");
}

void ask_page_show(const LoginMessage &question, const std::string &tree) {
    const char ask = question.fields[0][0];
    page.asksName = ask == 'b' || ask == 'n';
    page.asksPassword = ask != 'n';
    page.asksTwice = ask == 'c';
    const std::string user(question.fields[1]);
    gtk_label_set_text(GTK_LABEL(page.heading),
                       ask == 'c' ? catalogue_text("Change the password")
                                  : catalogue_format("Log in to the tree %s", window_safe_name(tree).c_str()).c_str());
    gtk_label_set_text(GTK_LABEL(page.explanation), explanation(ask, user).c_str());
    if (page.asksName && name_typed().empty()) gtk_editable_set_text(GTK_EDITABLE(page.name), user.c_str());
    gtk_label_set_text_with_mnemonic(GTK_LABEL(page.passwordLabel),
                                     page.asksTwice ? catalogue_text("New _password") : catalogue_text("_Password"));
    field_button_label(page.button,
                       page.asksTwice ? catalogue_text("Chan_ge the password") : catalogue_text("_Log in"));
    for (GtkWidget *part : {page.nameLabel, page.name}) gtk_widget_set_visible(part, page.asksName);
    for (GtkWidget *part : {page.passwordLabel, page.password.entry, page.password.below})
        gtk_widget_set_visible(part, page.asksPassword);
    for (GtkWidget *part : {page.againLabel, page.again.entry}) gtk_widget_set_visible(part, page.asksTwice);
    forget_problem(nullptr, nullptr);
    if (!question.fields[2].empty()) complain(ask_page_focus(), window_safe_text(question.fields[2]));
}

GtkWidget *ask_page_focus() {
    return page.asksName && (name_typed().empty() || !page.asksPassword) ? page.name : page.password.entry;
}
