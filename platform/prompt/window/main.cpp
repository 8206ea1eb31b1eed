// qrt-prompt-window: shows the window of one prompt. libtreelogin starts it for each question and talks with it over a
// socket; it is of no use to anybody else.
#include <glib.h>
#include <clocale>
#include <cstdio>

#include "platform/catalogue.h"
#include "platform/prompt/window/conversation.h"
#include "platform/prompt/window/prompts.h"
#include "platform/prompt/window/protection.h"
#include "platform/prompt/window/style.h"
#include "platform/prompt/window_environment.h"
#include "tools/own_folder.h"
#include "tools/program_start.h"

static constexpr int exit_usage = 64;

static void show(const WindowRequest &request) {
    switch (request.ask) {
        case WindowAsk::display:
            conversation_accept();
        case WindowAsk::login:
            return prompt_login(request);
        case WindowAsk::confirm:
        case WindowAsk::confirmYes:
            return prompt_confirm(request);
        case WindowAsk::pause:
            return prompt_pause(request);
    }
}

int main() {
    if (!program_may_start("qrt-prompt-window")) return exit_usage;
    protection_begin();
    window_environment_enter();
    setlocale(LC_ALL, "");
    own_catalogues_bind();
    bind_textdomain_codeset(catalogue_domain, "UTF-8");
    WindowRequest request;
    if (!conversation_open(&request)) {
        fprintf(stderr, "qrt-prompt-window: %s\n", catalogue_text("is started by libtreelogin, for a prompt"));
        return exit_usage;
    }
    if (!style_init("qrt-prompt-window", catalogue_text("Login")))
        conversation_fail(catalogue_text("the display cannot be opened"));
    conversation_keep_alive();
    show(request);
    g_main_loop_run(g_main_loop_new(nullptr, FALSE));
}
