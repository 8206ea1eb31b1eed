#include "tests/unit/whole_login.h"

#include <dirent.h>

#include "tests/unit/keywords.h"
#include "tests/unit/statement_forms.h"

#ifdef QRT_SANITIZED
// The compiler has these functions and not their header.
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*)(const volatile void *, size_t),
                                                         void (*)(const volatile void *));
extern "C" size_t __sanitizer_get_allocated_size(const volatile void *);
#endif

namespace {

constexpr int programs_every = 7; // odd, since every other login of a sweep is a plain one
const char password[] = "the-password";
const char typed[] = "typed-secret";

// Every kind of statement that calls the client, most of them in the container's script.
const char container_script[] =
    "REM a remark\n* another\n; and another\nBREAK ON\nDOS BREAK OFF\n"
    "WRITE \"%FULL_NAME %LOGIN_NAME %NO_SUCH %HOME_DIRECTORY %CN %STATION %USER_ID %REQUESTER %<X> %2\"\n"
    "WRITE %FULL_NAME; \"joined\"; 30 + 40 * 20\n"
    "IF MEMBER OF \"staff\" THEN\nWRITE \"staff\"\nELSE\nWRITE \"guest\"\nEND\n"
    "IF NOT MEMBER OF \".none.acme\" THEN WRITE \"not in none\"\n"
    "IF VALUE \"5\" > \"4\" AND \"a\" = \"A\" OR \"b\" IS \"c\" THEN BEGIN\nWRITE \"true\"\nENDIF\n"
    "INCLUDE .news.acme\nINCLUDE SYS:NOFILE\nDISPLAY SRV1/SYS:NOFILE\nDISPLAY \\\\SRV1\\SYS\\NOFILE\n"
    "DISPLAY .apps.acme:X\nFDISPLAY F:X\nFDISPLAY .news.acme\nLASTLOGINTIME\n"
    "DRIVE F:\n"
    "IF \"%3\" = \"programs\" THEN\nMAP F:=SYS:\nPATH S1:=SYS:bin\n# no-such-program\n@ no-such-program\nEND\n"
    "SET X = \"%TITLE\"\nDOS SET X = \"\"\nTEMP SET X=\nLOCAL SET X = \"local\"\nCOMSPEC =/bin/sh\n"
    "GOTO AHEAD\nWRITE \"skipped\"\nAHEAD:\nCONTEXT sales.acme\nPROFILE .p.acme\nATTACH SRV2\nATTACH SRV3\n";
const char user_script[] =
    "TREE OTHER/.bob.acme;pass\nWRITE %LAST_NAME\nTREE OTHER\nTREE NOWHERE\nATTACH OUTSIDE\nWRITE \"end\"\nEXIT\n"
    "WRITE \"not reached\"\n";

// All the others, from the table of forms. Those that end or skip what follows are left out.
std::string other_statements() {
    statement_forms::Source random(1, "");
    std::string lines;
    for (const std::string &form : statement_forms::Source::forms()) {
        bool left_out = form.empty();
        for (const std::string &word : words_of(form))
            for (const char *other : {"<text>", "<file>", "<object>", "<unc>", "<rest>", "<condition>", "<joined>",
                                      "<target>", "IF", "ELSE", "END", "ENDIF", "EXIT", "BREAK", "ATTACH", "PROFILE"})
                left_out |= word == other;
        if (!left_out) lines += random.written(random.statement_of(form)) + "\n";
    }
    return lines;
}

int open_descriptors() {
    DIR *folder = opendir("/proc/self/fd");
    int count = 0;
    while (folder && readdir(folder)) count++;
    if (folder) closedir(folder);
    return count;
}

// What ATTACH was answered is wiped and, as required, never freed: here it stays reachable to the end of the process.
std::vector<std::pair<char *, char *>> &answered() {
    static auto *texts = new std::vector<std::pair<char *, char *>>;
    return *texts;
}

#ifdef QRT_SANITIZED
// Under the sanitizer each block that the library frees is searched for the passwords. What the recording client frees
// on its own account is not: its record of the calls shows them on purpose.
bool library_runs = false;
int secrets_freed = 0;

void look_at_freed(const volatile void *block) {
    if (!library_runs || block == nullptr || spy::recording()) return;
    const void *bytes = const_cast<const void *>(block);
    const size_t size = __sanitizer_get_allocated_size(block);
    for (const char *secret : {password, typed})
        if (memmem(bytes, size, secret, strlen(secret)) != nullptr) secrets_freed++;
}

// A new block may hold what an earlier one left there: that was not left by this login.
void clear_new(const volatile void *block, size_t size) {
    if (library_runs && block != nullptr) memset(const_cast<void *>(block), 0, size);
}

void watch_frees(bool yes) {
    static const int installed = __sanitizer_install_malloc_and_free_hooks(clear_new, look_at_freed);
    EXPECT_GT(installed, 0);
    library_runs = yes;
    EXPECT_EQ(secrets_freed, 0) << "blocks freed with a password in them";
    secrets_freed = 0;
}
#else
void watch_frees(bool) {}
#endif

} // namespace

