// What the tests of `qrtscript get`, `put` and the others share: the small site with a tree in a file, and the program
// run against it.
#ifndef TESTS_QRTSCRIPT_OBJECT_SITE_H
#define TESTS_QRTSCRIPT_OBJECT_SITE_H

#include <unistd.h>
#include <filesystem>
#include <memory>

#include "tests/support/site.h"

class ObjectSite : public Site {
  protected:
    ObjectSite() { environment["TMPDIR"] = temporary.path(); }

    Outcome qrtscript(Words words, const std::string &input = "") {
        site.write("input", input);
        std::string line = "exec setsid -w '" QRTSCRIPT_PATH "'";
        for (const std::string &word : words) line += " '" + word + "'";
        return process_run({"/bin/sh", "-c", line + " <'" + site.path("input") + "'"}, environment);
    }
    std::unique_ptr<TerminalProcess> onTerminal(Words words) {
        words.insert(words.begin(), QRTSCRIPT_PATH);
        return std::make_unique<TerminalProcess>(words, environment);
    }
    std::string tree() const { return file_text(site.path("acme.ldif")); }
    std::string script(const std::string &object) { return qrtscript({"get", object}).out; }
    // How many files are left in the folder for temporary ones.
    long temporaries() const {
        const std::filesystem::directory_iterator all(temporary.path()), end;
        return std::distance(all, end);
    }

    TempFolder temporary;
};

#endif
