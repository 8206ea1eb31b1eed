// What the window knows of a login, for its summary and for the report that can be copied.
#ifndef TOOLS_QRTLOGIN_WINDOW_RECORD_H
#define TOOLS_QRTLOGIN_WINDOW_RECORD_H

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tools/qrtlogin/login_message.h"

enum class LoginOutcome { none, clean, mistakes, failed, cancelled };

struct RecordSection {
    std::string title; // translated
    std::vector<std::string> lines;
    size_t more = 0; // lines that are left out
};

struct LoginRecord {
    std::string tree, user;
    RecordSection mistakes, programs, drives, variables;
    LoginOutcome outcome = LoginOutcome::none;
    std::string reason; // of a failure

    LoginRecord();
    // Notes a message of the kinds m, p, d, v and e. Returns the line that it has become, safe to be shown.
    std::string note(const LoginMessage &message);
    std::string heading() const; // of the window
    std::vector<const RecordSection *> sections() const;
};

// "container's script", in words.
std::string record_script_name(char script);

// All of it as plain text, with what is shown of the output at its end.
std::string record_report(const LoginRecord &record, const std::string &time, const std::string &output);

#endif
