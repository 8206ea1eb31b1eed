// Asks by one of the prompts and writes what the caller gets:
//   asker [--stay] [--program PATH] display | login LABEL NAME | confirm TEXT DEFAULT | pause
// PATH takes the place of the program that shows the windows. An empty NAME stands for none. With --stay it writes no
// password, wipes and frees what it got, writes "at rest" and waits for the end of its standard input. While it asks, a
// line "missing N" there is the number of signs of life that may be missing from then on.
#include <unistd.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include "platform/treelogin.h"
#ifdef PROMPT_WINDOW_PATH
#include "platform/prompt/window_process.h"
#endif

static bool stays = false;

static void write_answer(const char *name, char *text) {
    if (text == nullptr) return;
    if (stays)
        printf(" %s of %zu bytes", name, strlen(text));
    else
        printf(" %s=%s", name, text);
    explicit_bzero(text, strlen(text));
    free(text);
}

static void ask(char **words) {
    const std::string what = words[0];
    char *user = nullptr, *password = nullptr;
    int result = -1;
    if (what == "display") result = auxinit_g();
    if (what == "login") result = auxlogin_g(words[1], *words[2] != '\0' ? words[2] : nullptr, &user, &password);
    if (what == "confirm") result = auxconfirm_g(words[1], "question", 1, atoi(words[2]));
    if (what == "pause") result = auxpause_script();
    printf("%s=%d", what.c_str(), result);
    write_answer("user", user);
    write_answer("password", password);
    puts("");
    fflush(stdout);
}

// Until the end of the input.
static void obey_input() {
    char line[80];
    while (fgets(line, sizeof line, stdin) != nullptr) {
#ifdef PROMPT_WINDOW_PATH
        int missing = 0;
        if (sscanf(line, "missing %d", &missing) == 1) window_missed_beats = missing;
#endif
    }
}

int main(int argc, char **argv) {
    char **words = argv + 1;
    stays = argc > 1 && strcmp(words[0], "--stay") == 0;
    if (stays) ++words;
#ifdef PROMPT_WINDOW_PATH
    window_program = PROMPT_WINDOW_PATH;
    if (argc > 3 && strcmp(words[0], "--program") == 0) {
        window_program = words[1];
        words += 2;
    }
#endif
    if (words[0] == nullptr) return 64;
    auxbefore_prompt = [] { write(STDOUT_FILENO, "before\n", 7); };
    auxafter_prompt = [] { write(STDOUT_FILENO, "after\n", 6); };
    std::thread input(obey_input);
    ask(words);
    if (stays) {
        puts("at rest");
        fflush(stdout);
        input.join();
    }
    _exit(0);
}
