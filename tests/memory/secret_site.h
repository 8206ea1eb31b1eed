// What the memory tests share: two trees and a server outside them whose passwords are hidden ones, a terminal on which
// they are typed without ever being text here, and the look into a process that stands still.
#ifndef TESTS_MEMORY_SECRET_SITE_H
#define TESTS_MEMORY_SECRET_SITE_H

#include <gmock/gmock.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tests/memory/scan.h"
#include "tests/support/site.h"

// The calling program's own copy of a password, which it has to wipe itself.
class OwnCopy {
  public:
    explicit OwnCopy(const HiddenSecret &secret) { secret.put(text_); }
    ~OwnCopy() { explicit_bzero(text_, sizeof text_); }
    OwnCopy(const OwnCopy &) = delete;
    OwnCopy &operator=(const OwnCopy &) = delete;
    char *text() { return text_; }

  private:
    char text_[HiddenSecret::length + 1];
};

// A login to the default tree through the library and the client of this process.
uint32_t directory_login(const std::string &user, const HiddenSecret &secret);

class SecretSite : public Site {
  protected:
    SecretSite();

    // A program, with the hook that stops it at its end; or a function in a process of its own, which calls at_rest().
    void start(const Words &words);
    // The program with the user's secret on its descriptor 3.
    void startWithDescriptor(const Words &words);
    void startHere(const std::function<int()> &body);
    static void at_rest();

    // Waits for a question and types the secret, character by character.
    void answer(const std::string &question, const HiddenSecret &secret);
    void answer(const std::string &question, const std::string &text);

    // Waits until the process stands still.
    void await_rest();
    // What is left of any of the secrets in the process, and in what it has shown.
    std::vector<std::string> left();
    std::vector<std::string> left_of(const HiddenSecret &secret);
    // Lets the process go on to its end.
    int finish();

    // `text` with each line that begins with `start` ending in `value`.
    static std::string with_values(std::string text, const std::string &start, const std::string &value);
    // A script file below the site's folder.
    std::string script(const std::string &text);
    // A program for the scripts, in a folder that the search path names first.
    void program(const std::string &name, const std::string &body);

    // The words that run `words` with the hook, behind those of `before`.
    Words hooked(Words before, const Words &words) const;

    std::unique_ptr<TerminalProcess> process;
    // What "dump" writes of its own environment and arguments, and all its parents' arguments.
    static const char dump[];
};

#endif
