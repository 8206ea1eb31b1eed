// What the tests of file specifications share: a mount point in a folder of the test's own.
#ifndef NETWORK_FILE_FIXTURE_H
#define NETWORK_FILE_FIXTURE_H

#include <pwd.h>
#include <unistd.h>

#include "commands/file_spec.h"
#include "include/exported.h"
#include "tests/unit/session_fixture.h"

// A mount point with the volumes of SRV1, which is the default server of ACME_TREE.
class NetworkFileTest : public SessionTest {
  protected:
    NetworkFileTest() {
        spy::tree("ACME_TREE", "SRV1");
        spy::default_server("SRV1");
        spy::logged_in("jdoe.sales.acme");
        spy::authenticated("SRV1");
    }

    static std::string user() {
        const passwd *entry = getpwuid(geteuid());
        return entry != nullptr ? entry->pw_name : "user";
    }

    // A file below the mount point's directory of the user.
    void network_file(const std::string &name, const std::string &content) {
        const std::string path = mount_ + "/" + user() + "/" + name;
        std::filesystem::create_directories(std::filesystem::path(path).parent_path());
        std::ofstream(path) << content;
    }

    // What a statement that names the file displays.
    std::string display(const std::string &name) {
        run("DISPLAY " + name + "\n");
        return output();
    }

    // The text of qrt_GetFile, "(1)" for its failure.
    static std::string get_file(const char *server, const char *spec) {
        char untouched = 0;
        char *text = &untouched;
        const int result = qrt_GetFile(handle, server, spec, &text);
        if (result == 0) return taken(text);
        EXPECT_EQ(text, nullptr);
        return "(" + std::to_string(result) + ")";
    }
};

#endif
