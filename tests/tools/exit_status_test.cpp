// How qrtlogin ends: every exit status that --help lists, and none that it does not.
#include <sys/stat.h>
#include <unistd.h>
#include <regex>
#include <set>

#include "tests/support/site.h"

namespace {

using testing::AllOf;
using testing::HasSubstr;

struct Row {
    int status;
    const char *userScript; // empty: none
    const char *line;       // for the shell; "$q" is qrtlogin and "$u" the words that name the user and the password
    const char *message;    // its standard error; empty: none
};

const char plain[] = "$q $u";

// "@" stands for the site's folder.
const Row rows[] = {
    {0, "WRITE \"hi\"\n", plain, ""},
    {0, "", "$q $u --login-script '<DEFAULT>' --profile-script '<DEFAULT>'", ""},
    {0, "", "$q $u --login-script /dev/null --profile-script /dev/null", ""},
    {0, "BREAK ON\n#@/interrupt\n", plain, ""},
    {0, "", "$q $u --profile-script @/mistake", ""},
    {0, "", "$q --help", ""},
    {1, "FOO BAR\n", plain, ""},
    {1, "IF \"a\"=\"a\" THEN\n", plain, ""},
    {1, "MAP H:=NOSRV/SYS:\n", plain, "map: cannot map drive H: to \"NOSRV/SYS:\": no such server\n"},
    {1, "", "$q $u --login-script @/mistake", ""},
    {1, "", "$q $u --login-script @/mapping", "map: cannot map drive H:"},
    {2, "", "$q --user jdoe.sales.acme --password-fd 4 4<@/wrong", "wrong password"},
    {2, "", "$q --user locked.sales.acme --password-fd 3", "CN=locked.OU=sales.O=acme is locked"},
    {2, "", "$q --user jdoe.sales.acme --password-fd 4 4</dev/null", "no password"},
    {3, "", "ZKCLIENT_CONF=@/broken.toml $q $u", "cannot read the directory data or configuration"},
    {4, "", "$q $u --tree NOTREE", "no such tree"},
    {4, "", "$q $u --server NOSRV", "cannot find the tree of server NOSRV"},
    {5, "", "$q --user nobody.sales.acme --password-fd 3", "no such user"},
    {64, "", "$q $u --debug x", "takes a number"},
    {64, "", "$q --password-fd 3", "no user"},
    {64, "", "$q --user jdoe.sales.acme --password-fd 17", "descriptor 17"},
    {64, "", "$q --user jdoe.sales.acme --password-fd 17 --tree NOTREE", "descriptor 17"},
    {64, "", "$q --user jdoe.sales.acme --password-fd 4 4>/dev/null", "descriptor 4: Bad file descriptor"},
    {66, "", "$q $u --login-script @/none", "cannot read the script @/none: No such file or directory"},
    {66, "", "$q $u --profile-script @/none", "cannot read the script @/none: No such file or directory"},
    {66, "", "$q $u --login-script @", "cannot read the script @: Is a directory"},
    {66, "", "$q $u --login-script @/fifo", "cannot read the script @/fifo: not a regular file"},
    {66, "", "$q $u --login-script @/socket", "cannot read the script @/socket: not a regular file"},
    {66, "", "$q --user jdoe.sales.acme --login-script @/none", "cannot read the script"},
    {71, "", "ulimit -n 5; exec $q $u", "Too many open files"},
    {74, "", "$q $u >/dev/full", "cannot write the output: No space left on device"},
    {74, "", "ulimit -f 1; $q $u --login-script @/long >@/limited", "cannot write the output: File too large"},
    {74, "FOO BAR\n", "$q $u >/dev/full", "cannot write the output: No space left on device"},
    {74, "SET A=\"1\"\n", "$q $u --print-environment >/dev/full", "cannot write the environment: No space left"},
    {74, "", "$q $u --login-script @/large --print-environment >/dev/full",
     "cannot write the environment: No space left"},
    {74, "", "$q --help >/dev/full", "cannot write the output: No space left on device"},
    {124, "WRITE \"hi\"\nAGAIN:\nGOTO AGAIN\n", "$q $u --time-limit 1", "at the time limit of 1 s"},
    {126, "", "$q $u -- @/wrong", "cannot run @/wrong"},
    {127, "", "$q $u -- @/none", "cannot run @/none"},
    {127, "", "$q $u -- no-such-command", "qrtlogin: cannot run no-such-command: No such file or directory\n"},
    {130, "#@/insist\n", plain, "by the third interrupt"},
    {42, "FOO BAR\n", "$q $u -- sh -c 'exit 42'", ""},
    {42, "", "SHELL=@/shell $q $u --shell", ""},
};

#ifdef QRT_SANITIZED
constexpr bool needs_descriptors_of_its_own = true; // for looking at what is thrown
#else
constexpr bool needs_descriptors_of_its_own = false;
#endif

class ExitStatus : public Site {
  protected:
    ExitStatus() {
        site.write("wrong", "wrong\n");
        site.write("mistake", "FOO BAR\n");
        site.write("mapping", "MAP H:=NOSRV/SYS:\n");
        for (int i = 0; i < 200; i++) long_ += "WRITE \"one line of many\"\n";
        site.write("long", long_);
        site.write("large", "SET A=\"" + std::string(9000, 'x') + "\"\n");
        site.write("broken.toml", "default_tree\n");
        program("interrupt", "kill -INT $PPID\n");
        program("insist", "while kill -INT $PPID; do sleep 0.1; done\n");
        program("shell", "exit 42\n");
        mkfifo(site.path("fifo").c_str(), 0600);
        mknod(site.path("socket").c_str(), S_IFSOCK | 0600, 0);
        tree_ = file_text(site.path("acme.ldif"));
    }
    std::string placed(const char *text) const {
        return std::regex_replace(std::string(text), std::regex("@"), site.path());
    }
    Outcome run(const Row &row) {
        site.write("acme.ldif", tree_);
        if (*row.userScript != '\0') userScript(placed(row.userScript));
        const std::string words = "q='" QRTLOGIN_PATH "' u='--user jdoe.sales.acme --password-fd 3'\n";
        return process_run({"/bin/sh", "-c", words + placed(row.line)}, environment, "secret\n");
    }
    std::string tree_, long_;
};

} // namespace