WholeLoginTest::WholeLoginTest() {
    // Programs are not what fails here: one that cannot be started counts as one that succeeded, and is the quickest.
    std::filesystem::remove(folder_.path("map"));
    keeps_snapshots_ = false;
    setenv("HOME", folder_.path("home").c_str(), 1);
}

WholeLoginTest::~WholeLoginTest() {
    unsetenv("X");
}

void WholeLoginTest::end_session() {
    // Without a pipe the end of a session closes descriptor 0.
    const int input = dup(0);
    qrt_exit();
    dup2(input, 0);
    close(input);
}

void WholeLoginTest::declare() {
    unsetenv("X");
    declare_network();
    spy::tree("OTHER", "SRV3");
    for (const char *server : {"SRV1", "SRV2"}) spy::server(server, "ACME_TREE");
    spy::server("SRV3", "OTHER");
    spy::server("OUTSIDE");
    spy::authenticated("SRV1");
    spy::default_server("SRV1");
    spy::logged_in_to("OTHER", "CN=alice.O=acme");
    for (const char *user : {"jdoe.OU=sales.O=acme", "bob.acme"}) {
        spy::text_attribute(user, "FULL_NAME", {"John Doe"});
        spy::text_attribute(user, "Surname", {"Doe"});
        spy::attribute(user, "HOME_DIRECTORY", {spy::path("vol1.acme", "home")});
        spy::text_attribute(user, "Group_Membership", {"a.acme", "staff.OU=sales.O=acme"});
        spy::text_attribute(user, "Profile", {"p.acme"});
    }
    spy::text_attribute(".p.acme", "Profile", {"q.acme"});
    spy::text_attribute("apps.acme", "Path", {"vol1.acme:apps"});
    spy::text_attribute("vol1.acme", "Host_Resource_Name", {"SYS"});
    spy::text_attribute("vol1.acme", "Host_Server", {"SRV1.acme"});
    spy::stream("OU=sales.O=acme", container_script + other_statements());
    spy::stream(".news.acme", "WRITE \"news\"\n");
    spy::stream("q.acme", "WRITE \"profile\"\n");
    spy::stream("jdoe.OU=sales.O=acme", user_script);
    spy::mapped_drive(folder_.path("home/F"), "SRV1/SYS:public");
    for (int i = 0; i < 4; i++) spy::prompt_answer("jdoe", typed);
    spy::prompt_cancel();
    spy::confirm_answer(4);
    spy::keep_prompt_texts();
}

void WholeLoginTest::log_in(const std::function<void()> &fail, Failing failing) {
    declare();
    args_ = {};
    args_.treename = hold("acme_tree");
    args_.user = hold("jdoe");
    args_.password = hold(password);
    args_.userVar2 = hold("two");
    // Starting programs takes as long as all the rest.
    if (logins_++ % programs_every == 0) args_.userVar3 = hold("programs");
    fail();
    wipe_watch::forget();
    const int before = open_descriptors();
    watch_frees(true);
    const uint32_t result = run_all();
    watch_frees(false);
    if (!failing.hollow) {
        EXPECT_THAT(spy::mistakes(), IsEmpty());
    }
    if (!failing.gives_back) {
        EXPECT_EQ(spy::open_buffers(), 0);
        EXPECT_EQ(spy::open_files(), 0);
    }
    EXPECT_LE(open_descriptors(), before);
    EXPECT_LE(result, 0xF003U);
    if (result == QRT_NO_TREE) end_session();
    output();
    if (result <= 1) {
        EXPECT_EQ(CurrentPassword, nullptr);
        EXPECT_EQ(CurrentTree, nullptr);
        EXPECT_EQ(uservars[0], nullptr);
        EXPECT_GE(condindex, 0);
    }
    EXPECT_EQ(printed_.find(password), std::string::npos);
    for (const auto &texts : spy::prompt_texts()) answered().push_back(texts);
    clear();
}

void WholeLoginTest::log_in_plainly() {
    log_in([] {}, {});
    if (first_.empty()) first_ = printed_;
    EXPECT_EQ(printed_, first_);
}
