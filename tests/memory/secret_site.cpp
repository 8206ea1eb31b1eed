#include "tests/memory/secret_site.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <csignal>
#include <cstdlib>
#include <filesystem>

#include "include/qrtscript.h"
#include "platform/zk.h"

namespace {

const char configuration[] = R"(default_tree = "ACME"
[[tree]]
name = "ACME"
ldif = "acme.ldif"
default_server = "SRV1"
[[tree]]
name = "OTHER"
ldif = "other.ldif"
default_server = "SRV1"
[[server]]
name = "OLDSRV"
[[server.user]]
name = "jdoe"
password = "@SERVER@"
)";

const char mark[] = "(at rest)";

const HiddenSecret *const all_secrets[] = {&users_secret, &wrong_secret, &other_trees_secret, &servers_secret};

} // namespace

const char SecretSite::dump[] =
    "for process in self $$ $PPID; do tr '\\0' '\\n' </proc/$process/cmdline; done; env; tr '\\0' '\\n' "
    "</proc/$$/environ";

std::string SecretSite::with_values(std::string text, const std::string &start, const std::string &value) {
    for (size_t at = text.find(start); at != std::string::npos; at = text.find(start, at + 1)) {
        const size_t from = at + start.size();
        text.replace(from, text.find('\n', from) - from, value);
    }
    return text;
}

SecretSite::SecretSite() {
    site.write("client.toml",
               with_values(configuration, "password = ", std::string("\"") + servers_secret.crypt + "\""));
    const std::string tree = file_text(site.path("acme.ldif"));
    const std::string expired =
        "dn: cn=expired,ou=sales,o=acme\nobjectClass: inetOrgPerson\nobjectClass: qrtUser\n"
        "cn: expired\nsn: Expired\nuserPassword: \nqrtLoginExpirationTime: 20200101000000Z\n";
    site.write("acme.ldif", with_values(tree + "\n" + expired, "userPassword: ", users_secret.crypt));
    site.write("other.ldif", with_values(tree, "userPassword: ", other_trees_secret.crypt));
    environment["PATH"] = site.path("programs") + ":" + environment["PATH"];
    program("dump", dump);
    // What is preloaded must have a name without blanks.
    std::filesystem::create_symlink(STOP_AT_END_PATH, site.path("stop_at_end.so"));
}

Words SecretSite::hooked(Words before, const Words &words) const {
    before.insert(before.end(), {"/usr/bin/env", "LD_PRELOAD=" + site.path("stop_at_end.so")});
    before.insert(before.end(), words.begin(), words.end());
    return before;
}

void SecretSite::start(const Words &words) {
    process = std::make_unique<TerminalProcess>(hooked({}, words), environment);
}

void SecretSite::startWithDescriptor(const Words &words) {
    OwnCopy password(users_secret);
    const int file = open(site.path("password").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    ASSERT_EQ(write(file, password.text(), HiddenSecret::length), static_cast<ssize_t>(HiddenSecret::length));
    close(file);
    const Words shell = {"/bin/sh", "-c", "exec \"$@\" 3<" + site.path("password"), "sh"};
    process = std::make_unique<TerminalProcess>(hooked(shell, words), environment);
}

void SecretSite::startHere(const std::function<int()> &body) {
    process = std::make_unique<TerminalProcess>([&] {
        for (const auto &[name, value] : environment) setenv(name.c_str(), value.c_str(), 1);
        return body();
    });
}

void SecretSite::at_rest() {
    const int terminal = open("/dev/tty", O_WRONLY | O_CLOEXEC);
    if (terminal < 0 || write(terminal, mark, sizeof mark - 1) < 0) _exit(124);
    close(terminal);
    raise(SIGSTOP);
}

void SecretSite::answer(const std::string &question, const HiddenSecret &secret) {
    ASSERT_TRUE(process->awaits(question)) << process->shown();
    for (size_t place = 0; place < HiddenSecret::length; ++place) process->type(std::string(1, secret.at(place)));
    process->type("\n");
}

void SecretSite::answer(const std::string &question, const std::string &text) {
    ASSERT_TRUE(process->answers(question, text + "\n")) << process->shown();
}

uint32_t directory_login(const std::string &user, const HiddenSecret &secret) {
    OwnCopy password(secret);
    uint32_t context = 0;
    if (qrt_Getctx("ACME", &context) != 0) return 1;
    const uint32_t code = ZKDSLoginEx(context, user.c_str(), 2, password.text());
    ZKDSFreeContext(context);
    return code;
}

void SecretSite::await_rest() {
    ASSERT_TRUE(process->awaits(mark)) << process->shown();
    ASSERT_TRUE(process->awaitsStop());
}

std::vector<std::string> SecretSite::left_of(const HiddenSecret &secret) {
    std::vector<std::string> found = scan_process(process->id(), secret);
    for (const std::string &line : scan_text(process->shown(), secret)) found.push_back("shown " + line);
    return found;
}

std::vector<std::string> SecretSite::left() {
    std::vector<std::string> found;
    for (const HiddenSecret *secret : all_secrets) {
        for (const std::string &line : left_of(*secret)) found.push_back(line);
    }
    return found;
}

int SecretSite::finish() {
    process->goOn();
    return process->finish();
}

std::string SecretSite::script(const std::string &text) {
    site.write("script.qrt", text);
    return site.path("script.qrt");
}

void SecretSite::program(const std::string &name, const std::string &body) {
    site.write("programs/" + name, "#!/bin/sh\n" + body + "\n");
    chmod(site.path("programs/" + name).c_str(), 0755);
}
