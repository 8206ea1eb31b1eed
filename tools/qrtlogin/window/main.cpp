// qrt-login-window: the window of a login. qrtlogin --gui starts it and talks with it over a socket; it is of no use to
// anybody else.
#include <glib.h>
#include <gtk/gtk.h>
#include <unistd.h>
#include <clocale>
#include <cstdio>

#include "platform/catalogue.h"
#include "platform/prompt/window/protection.h"
#include "platform/prompt/window/style.h"
#include "platform/prompt/window_environment.h"
#include "tools/own_folder.h"
#include "tools/program_start.h"
#include "tools/qrtlogin/window/ask_page.h"
#include "tools/qrtlogin/window/run_page.h"
#include "tools/qrtlogin/window/talk.h"

static constexpr int exit_usage = 64;
static constexpr guint show_after = 300; // milliseconds: a quick login shows nothing
static constexpr char application[] = "org.libqrtscript.qrtlogin";

static GtkWindow *window;
static GtkWidget *asking, *running;
static LoginRecord *record;
static bool stays = false, is_shown = false;

static bool is_asking() {
    return gtk_widget_get_visible(asking) != FALSE;
}

static bool has_ended() {
    return record->outcome != LoginOutcome::none;
}

static void show() {
    if (!is_shown) gtk_window_present(window);
    is_shown = true;
}

static gboolean show_in_time(gpointer) {
    show();
    return G_SOURCE_REMOVE;
}

// Without the toolkit's own end, which takes longer and is of no use.
[[noreturn]] static void leave() {
    _exit(0);
}

// One that is resizable would keep the size of the larger page.
static void turn_to(const GtkWidget *page) {
    for (GtkWidget *one : {asking, running}) gtk_widget_set_visible(one, one == page);
    gtk_window_set_resizable(window, page == running);
}

static void go_to_run() {
    turn_to(running);
    gtk_widget_grab_focus(run_page_button());
}

// The page stays until it is known whether the password is the right one.
static void wait_for_login() {
    gtk_widget_set_sensitive(asking, FALSE);
}

static bool is_answered() {
    return is_asking() && gtk_widget_get_sensitive(asking) == FALSE;
}

static void refuse() {
    talk_refuse();
    leave();
}

// While the scripts run, closing ends nothing: that is done by the button alone, which is shown.
static gboolean close_requested() {
    if (has_ended()) leave();
    if (is_asking() && !is_answered()) refuse();
    if (!is_asking()) gtk_widget_grab_focus(run_page_button());
    return TRUE;
}

static void ask(const LoginMessage &question) {
    turn_to(asking);
    gtk_widget_set_sensitive(asking, TRUE);
    ask_page_show(question, record->tree);
    show();
    gtk_widget_grab_focus(ask_page_focus());
}

static void begin(const LoginMessage &message) {
    record->tree = message.fields[0];
    record->user = message.fields[1];
    stays = message.fields[2] == "1";
    run_page_begin();
    if (is_answered()) go_to_run();
}

static void end(const LoginMessage &message) {
    record->note(message);
    if (record->outcome == LoginOutcome::clean && !stays) leave();
    go_to_run();
    run_page_end();
}

static void take(const LoginMessage &message) {
    if (has_ended()) return;
    if (message.kind == 'b') return begin(message);
    if (message.kind == 'q') return ask(message);
    if (message.kind == 'e') return end(message);
    run_page_take(message);
}

// qrtlogin has gone: it has become another program, or was ended.
static void talk_ended() {
    if (has_ended()) return;
    if (is_asking() && !is_answered()) leave();
    LoginMessage message;
    const std::string reason = catalogue_text("qrtlogin has ended before the scripts had");
    message.kind = 'e';
    message.fields = {"f", reason, {}, {}};
    end(message);
}

static void window_new() {
    record = new LoginRecord;
    window = style_window(catalogue_text("Login"), GTK_ACCESSIBLE_ROLE_DIALOG);
    gtk_window_set_icon_name(window, application);
    running = run_page_new(record, leave);
    asking = ask_page_new(wait_for_login, refuse);
    GtkBox *content = style_content(window);
    gtk_box_append(content, running);
    gtk_box_append(content, asking);
    g_signal_connect(window, "close-request", G_CALLBACK(close_requested), nullptr);
    go_to_run();
}

int main() {
    if (!program_may_start("qrt-login-window")) return exit_usage;
    protection_begin();
    window_environment_enter();
    setlocale(LC_ALL, "");
    own_catalogues_bind();
    bind_textdomain_codeset(catalogue_domain, "UTF-8");
    if (!talk_is_possible()) {
        fprintf(stderr, "qrt-login-window: %s\n", catalogue_text("is started by qrtlogin, for --gui"));
        return exit_usage;
    }
    // By its name a desktop finds its entry, and the icon.
    if (!style_init(application, catalogue_text("Login"))) {
        talk_fail(catalogue_text("the display cannot be opened"));
        return 1;
    }
    window_new();
    talk_begin(take, talk_ended);
    g_timeout_add(show_after, show_in_time, nullptr);
    g_main_loop_run(g_main_loop_new(nullptr, FALSE));
}
