// A small site for the tests of the programs: a tree in a temporary folder, a user, two servers, and the two programs
// run against it as that user would run them.
#ifndef TESTS_SUPPORT_SITE_H
#define TESTS_SUPPORT_SITE_H

#include <gmock/gmock.h>
#include <memory>
#include <string>

#include "tests/support/process.h"

class Site : public ::testing::Test {
  protected:
    Site();

    // The user's own script; without one the default script runs.
    void userScript(const std::string &text);
    void containerScript(const std::string &text);
    // A program for scripts in the site's folder, and the statement that runs it and waits for its end.
    void program(const std::string &name, const std::string &text) const;
    std::string running(const std::string &name, const std::string &words = "") const {
        return "#" + site.path(name) + " " + words + "\n";
    }
    // A tree OTHER with the same entries.
    void addOtherTree() const;
    // Adds entries to the tree.
    void addToTree(const std::string &ldif);

    // qrtlogin with the words, the password on descriptor 3; "jdoe.sales.acme" logs in unless `user` names another.
    Outcome login(Words words = {}, const std::string &password = "secret\n",
                  const std::string &user = "jdoe.sales.acme");
    // qrtlogin with exactly these words.
    Outcome qrtlogin(Words words, const std::string &descriptor3 = "");
    Outcome map(Words words);
    // The words of a login whose password is asked for.
    Words askingLogin(const Words &words = {}) const;

    // A login of jdoe on a terminal whose question for the password has been answered.
    std::unique_ptr<TerminalProcess> loginOnTerminal(const Words &words = {});

    // Where the link below the home directory points; empty for none.
    std::string link(const std::string &name) const;
    void plant(const std::string &name, const std::string &target) const;
    // The local path of a network folder, as a link of the user running the test shows it.
    static std::string below(const std::string &folder);

    TempFolder site;
    TempFolder home;
    Variables environment;
};

// What the programs write at every login of jdoe before the first script, and the default script's output without
// drives.
extern const std::string login_head;

#endif
