// Looks on while the scripts run, and tells the login's window: which script is run and what it does, its mistakes with
// their lines, the programs that fail. It sees what passes through this process anyway: the library's output, the
// programs that it starts and waits for, the scripts that it reads (watched_calls.cpp). Without a window nothing is
// looked at.
#ifndef TOOLS_QRTLOGIN_RUN_WATCH_H
#define TOOLS_QRTLOGIN_RUN_WATCH_H

#include <sys/types.h>
#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <string_view>

#include "tools/qrtlogin/login_window.h"
#include "tools/qrtlogin/options.h"
#include "tools/qrtlogin/script_place.h"

// One at a time, in the thread of the scripts.
class RunWatch {
  public:
    // `user` is the complete name of the user that has logged in.
    RunWatch(LoginWindow *window, const Options &options, std::string user);
    ~RunWatch();
    RunWatch(const RunWatch &) = delete;
    RunWatch &operator=(const RunWatch &) = delete;

    // The library's output passes here first from now on. Throws std::bad_alloc.
    void takeLibrarysOutput();

    // Whether there is something that the person should know.
    bool hasMistakes() const { return mistakes_ > 0; }

    // What happens, each in the thread of the scripts.
    void opened(uint32_t context, const std::string &object, uint32_t file);
    void read(uint32_t file, std::string_view text);
    void wrote(std::string_view text);
    void startsProgram();
    void ended(pid_t program, int status);

  private:
    struct Program {
        char script;
        std::string where, line, name;
        int error;
    };
    void look();
    void identify();
    void begin(char script, const std::string &object);
    ScriptPlace place(bool atLookAhead) const;
    void showPlace(const ScriptPlace &place);
    void mistake(char script, const std::string &where, const std::string &text);
    void takeStarted();
    void judge(const Program &program, int status);
    void complain(const Program &program, const std::string &why);

    LoginWindow *const window_;
    const std::string user_;
    std::string profileFile_, userFile_; // the texts of local scripts
    std::string readText_;               // of the script that is read
    uint32_t readFile_ = 0;
    char readScript_ = '-';
    char script_ = '-'; // which one runs
    std::string text_;
    int depth_ = 0; // of the library's stack of texts, by which a new script shows
    Program starting_ = {};
    std::map<pid_t, Program> programs_;
    unsigned mistakes_ = 0;
    int64_t shownAt_ = 0;
    FILE *inner_ = nullptr, *outer_ = nullptr;
};

// The one that looks on, or null.
RunWatch *run_watch();

// In the process that becomes a script's program: notes its number, what is executed, and why it could not be. Only
// calls that are safe there.
void run_watch_in_program();
void run_watch_executes(const char *program);
void run_watch_not_executed(int error);

#endif
