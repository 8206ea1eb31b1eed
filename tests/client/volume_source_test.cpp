#include "platform/common/volume_source.h"

#include <gmock/gmock.h>

namespace {

using Kind = VolumeSource::Kind;

// "host|path" behind the kind's first letter, or the reason.
std::string parsed(const std::string &text) {
    std::string why;
    const std::optional<VolumeSource> source = volume_source_parse(text, &why);
    if (!source) return why;
    return std::string(1, "snl"[static_cast<int>(source->kind)]) + "|" + source->host + "|" + source->path;
}

std::string options(Kind kind, const std::string &text) {
    std::string why;
    const auto list = volume_options_parse(kind, text, &why);
    if (!list) return why;
    std::string joined;
    for (const std::string &option : *list) joined += "<" + option + ">";
    return joined;
}

TEST(VolumeSourceTest, EveryKind) {
    EXPECT_EQ("s|fs1|home", parsed("smb://fs1/home"));
    EXPECT_EQ("s|fs1.school.example|home/a b", parsed("smb://FS1.School.Example/home/a b/"));
    EXPECT_EQ("s|10.0.0.1|Größe/100%", parsed("smb://10.0.0.1/Gr%C3%b6%C3%9fe/100%25"));
    EXPECT_EQ("s|fs1|home$", parsed("smb://fs1/home$"));
    EXPECT_EQ("s|[fd00::1]|home", parsed("smb://[FD00:0::0001]/home"));
    EXPECT_EQ("n|[::1]|/export", parsed("nfs://[::1]/export"));
    EXPECT_EQ("the source names no valid host", parsed(std::string("nfs://[::1\0]/x", 14)));
    EXPECT_EQ("n|fs1|/export/home", parsed("nfs://fs1/export/home"));
    EXPECT_EQ("n|fs1|/", parsed("nfs://fs1"));
    EXPECT_EQ("n|fs1|/", parsed("nfs://fs1/"));
    EXPECT_EQ("n|fs1|/a,b\"c", parsed("nfs://fs1/a,b\"c"));
    EXPECT_EQ("l||/srv/volumes/home", parsed("/srv/volumes/home/"));
    EXPECT_EQ("l||/srv/100%25", parsed("/srv/100%25")) << "a path of the machine is taken as it is";
}

TEST(VolumeSourceTest, WhatIsNoSource) {
    const std::string unknown = "the source is not smb://HOST/SHARE, nfs://HOST/PATH or /PATH";
    for (const char *text : {"", "home", "smb:/fs1/home", "SMB://fs1/home", "cifs://fs1/home", "//fs1/home",
                             "\\\\fs1\\home", " smb://fs1/home", "-o x"})
        EXPECT_EQ(std::string(text) == "//fs1/home" ? "the path of the source is not valid" : unknown, parsed(text))
            << text;
    for (const char *text : {"smb://",
                             "smb:///home",
                             "smb://-o/home",
                             "smb://.fs1/home",
                             "smb://fs 1/home",
                             "smb://fs1,x/home",
                             "smb://user@fs1/home",
                             "smb://fs1:445/home",
                             "smb://[]/home",
                             "smb://[fd00::1/home",
                             "smb://fd00::1/home",
                             "smb://[fd00::1]:445/home",
                             "smb://[fd00::1],x/home",
                             "smb://[fe80::1%25eth0]/home",
                             "smb://[fe80::1%eth0]/home",
                             "smb://[10.0.0.1]/home",
                             "smb://[fs1]/home",
                             "nfs://[[::1]]/x",
                             "smb://f%73/home",
                             "nfs://",
                             "nfs://\xC3\xA4/x",
                             "nfs://fs1\\x/y"})
        EXPECT_EQ("the source names no valid host", parsed(text)) << text;
    EXPECT_EQ("the source names no valid host", parsed("smb://" + std::string(254, 'a') + "/home"));
    EXPECT_EQ("s|" + std::string(253, 'a') + "|home", parsed("smb://" + std::string(253, 'a') + "/home"));
    for (const char *text : {"smb://fs1/..",
                             "smb://fs1/home/../x",
                             "smb://fs1//home",
                             "smb://fs1/a/./b",
                             "smb://fs1/%2e%2E",
                             "smb://fs1/a%2Fb",
                             "smb://fs1/a%",
                             "smb://fs1/a%4",
                             "smb://fs1/a%gg",
                             "smb://fs1/a%00b",
                             "smb://fs1/a\nb",
                             "smb://fs1/a%0Ab",
                             "smb://fs1/a\\b",
                             "nfs://fs1/../x",
                             "nfs://fs1/a\x7F",
                             "/srv/../etc",
                             "/srv/./x",
                             "/srv//x",
                             "/a\tb",
                             "/a\x1B[m"})
        EXPECT_EQ("the path of the source is not valid", parsed(text)) << text;
    for (const char *text : {"smb://fs1", "smb://fs1/"}) EXPECT_EQ("the source names no share", parsed(text)) << text;
    for (const char *text : {"smb://fs1/a,uid=0", "smb://fs1/home/%2Cuid=0", "smb://fs1/a\"b"})
        EXPECT_EQ("a share and its folders cannot have a comma or a double quote", parsed(text)) << text;
    EXPECT_EQ("the source is the root directory", parsed("/"));
    EXPECT_EQ("the source is too long", parsed("/" + std::string(1024, 'a')));
    EXPECT_EQ("l||/" + std::string(1023, 'a'), parsed("/" + std::string(1023, 'a')));
    EXPECT_EQ("the path of the source is not valid", parsed(std::string("/a\0b", 4)));
}

TEST(VolumeSourceTest, OptionsComeFromFixedLists) {
    EXPECT_EQ("", options(Kind::smb, ""));
    EXPECT_EQ("<sec=krb5><multiuser><vers=3.1.1><ro>", options(Kind::smb, "sec=krb5,multiuser,vers=3.1.1,ro"));
    EXPECT_EQ("<domain=SCHOOL><port=4450><guest>", options(Kind::smb, "domain=SCHOOL,port=4450,guest"));
    EXPECT_EQ("<sec=krb5p><nodev><nosuid>", options(Kind::nfs, "sec=krb5p,nodev,nosuid"));
    EXPECT_EQ("<ro><noexec>", options(Kind::local, "ro,noexec"));
    const struct {
        Kind kind;
        std::vector<std::string> refused;
    } cases[] = {
        {Kind::smb,
         {"suid",
          "dev",
          "exec",
          "SEC=krb5",
          "sec",
          "sec=",
          "sec=krb5p",
          "sec=krb5|krb5i",
          "multiuser=1",
          "uid=0",
          "credentials=/etc/shadow",
          "username=root",
          "port=",
          "port=-1",
          "port=12345678",
          "domain=",
          "domain=a b",
          "domain=-x",
          "ip=1.2.3.4",
          "prefixpath=x",
          "ro ",
          " ro",
          "remount",
          "bind",
          "x\ny"}},
        {Kind::nfs, {"sec=ntlmssp", "multiuser", "addr=1.2.3.4", "mountport=1x", "guest", "vers=2"}},
        {Kind::local, {"sec=krb5", "suid", "rbind", "vers=3"}},
    };
    for (const auto &c : cases)
        for (const std::string &option : c.refused)
            EXPECT_EQ("unknown, repeated or wrong mount option \"" + option + "\"", options(c.kind, option));
    EXPECT_THAT(options(Kind::smb, "ro,ro"), testing::HasSubstr("\"ro\""));
    EXPECT_THAT(options(Kind::smb, "sec=krb5,sec=ntlmssp"), testing::HasSubstr("\"sec=ntlmssp\""));
    for (const char *text : {",", "ro,", ",ro", "ro,,rw"})
        EXPECT_THAT(options(Kind::smb, text), testing::HasSubstr("unknown, repeated or wrong")) << text;
    EXPECT_EQ("the options are too long", options(Kind::smb, std::string(257, 'r')));
}

TEST(VolumeSourceTest, OptionsAreFoundByTheirNames) {
    EXPECT_TRUE(volume_options_have({"ro", "sec=krb5"}, "sec"));
    EXPECT_TRUE(volume_options_have({"ro", "sec=krb5"}, "ro"));
    EXPECT_FALSE(volume_options_have({"ro", "sec=krb5"}, "r"));
    EXPECT_FALSE(volume_options_have({"ro", "sec=krb5"}, "krb5"));
}

TEST(VolumeSourceTest, HostsAreListedByNameOrByDomain) {
    const std::vector<std::string> hosts = {"fs1", "FS2.school.example", ".staff.example"};
    for (const char *host : {"fs1", "FS1", "fs2.SCHOOL.example", "a.staff.example", "a.b.Staff.Example"})
        EXPECT_TRUE(volume_host_is_listed(hosts, host)) << host;
    for (const char *host : {"", "fs11", "fs1.school.example", "fs2", "staff.example", ".staff.example",
                             "evilstaff.example", "-a.staff.example", "a/b.staff.example", "a\n.staff.example"})
        EXPECT_FALSE(volume_host_is_listed(hosts, host)) << host;
    for (const char *host : {"[fd00::1]", "[FD00:0::1]"}) {
        EXPECT_TRUE(volume_host_is_listed({"[fd00::0:1]"}, host)) << host;
        EXPECT_FALSE(volume_host_is_listed({"fs1", ".1]", "[fd00::2]", "fd00::1"}, host)) << host;
    }
    EXPECT_FALSE(volume_host_is_listed({"x"}, "[x]"));
    EXPECT_FALSE(volume_host_is_listed({}, "fs1"));
    EXPECT_FALSE(volume_host_is_listed({""}, ""));
    for (const char *host : {"fs1", ".school.example", "10.1.2.3", "[fd00::1]"})
        EXPECT_TRUE(volume_host_is_valid(host)) << host;
    for (const char *host : {"", ".", "..a", "*", "a b", "fs1/x", "smb://fs1", "fd00::1", ".[fd00::1]", "[", "[]"})
        EXPECT_FALSE(volume_host_is_valid(host)) << host;
}

} // namespace
