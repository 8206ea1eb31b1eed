#include "tests/support/site.h"

#include <pwd.h>
#include <unistd.h>
#include <climits>
#include <filesystem>

namespace {

const char client_configuration[] = R"(default_tree = "ACME"
[[tree]]
name = "ACME"
ldif = "acme.ldif"
default_server = "SRV1"
)";

// Of "secret", the password of both users; made with little work, so that the tests are quick.
const char password_hash[] = "$y$j7T$Qq3hM8nT5vXc2bJr9wLd1/$nOjJwkNkI7XEuk7rba2PsF7eXEvzQDcPIvCrw9sOjmB";

const char tree[] = R"(version: 1

dn: o=acme
objectClass: organization
o: acme

dn: ou=sales,o=acme
objectClass: organizationalUnit
objectClass: qrtContainer
ou: sales
@CONTAINER@
dn: cn=SRV1,o=acme
objectClass: qrtServer
cn: SRV1

dn: cn=SRV2,o=acme
objectClass: qrtServer
cn: SRV2

dn: cn=SRV1_SYS,o=acme
objectClass: qrtVolume
cn: SRV1_SYS
qrtHostServer: cn=SRV1,o=acme
qrtHostResourceName: SYS

dn: cn=SRV1_USERS,o=acme
objectClass: qrtVolume
cn: SRV1_USERS
qrtHostServer: cn=SRV1,o=acme
qrtHostResourceName: USERS

dn: cn=SRV2_DATA,o=acme
objectClass: qrtVolume
cn: SRV2_DATA
qrtHostServer: cn=SRV2,o=acme
qrtHostResourceName: DATA

dn: cn=APPS,ou=sales,o=acme
objectClass: qrtDirectoryMap
cn: APPS
qrtPath: 0#cn=SRV2_DATA,o=acme#apps

dn: cn=jdoe,ou=sales,o=acme
objectClass: inetOrgPerson
objectClass: qrtUser
cn: jdoe
sn: Doe
displayName: Jane Doe
userPassword: {CRYPT}@HASH@
@USER@
dn: cn=locked,ou=sales,o=acme
objectClass: inetOrgPerson
objectClass: qrtUser
cn: locked
sn: Locked
userPassword: {CRYPT}@HASH@
qrtLocked: TRUE
)";

std::string replaced(std::string text, const std::string &mark, const std::string &value) {
    for (size_t at = text.find(mark); at != std::string::npos; at = text.find(mark, at + value.size()))
        text.replace(at, mark.size(), value);
    return text;
}

} // namespace

const std::string login_head =
    "Your current tree is: ACME\n"
    "Your current context is: sales.acme\n"
    "User: jdoe\n"
    "You are attached to server SRV1\n";

Site::Site() : environment(process_environment()) {
    environment["HOME"] = home.path();
    environment["ZKCLIENT_CONF"] = site.path("client.toml");
    site.write("client.toml", client_configuration);
    std::string text = replaced(tree, "@HASH@", password_hash);
    site.write("acme.ldif", replaced(replaced(text, "@USER@", ""), "@CONTAINER@", ""));
}

void Site::userScript(const std::string &text) {
    site.write("user.qrt", text);
    std::string ldif = file_text(site.path("acme.ldif"));
    site.write("acme.ldif",
               replaced(ldif, "displayName: Jane Doe\n", "displayName: Jane Doe\nqrtLoginScript:< file:user.qrt\n"));
}

void Site::containerScript(const std::string &text) {
    site.write("container.qrt", text);
    std::string ldif = file_text(site.path("acme.ldif"));
    site.write("acme.ldif", replaced(ldif, "ou: sales\n", "ou: sales\nqrtLoginScript:< file:container.qrt\n"));
}

void Site::program(const std::string &name, const std::string &text) const {
    site.write(name, "#!/bin/sh\n" + text);
    std::filesystem::permissions(site.path(name), std::filesystem::perms::owner_all);
}

void Site::addOtherTree() const {
    site.write("other.ldif", file_text(site.path("acme.ldif")));
    site.write("client.toml",
               file_text(site.path("client.toml")) + "[[tree]]\nname = \"OTHER\"\nldif = \"other.ldif\"\n");
}

void Site::addToTree(const std::string &ldif) {
    site.write("acme.ldif", file_text(site.path("acme.ldif")) + "\n" + ldif);
}

Outcome Site::login(Words words, const std::string &password, const std::string &user) {
    words.insert(words.begin(), {"--password-fd", "3", "--user", user});
    return qrtlogin(words, password);
}

Outcome Site::qrtlogin(Words words, const std::string &descriptor3) {
    words.insert(words.begin(), QRTLOGIN_PATH);
    return process_run(words, environment, descriptor3);
}

Outcome Site::map(Words words) {
    words.insert(words.begin(), MAP_PATH);
    return process_run(words, environment);
}

Words Site::askingLogin(const Words &words) const {
    Words all = {QRTLOGIN_PATH, "--user", "jdoe.sales.acme"};
    all.insert(all.end(), words.begin(), words.end());
    return all;
}

std::unique_ptr<TerminalProcess> Site::loginOnTerminal(const Words &words) {
    auto process = std::make_unique<TerminalProcess>(askingLogin(words), environment);
    EXPECT_TRUE(process->answers("Password for jdoe.sales.acme: ", "secret\n")) << process->shown();
    return process;
}

std::string Site::link(const std::string &name) const {
    std::error_code none;
    return std::filesystem::read_symlink(home.path(name), none);
}

void Site::plant(const std::string &name, const std::string &target) const {
    std::filesystem::create_symlink(target, home.path(name));
}

std::string Site::below(const std::string &folder) {
    const passwd *entry = getpwuid(geteuid());
    return std::string("/mnt/brasca/") + (entry != nullptr ? entry->pw_name : "user") + "/" + folder;
}
