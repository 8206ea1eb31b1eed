// What the library and the directory client leave in the memory of a program that calls them.
#include <unistd.h>
#include <cstdio>
#include <cstring>

#include "include/qrtscript.h"
#include "platform/treelogin.h"
#include "platform/zk.h"
#include "tests/memory/secret_site.h"

namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

struct Request {
    std::string script;
    std::string tree = "ACME";
    const char *user = "jdoe.sales.acme";
    bool gui = false;
};

uint32_t run(const Request &request) {
    OwnCopy password(users_secret);
    std::string script = request.script, tree = request.tree, user = request.user != nullptr ? request.user : "";
    QrtRunScriptsArgs args = {};
    args.treename = tree.data();
    args.user = request.user != nullptr ? user.data() : nullptr;
    args.loginScript = script.data();
    args.password = password.text();
    args.userGUI = request.gui ? 1 : 0;
    return qrt_RunScripts(&args);
}

class LibraryMemory : public SecretSite {
  protected:
    // A program that logs in, runs the request's script on the terminal and comes to rest.
    void run_program(const Request &request) {
        startHere([&] {
            if (directory_login("jdoe.sales.acme", users_secret) != 0) return 99;
            if (qrt_init(nullptr, fdopen(dup(STDOUT_FILENO), "w")) != 0) return 98;
            const uint32_t result = run(request);
            at_rest();
            return static_cast<int>(result & 0x7f);
        });
    }
    void expect_clean_end(int status) {
        await_rest();
        EXPECT_THAT(left(), IsEmpty());
        EXPECT_EQ(finish(), status) << process->shown();
    }
    Request running(const std::string &text) { return {script(text)}; }
};

const char name_question[] = "User name";

} // namespace

TEST_F(LibraryMemory, AfterARunOfEveryKindOfStatement) {
    program("map", dump);
    run_program(
        running("WRITE \"%LOGIN_NAME %FULL_NAME %<HOME>\"\nSET a=\"%LOGIN_NAME\"\nIF \"a\"=\"b\" THEN\nEND\n"
                "MAP F:=SRV1/SYS:\n#dump\n@dump\nFOO\nCONTEXT acme\nEXIT\n"));
    expect_clean_end(0);
    EXPECT_THAT(process->shown(), HasSubstr("/programs/map"));
}

TEST_F(LibraryMemory, AfterLoginsThatFail) {
    const struct {
        const char *user;
        const HiddenSecret *secret;
        uint32_t code;
    } rows[] = {
        {"jdoe.sales.acme", &wrong_secret, ZKE_WRONG_PASSWORD},
        {"nobody.sales.acme", &users_secret, ZKE_NO_SUCH_ENTRY},
        {"locked.sales.acme", &users_secret, ZKE_ACCOUNT_LOCKED},
        {"expired.sales.acme", &users_secret, ZKE_ACCOUNT_LOCKED},
        {"jdoe..sales", &users_secret, ZKE_MALFORMED_NAME},
    };
    startHere([&] {
        for (const auto &row : rows) {
            const uint32_t code = directory_login(row.user, *row.secret);
            printf("%s: %X\n", row.user, code ^ row.code);
            if (code != row.code) return 99;
        }
        at_rest();
        return 0;
    });
    expect_clean_end(0);
}

// A run that finds no tree or no user is required to leave the session as it stands, the copy of the password included:
// the calling program ends it.
TEST_F(LibraryMemory, ARunThatCannotBeginKeepsTheOneCopyForTheCaller) {
    for (const Request &request : {Request{"x", "NOTREE"}, Request{"x", "ACME", nullptr}}) {
        startHere([&] {
            if (qrt_init(nullptr, stdout) != 0) return 98;
            const uint32_t result = run(request);
            at_rest();
            explicit_bzero(CurrentPassword, strlen(CurrentPassword));
            at_rest();
            return result == QRT_NO_TREE || result == QRT_NO_USER ? 0 : 97;
        });
        await_rest();
        EXPECT_THAT(left_of(users_secret), SizeIs(1));
        process->goOn();
        expect_clean_end(0);
    }
}

TEST_F(LibraryMemory, ASecondRunWithAnotherPasswordKeepsNeither) {
    startHere([&] {
        for (int round = 0; round < 2; ++round) {
            if (qrt_init(nullptr, fdopen(dup(STDOUT_FILENO), "w")) != 0) return 98;
            run(Request{"none", "NOTREE"});
            run(running("WRITE \"x\"\n"));
        }
        at_rest();
        return 0;
    });
    expect_clean_end(0);
}

TEST_F(LibraryMemory, AfterATreeStatementThatAsks) {
    for (const bool gui : {false, true}) {
        Request request = running("TREE OTHER/jdoe.sales.acme\nWRITE \"goes on\"\n");
        request.gui = gui;
        run_program(request);
        answer(name_question, "jdoe.sales.acme");
        answer(password_question, wrong_secret);
        answer(name_question, "jdoe.sales.acme");
        answer(password_question, other_trees_secret);
        expect_clean_end(0);
        EXPECT_THAT(process->shown(), HasSubstr("goes on"));
    }
}

// What looks like a reference in a given password is replaced, in working copies. The secret stands in the middle of a
// long one, where no other use of the memory overwrites it by chance.
TEST_F(LibraryMemory, AfterATreeLoginWithAPasswordThatRefersToIdentifiers) {
    startHere([&] {
        if (qrt_init(nullptr, fdopen(dup(STDOUT_FILENO), "w")) != 0) return 98;
        char password[1024];
        memset(password, 'x', sizeof password - 1);
        password[sizeof password - 1] = '\0';
        char &behind = password[100 + HiddenSecret::length];
        referring_secret.put(password + 100);
        behind = 'x';
        char user[] = "jdoe.sales.acme", tree[] = "OTHER";
        doTreeLogin(tree, user, password);
        at_rest();
        return static_cast<int>(password[0]);
    });
    answer(name_question, "\x04");
    await_rest();
    EXPECT_THAT(left_of(referring_secret), IsEmpty());
    EXPECT_EQ(finish(), 0) << process->shown();
    EXPECT_THAT(process->shown(), HasSubstr("Could not Login into tree: OTHER 1"));
}

TEST_F(LibraryMemory, AfterATreeStatementThatIsCancelled) {
    run_program(running("TREE OTHER/jdoe.sales.acme\nTREE NOTREE\n"));
    answer(name_question, "jdoe.sales.acme");
    answer(password_question, wrong_secret);
    answer(name_question, "\x04");
    expect_clean_end(0);
    EXPECT_THAT(process->shown(), HasSubstr("Could not Login into tree: OTHER 1"));
}

TEST_F(LibraryMemory, AfterAnAttachStatementThatAsks) {
    run_program(running("ATTACH OLDSRV\nWRITE \"goes on\"\n"));
    answer(name_question, "jdoe");
    answer(password_question, wrong_secret);
    answer(name_question, "jdoe");
    answer(password_question, servers_secret);
    expect_clean_end(0);
    EXPECT_THAT(process->shown(), HasSubstr("goes on"));
}

TEST_F(LibraryMemory, AfterAnAttachStatementThatIsCancelled) {
    run_program(running("ATTACH OLDSRV\n"));
    answer(name_question, "jdoe");
    answer(password_question, wrong_secret);
    answer(name_question, "jdoe");
    answer(password_question, "\x04");
    expect_clean_end(0);
}