TEST_F(ExitStatus, IsThatOfTheTable) {
    for (const Row &row : rows) {
        if (row.status == 71 && needs_descriptors_of_its_own) continue;
        SCOPED_TRACE(std::string(row.userScript) + " | " + row.line);
        const Outcome outcome = run(row);
        EXPECT_EQ(outcome.status, row.status) << outcome.out << outcome.err;
        if (*row.message == '\0')
            EXPECT_EQ(outcome.err, "");
        else
            EXPECT_THAT(outcome.err, HasSubstr(placed(row.message)));
    }
}

// Above all the password is not asked for, in vain.
TEST_F(ExitStatus, OfAScriptFileThatIsNotThereComesBeforeTheLogin) {
    TerminalProcess process(askingLogin({"--login-script", site.path("none")}), environment);
    EXPECT_EQ(process.finish(), 66);
    EXPECT_EQ(process.shown(),
              "qrtlogin: cannot read the script " + site.path("none") + ": No such file or directory\r\n");
}

TEST_F(ExitStatus, OfAScriptThatMayNotBeRead) {
    chmod(site.path("mistake").c_str(), 0);
    Words words = {QRTLOGIN_PATH, "--login-script", site.path("mistake"), "jdoe.sales.acme"};
    // Root without its privileges is refused like everybody else.
    if (geteuid() == 0) words.insert(words.begin(), {"/usr/bin/setpriv", "--inh-caps=-all", "--bounding-set=-all"});
    const Outcome outcome = process_run(words, environment);
    EXPECT_EQ(outcome.status, 66);
    EXPECT_THAT(outcome.err, HasSubstr("Permission denied"));
}

TEST_F(ExitStatus, OfAContainersScriptDoesNotCount) {
    containerScript("FOO BAR\n");
    userScript("WRITE \"hi\"\n");
    const Outcome outcome = login();
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.out, AllOf(HasSubstr("FOO"), HasSubstr("hi\n")));
}

TEST_F(ExitStatus, IsListedInTheHelp) {
    const std::string help = qrtlogin({"--help"}).out;
    const size_t list = help.find("Exit status");
    ASSERT_NE(list, std::string::npos);
    std::set<int> listed, tested;
    const std::string text = help.substr(list);
    const std::regex row("\n +(\\d+)(?:, (\\d+))?  ");
    for (std::sregex_iterator one(text.begin(), text.end(), row), end; one != end; ++one) {
        listed.insert(std::stoi((*one)[1]));
        if ((*one)[2].matched) listed.insert(std::stoi((*one)[2]));
    }
    for (const Row &one : rows) tested.insert(one.status);
    tested.erase(42); // the command's own
    EXPECT_EQ(listed, tested);
}
