// The commands of docs/administrator.md about scripts in the directory, as they stand there, over the sample tree.
#include <filesystem>

#include "tests/support/manual.h"
#include "tests/support/process.h"

namespace {

namespace fs = std::filesystem;
using testing::EndsWith;
using testing::HasSubstr;

class ObjectManual : public testing::Test {
  protected:
    ObjectManual() : environment(process_environment()) {
        fs::copy(SOURCE_DIR "/examples/acme", work.path("acme"), fs::copy_options::recursive);
        environment["PATH"] = BINARY_DIR ":" + environment["PATH"];
        environment["HOME"] = work.path();
        environment["ZKCLIENT_CONF"] = work.path("acme/client.toml");
        work.write(".gitconfig", "[user]\n\tname = Admin\n\temail = admin@acme.example\n");
    }
    // Each block in a shell of its own, up to the last.
    Outcome run(const std::vector<std::string> &names) {
        Outcome outcome;
        for (const std::string &name : names) {
            const std::string text =
                "set -e\ncd '" + work.path() + "'\n" + manual_block("administrator.md", name, "sh");
            outcome = process_run({"/bin/sh", "-c", text}, environment);
            EXPECT_EQ(outcome.status, 0) << name << "\n" << outcome.out << outcome.err;
        }
        return outcome;
    }
    std::string script(const std::string &object) {
        return process_run({BINARY_DIR "/qrtscript", "get", object}, environment).out;
    }

    TempFolder work;
    Variables environment;
};

} // namespace

TEST_F(ObjectManual, ReadsChangesAndKeepsAScript) {
    EXPECT_THAT(run({"get and put"}).out, HasSubstr("\n+WRITE \"Sales meets at nine.\"\n"));
    EXPECT_EQ(run({"diff"}).out, "The same.\n");
    run({"edit"});
    EXPECT_THAT(script("sales.acme"), EndsWith("\nWRITE \"Sales meets at ten.\"\n"));
    const Outcome log = run({"former scripts"});
    EXPECT_THAT(log.out, HasSubstr("replaced; the former script is in ACME/acme/sales/_container.qrt."));
    EXPECT_THAT(log.out, HasSubstr("\n-WRITE \"Sales meets at ten.\"\n+WRITE \"Sales meets at eleven.\"\n"));
    EXPECT_EQ(script("sales.acme"), file_text(work.path("acme/scripts/sales.qrt")));
}

TEST_F(ObjectManual, KeepsAllScriptsInARepository) {
    run({"export", "drift"});
    const std::string path = work.path("scripts/acme/sales/_container.qrt");
    work.write("scripts/acme/sales/_container.qrt", file_text(path) + "WRITE \"proposed\"\n");
    EXPECT_THAT(run({"a proposal is checked"}).out, HasSubstr("\n+WRITE \"proposed\"\n"));
    EXPECT_THAT(run({"a proposal is planned"}).out, HasSubstr("  prints    proposed\n"));
    EXPECT_THAT(script("sales.acme"), testing::Not(HasSubstr("proposed")));
    work.make("former");
    run({"what was accepted is imported"});
    EXPECT_THAT(script("sales.acme"), EndsWith("\nWRITE \"proposed\"\n"));
}

// The whole of it in one shell, from the source tree. Neither the tree's own files nor the user's home change.
TEST_F(ObjectManual, TheTourIsTypedFromItsBeginningToItsEnd) {
    const std::string document = file_text(SOURCE_DIR "/docs/administrator.md"), mark = "<!-- tried: ";
    std::string text = "set -e\ncd '" SOURCE_DIR "'\n";
    for (size_t at = document.find(mark); at != document.npos; at = document.find(mark, at + 1)) {
        const size_t name = at + mark.size();
        text += manual_block("administrator.md", document.substr(name, document.find(" -->", name) - name), "sh");
    }
    text = replaced_once(text, "$PWD/build/release", BINARY_DIR);
    TempFolder home;
    environment = process_environment();
    for (const char *name : {"ZKCLIENT_CONF", "SCRIPTS", "GIT_CONFIG_GLOBAL"}) environment.erase(name);
    environment["HOME"] = home.path();
    environment["TMPDIR"] = work.path();
    const std::string ldif = SOURCE_DIR "/examples/acme/acme.ldif",
                      script = SOURCE_DIR "/examples/acme/scripts/sales.qrt";
    const std::string before = file_text(ldif) + file_text(script);
    const Outcome outcome = process_run({"/bin/sh", "-c", text}, environment);
    EXPECT_EQ(outcome.status, 0) << outcome.out << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("-WRITE \"Sales meets at ten.\"\n+WRITE \"Sales meets at eleven.\"\n"));
    EXPECT_EQ(file_text(ldif) + file_text(script), before);
    EXPECT_TRUE(fs::is_empty(home.path()));
}
