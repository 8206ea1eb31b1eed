#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <utility>

#include "platform/common/drive_state.h"
#include "platform/common/location.h"
#include "platform/common/places.h"
#include "platform/common/smb_credentials.h"
#include "tests/support/process.h"
#include "tools/automount/drive_path.h"
#include "tools/automount/limited_program.h"
#include "tools/automount/mount_command.h"
#include "tools/automount/mount_failure.h"
#include "tools/automount/root_file.h"
#include "tools/automount/site.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;

SiteMount mount_of(const std::string &source, const std::string &options) {
    std::string why;
    const VolumeSource parsed = volume_source_parse(source, &why).value();
    return {parsed, volume_options_parse(parsed.kind, options, &why).value()};
}

std::string options_of(const std::string &source, const std::string &options, const std::string &smbUser = "",
                       const std::string &domain = "") {
    return mount_command({mount_of(source, options), {"anna", 2001, 2000}, "/mnt/x", smbUser, domain}).back();
}

constexpr const char *own_mount =
    "uid=2001,gid=2000,iocharset=utf8,forceuid,forcegid,file_mode=0600,dir_mode=0700,"
    "nosuid,nodev";

TEST(MountCommand, AShareIsMountedWithTheUsersTicketAndForTheUserAlone) {
    EXPECT_EQ(std::string("sec=krb5,cruid=2001,") + own_mount, options_of("smb://fs1/home", ""));
    EXPECT_EQ(std::string("vers=3.1.1,sec=krb5i,ro,cruid=2001,") + own_mount,
              options_of("smb://fs1/home", "vers=3.1.1,sec=krb5i,ro,nodev"));
    EXPECT_EQ(std::string("guest,") + own_mount, options_of("smb://fs1/home", "guest", "anna"));
    EXPECT_EQ("multiuser,sec=krb5,cruid=2001,uid=2001,gid=2000,iocharset=utf8,nosuid,nodev",
              options_of("smb://fs1/home", "multiuser"))
        << "there the server decides who may do what";
}

TEST(MountCommand, AnAddressIsWrittenAsEachProgramTakesIt) {
    const auto source = [](const char *text) {
        return mount_command({mount_of(text, ""), {"anna", 2001, 2000}, "/mnt/x", "", ""})[1];
    };
    EXPECT_EQ("//fd00::1/home/a b", source("smb://[fd00::1]/home/a%20b"));
    EXPECT_EQ("[fd00::1]:/export", source("nfs://[fd00::1]/export"));
    EXPECT_EQ("//10.0.0.1/home", source("smb://10.0.0.1/home"));
}

TEST(MountCommand, APasswordTakesTheTicketsPlaceUnlessTheTicketIsWanted) {
    EXPECT_EQ(std::string("username=anna,domain=SCHOOL,") + own_mount,
              options_of("smb://fs1/home", "", "anna", "SCHOOL"));
    EXPECT_EQ(std::string("sec=ntlmssp,domain=OTHER,username=anna,") + own_mount,
              options_of("smb://fs1/home", "sec=ntlmssp,domain=OTHER", "anna", "SCHOOL"));
    EXPECT_EQ(std::string("sec=krb5,cruid=2001,") + own_mount, options_of("smb://fs1/home", "sec=krb5", "anna"));
    EXPECT_FALSE(mount_needs_password(mount_of("smb://fs1/home", ""), false));
    EXPECT_TRUE(mount_needs_password(mount_of("smb://fs1/home", ""), true));
    EXPECT_TRUE(mount_needs_password(mount_of("smb://fs1/home", "sec=ntlmssp"), false));
    EXPECT_FALSE(mount_needs_password(mount_of("smb://fs1/home", "sec=krb5i"), true));
    EXPECT_FALSE(mount_needs_password(mount_of("smb://fs1/home", "guest"), true));
    EXPECT_FALSE(mount_needs_password(mount_of("nfs://fs1/home", "sec=sys"), true));
}

TEST(MountFailure, IsToldByTheProgramAndByTheKernelsLog) {
    const struct {
        const char *output, *log;
        bool withPassword;
        DriveFailure expected;
    } cases[] = {
        {"mount error(13): Permission denied\nRefer to the mount.cifs(8) manual page", "", true,
         DriveFailure::notAllowed},
        {"mount error(13): Permission denied", "4,1;CIFS: Status code returned 0xc000006d STATUS_LOGON_FAILURE", true,
         DriveFailure::wrongPassword},
        {"mount error(13): Permission denied", "3,2;CIFS: VFS: \\\\fs1 Send error in SessSetup = -13", true,
         DriveFailure::wrongPassword},
        {"mount error(13): Permission denied", "3,2;CIFS: VFS: \\\\fs1 Send error in SessSetup = -13", false,
         DriveFailure::notAllowed},
        {"mount error(13): Permission denied", "STATUS_PASSWORD_EXPIRED", true, DriveFailure::passwordExpired},
        {"mount error(13): Permission denied", "STATUS_ACCOUNT_LOCKED_OUT", true, DriveFailure::accountLocked},
        {"mount error(2): No such file or directory", "STATUS_BAD_NETWORK_NAME", true, DriveFailure::noSuchShare},
        {"mount error(5): Input/output error", "STATUS_ACCOUNT_LOCKED_OUT", true, DriveFailure::accountLocked},
        {"mount error(1): Operation not permitted", "STATUS_LOGON_FAILURE", true, DriveFailure::wrongPassword},
        {"mount error(2): No such file or directory", "STATUS_LOGON_FAILURE", true, DriveFailure::noSuchShare},
        {"mount error(113): No route to host", "STATUS_ACCOUNT_LOCKED_OUT", true, DriveFailure::noAnswer},
        {"mount.nfs: Connection refused", "STATUS_LOGON_FAILURE", false, DriveFailure::refused},
        {"mount error(6): No such device or address", "", true, DriveFailure::noSuchShare},
        {"mount error(126): Required key not available", "", false, DriveFailure::noTicket},
        {"mount error(127): Key has expired", "", false, DriveFailure::passwordExpired},
        {"mount error(110): Connection timed out", "", false, DriveFailure::noAnswer},
        {"mount error(113): No route to host", "", false, DriveFailure::noAnswer},
        {"mount error: cifs filesystem not supported by the system\nmount error(19): No such device", "", false,
         DriveFailure::noFileSystem},
        {"mount.nfs: No such device", "", false, DriveFailure::noFileSystem},
        {"mount error: could not resolve address for fs1: Unknown error", "", false, DriveFailure::unknownHost},
        {"mount.nfs: access denied by server while mounting fs1:/x", "", false, DriveFailure::notAllowed},
        {"mount.nfs: mounting fs1:/x failed, reason given by server: No such file or directory", "", false,
         DriveFailure::noSuchShare},
        {"mount.nfs: Failed to resolve server fs1: Name or service not known", "", false, DriveFailure::unknownHost},
        {"mount.nfs: Connection refused", "", false, DriveFailure::refused},
        {"mount.nfs: Connection timed out", "", false, DriveFailure::noAnswer},
        {"mount error(", "", false, DriveFailure::failed},
        {"mount.nfs: No route to host", "", false, DriveFailure::noAnswer},
        {"mount error(99999999999999999999)", "", false, DriveFailure::failed},
        {"", "", false, DriveFailure::failed},
    };
    for (const auto &c : cases) EXPECT_EQ(c.expected, mount_failure_of(c.output, c.log, c.withPassword)) << c.output;
}

TEST(SiteFile, IsReadAsItWasWritten) {
    const MountSite site = {1700000000,
                            {"fs1", ".b"},
                            "sec=krb5,ro",
                            7,
                            60,
                            true,
                            {{"T", "S", "V", "/srv/v", "ro"}, {"", "S", "W", "smb://x/y", ""}}};
    const std::string text = site_text(site);
    EXPECT_EQ(
        "brasca-site 1 1700000000\nhost\tfs1\nhost\t.b\nsmb_options\tsec=krb5,ro\ntime_limit\t7\nrefresh\t60\n"
        "credentials\nvolume\tT\tS\tV\t/srv/v\tro\nvolume\t\tS\tW\tsmb://x/y\t\n",
        text);
    EXPECT_EQ(text, site_text(site_parse(text).value()));
    for (size_t cut = 0; cut < text.size(); ++cut) {
        const bool wholeLines = cut > 0 && text[cut - 1] == '\n';
        EXPECT_EQ(wholeLines, site_parse(text.substr(0, cut)).has_value()) << cut;
    }
    for (const char *line : {"colour\tred", "host", "host\ta\tb", "time_limit\t0", "time_limit\t3601", "time_limit\t-1",
                             "refresh\t1x", "credentials\tyes", "volume\ta\tb\tc\td", "volume\ta\tb\tc\td\te\tf", ""})
        EXPECT_FALSE(site_parse("brasca-site 1 1\n" + std::string(line) + "\n")) << line;
}

TEST(SiteFile, VolumesComeBeforeListedHosts) {
    const MountSite site = {0,
                            {"fs1"},
                            "sec=krb5i",
                            1,
                            1,
                            false,
                            {{"", "FS1", "HOME", "smb://other/home", ""},
                             {"T", "FS1", "home", "/srv/late", ""},
                             {"T", "S", "BAD", "x", ""}}};
    std::string why;
    EXPECT_EQ("other", site_find(site, "fs1", "Home", &why)->source.host) << "the first one of a name";
    const SiteMount share = site_find(site, "FS1", "Sha%re 1", &why).value();
    EXPECT_EQ("fs1", share.source.host);
    EXPECT_EQ("sha%re 1", share.source.path);
    EXPECT_THAT(share.options, ElementsAre("sec=krb5i"));
    EXPECT_FALSE(site_find(site, "s", "bad", &why));
    EXPECT_THAT(why, HasSubstr("the source is not"));
    for (const char *volume : {"", "..", "a/b", "a\\b", "a\nb"}) {
        EXPECT_FALSE(site_find(site, "fs1", volume, &why)) << volume;
        EXPECT_EQ("", why);
    }
    EXPECT_FALSE(site_find(site, "fs1", "a,uid=0", &why));
    EXPECT_FALSE(site_find(site, "fs2", "home", &why));
    EXPECT_TRUE(site_has_server(site, "fs1"));
    EXPECT_TRUE(site_has_server(site, "s"));
    EXPECT_FALSE(site_has_server(site, "fs2"));
}

TEST(DrivePath, IsAUsersServersVolume) {
    TempFolder folder;
    folder.make("mount");
    ASSERT_EQ(0, symlink(folder.path("mount").c_str(), folder.path("link").c_str()));
    const std::string point = folder.path("link");
    const char *const usual = std::exchange(place_mount_point, point.c_str());
    EXPECT_THAT(*drive_path_names(point), testing::IsEmpty());
    EXPECT_THAT(*drive_path_names(point + "/anna/S 1/V'"), ElementsAre("anna", "S 1", "V'"));
    EXPECT_THAT(*drive_path_names(folder.path("mount") + "/anna"), ElementsAre("anna"));
    for (const char *below : {"/a/b/c/d", "/a/../b", "/a//b", "/.", "/a\nb", "x", "/a\\b"})
        EXPECT_FALSE(drive_path_names(point + below)) << below;
    EXPECT_FALSE(drive_path_names(point + "/" + std::string(129, 'a')));
    EXPECT_FALSE(drive_path_names("/etc"));
    EXPECT_FALSE(drive_path_names(""));
    place_mount_point = usual;
}

TEST(LinkedVolumes, AreFoundByTheirFolders) {
    const std::vector<LinkedVolume> linked = {{"S", "OUTER", "/srv/v"}, {"S", "INNER", "/srv/v/in"}};
    const auto text = [&](const char *target) {
        const std::optional<Location> location = location_of_link(target, linked);
        return location ? location->text() : "none";
    };
    EXPECT_EQ("S/OUTER:", text("/srv/v"));
    EXPECT_EQ("S/OUTER:a/b c", text("/srv/v/a/b c"));
    EXPECT_EQ("S/INNER:x", text("/srv/v/in/x"));
    EXPECT_EQ("S/OUTER:inx", text("/srv/v/inx"));
    EXPECT_EQ("T/V:p", text((std::string(place_mount_point) + "/anna/T/V/p").c_str()));
    for (const char *target : {"", "/", "/srv", "/srv/vx", "srv/v", "/srv/v/../x", "/srv/v/a\nb", "/srv/v/a\\b"})
        EXPECT_EQ("none", text(target)) << target;
    EXPECT_EQ("/srv/v/in/a", location_link_target({"S", "INNER", "a"}, linked));
    EXPECT_EQ("/srv/v", location_link_target({"S", "OUTER", ""}, linked));
    EXPECT_EQ(location_local_path({"S", "OTHER", "a"}), location_link_target({"S", "OTHER", "a"}, linked));
}

TEST(RootFile, IsReadOnlyWhereNobodyElseCanHaveWrittenIt) {
    TempFolder folder;
    std::string text;
    const std::string path = folder.path("a/b");
    EXPECT_FALSE(root_file_read(path, 10, &text));
    root_file_write(path, "0123456789");
    EXPECT_TRUE(root_file_read(path, 10, &text));
    EXPECT_EQ("0123456789", text);
    struct stat status = {};
    ASSERT_EQ(0, stat(path.c_str(), &status));
    EXPECT_EQ(S_IFREG | 0644u, status.st_mode);
    EXPECT_THROW(root_file_read(path, 9, &text), AutomountError);
    for (mode_t mode : {0664u, 0646u}) {
        ASSERT_EQ(0, chmod(path.c_str(), mode));
        EXPECT_THROW(root_file_check(path), AutomountError) << mode;
    }
    root_file_write(path, "new");
    root_file_check(path);
    ASSERT_EQ(0, chmod(folder.path("a").c_str(), 0775));
    EXPECT_THROW(root_file_check(path), AutomountError);
    ASSERT_EQ(0, chmod(folder.path("a").c_str(), 0755));
    ASSERT_EQ(0, symlink("a", folder.path("link").c_str()));
    EXPECT_THROW(root_file_check(folder.path("link/b")), AutomountError);
    ASSERT_EQ(0, symlink("b", folder.path("a/link").c_str()));
    EXPECT_THROW(root_file_check(folder.path("a/link")), AutomountError);
    EXPECT_THROW(root_file_check(folder.path("a")), AutomountError);
    EXPECT_THROW(root_file_check(folder.path("none")), AutomountError);
    EXPECT_THROW(root_file_write(path + "/c", ""), AutomountError);
}

TEST(LimitedProgram, EndsAtItsLimitWithAllThatItHasStarted) {
    TempFolder folder;
    EXPECT_EQ(ProgramEnd::How::notFound, limited_program_run({folder.path("none")}, nullptr, 1).how);
    ProgramEnd end = limited_program_run({"/bin/sh", "-c", "echo one; echo two >&2; exit 3"}, nullptr, 20);
    EXPECT_EQ(ProgramEnd::How::exited, end.how);
    EXPECT_EQ(3, end.status);
    EXPECT_EQ("one\ntwo\n", end.output);
    EXPECT_EQ(ProgramEnd::How::ended, limited_program_run({"/bin/sh", "-c", "kill -9 $$"}, nullptr, 20).how);
    const std::string ids = folder.path("ids");
    const std::string other = "/bin/sh -c 'echo $$ >" + ids + "; exec sleep 1000' &";
    const std::string silent = "trap '' TERM; " + other + " echo begun; sleep 1000";
    end = limited_program_run({"/bin/sh", "-c", silent}, nullptr, 1);
    EXPECT_EQ(ProgramEnd::How::silent, end.how);
    EXPECT_EQ("begun\n", end.output);
    EXPECT_EQ(-1, kill(stoi(file_text(ids)), 0));
    EXPECT_EQ(ESRCH, errno);
    // One that leaves a process behind, as a file system in user space does, is not waited for.
    end = limited_program_run({"/bin/sh", "-c", "sleep 3 & exit 0"}, nullptr, 20);
    EXPECT_EQ(ProgramEnd::How::exited, end.how);
    EXPECT_LE(limited_program_run({"/bin/sh", "-c", "yes | head -c 100000"}, nullptr, 20).output.size(), 4096u);
}

TEST(LimitedProgram, AFunctionHasItsLimitToo) {
    const auto work = [] {
        fputs("one\n", stderr);
        return getchar() == EOF ? 200 : 1;
    };
    ProgramEnd end = limited_work_run(work, 20);
    EXPECT_EQ(ProgramEnd::How::exited, end.how);
    EXPECT_EQ(200, end.status);
    EXPECT_EQ("one\n", end.output);
    EXPECT_EQ(ProgramEnd::How::silent, limited_work_run([] { return pause(); }, 1).how);
    const auto failing = []() -> int { throw std::runtime_error("x"); };
    EXPECT_EQ(ProgramEnd::How::ended, limited_work_run(failing, 20).how);
    const sighandler_t before = signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(ProgramEnd::How::ended, limited_work_run([] { return 0; }, 20).how);
    signal(SIGCHLD, before);
}

TEST(LimitedProgram, ReadsThePasswordFromItsDescriptor) {
    Secret password;
    strcpy(password.text(), "sun,flower");
    const std::string script =
        "echo $PASSWD_FD; cat <&3; ls /proc/self/fd | wc -l; tr '\\0' '\\n' </proc/self/environ | grep -c sun";
    const ProgramEnd end = limited_program_run({"/bin/sh", "-c", script}, &password, 20);
    EXPECT_EQ("3\nsun,flower5\n0\n", end.output);
    EXPECT_EQ("4\n", limited_program_run({"/bin/sh", "-c", "ls /proc/self/fd | wc -l"}, nullptr, 20).output);
}

class UsersFiles : public testing::Test {
  protected:
    UsersFiles() {
        folder.make(id);
        chmod(folder.path(id).c_str(), 0700);
        place_user_folders = path.c_str();
        place_drive_states = states.c_str();
    }
    void plant(const std::string &text, mode_t mode = 0600) const {
        folder.write(id + "/brasca-credentials", text);
        chmod(folder.path(id + "/brasca-credentials").c_str(), mode);
    }
    bool isRead() const { return smb_credentials_read(geteuid()).has_value(); }

    TempFolder folder;
    const std::string id = std::to_string(geteuid());
    const std::string path = folder.path();
    const std::string states = folder.path("states");
};

TEST_F(UsersFiles, CredentialsAreTheUsersAlone) {
    EXPECT_FALSE(isRead());
    ASSERT_TRUE(smb_credentials_write("anna", "SCHOOL", "sun,flower "));
    const std::optional<SmbCredentials> read = smb_credentials_read(geteuid());
    ASSERT_TRUE(read.has_value());
    EXPECT_EQ("anna SCHOOL", read->user + " " + read->domain);
    EXPECT_STREQ("sun,flower ", read->password.text());
    struct stat status = {};
    ASSERT_EQ(0, stat(folder.path(id + "/brasca-credentials").c_str(), &status));
    EXPECT_EQ(S_IFREG | 0600u, status.st_mode);
    EXPECT_TRUE(smb_credentials_remove());
    EXPECT_FALSE(isRead());
    EXPECT_TRUE(smb_credentials_remove());
}

TEST_F(UsersFiles, CredentialsThatCouldBeSomethingElseAreNotTaken) {
    for (const char *user : {"", "a,b", "a\nb", "a\"b"}) EXPECT_FALSE(smb_credentials_write(user, "", "x")) << user;
    EXPECT_FALSE(smb_credentials_write("anna", "A,uid=0", "x"));
    EXPECT_FALSE(smb_credentials_write("anna", "", ""));
    EXPECT_FALSE(smb_credentials_write("anna", "", "a\nb"));
    EXPECT_FALSE(smb_credentials_write("anna", "", std::string(1025, 'p').c_str()));
    EXPECT_TRUE(smb_credentials_write("anna", "", std::string(1024, 'p').c_str()));
    EXPECT_TRUE(isRead());
    for (const char *text : {"", "anna\n", "anna\n\n", "anna\n\nx", "anna\n\nx\ny\n", "\n\nx\n", "a,uid=0\n\nx\n",
                             "anna\nA,suid\nx\n", "anna\n\n\n"}) {
        plant(text);
        EXPECT_FALSE(isRead()) << text;
    }
    plant(std::string("anna\n\na\0b\n", 10));
    EXPECT_FALSE(isRead());
    plant("anna\n\n" + std::string(5000, 'p') + "\n");
    EXPECT_FALSE(isRead());
    plant("anna\n\nx\n");
    EXPECT_TRUE(isRead());
    plant("anna\n\nx\n", 0640);
    EXPECT_FALSE(isRead()) << "others have read it";
    plant("anna\n\nx\n");
    chmod(folder.path(id).c_str(), 0755);
    EXPECT_FALSE(isRead()) << "the folder is open to others";
    EXPECT_FALSE(smb_credentials_write("anna", "", "x"));
    chmod(folder.path(id).c_str(), 0700);
    const std::string file = folder.path(id + "/brasca-credentials");
    ASSERT_EQ(0, rename(file.c_str(), folder.path("elsewhere").c_str()));
    ASSERT_EQ(0, symlink(folder.path("elsewhere").c_str(), file.c_str()));
    EXPECT_FALSE(isRead()) << "a link";
}

TEST_F(UsersFiles, StatesOfNoMoreThan128ServersAreKept) {
    for (int i = 0; i < 140; ++i)
        ASSERT_TRUE(drive_state_write(geteuid(), "S" + std::to_string(i), "V", {DriveFailure::noAnswer, 1}));
    const auto count = [&] {
        const std::filesystem::directory_iterator servers(states + "/" + id);
        return std::distance(begin(servers), end(servers));
    };
    EXPECT_EQ(128, count());
    EXPECT_TRUE(drive_state_read("S139", "V").has_value());
    // What cannot be removed makes no room.
    for (const auto &server : std::filesystem::directory_iterator(states + "/" + id))
        std::filesystem::create_directory(server.path() / "folder");
    EXPECT_FALSE(drive_state_write(geteuid(), "NEW", "V", {DriveFailure::noAnswer, 1}));
    EXPECT_EQ(128, count());
}

TEST_F(UsersFiles, ARefusedPasswordIsKnownUntilThereIsAnotherOne) {
    const auto version = [&] { return smb_credentials_read(geteuid())->version; };
    ASSERT_TRUE(smb_credentials_write("anna", "", "wrong"));
    const std::string first = version();
    EXPECT_EQ(first, version());
    EXPECT_FALSE(password_refusal_read(geteuid(), first));
    ASSERT_TRUE(password_refusal_write(geteuid(), first, {DriveFailure::wrongPassword, 1700000000}));
    EXPECT_EQ(DriveFailure::wrongPassword, password_refusal_read(geteuid(), first)->failure);
    ASSERT_EQ(0, link(folder.path(id + "/brasca-credentials").c_str(), folder.path("keeps the inode").c_str()));
    ASSERT_TRUE(smb_credentials_write("anna", "", "right"));
    EXPECT_NE(first, version());
    EXPECT_FALSE(password_refusal_read(geteuid(), version()));
    EXPECT_FALSE(password_refusal_read(geteuid(), first.substr(1)));
    folder.write("states/" + id + "/.refused", first + " brasca-drive 1 colour 1\n");
    EXPECT_FALSE(password_refusal_read(geteuid(), first));
}

TEST_F(UsersFiles, TheKeptPasswordIsTriedByOneAtATime) {
    {
        const Opened turn = password_turn_take(geteuid(), 0);
        ASSERT_TRUE(turn.isOpen());
        EXPECT_FALSE(password_turn_take(geteuid(), 1).isOpen());
        EXPECT_EQ(EWOULDBLOCK, errno);
    }
    EXPECT_TRUE(password_turn_take(geteuid(), 0).isOpen());
    folder.write("states/" + id + "/S/V", "no folder");
    const std::string file = folder.path("states/" + id + "/S/V");
    place_drive_states = file.c_str();
    EXPECT_FALSE(password_turn_take(geteuid(), 0).isOpen());
}

TEST_F(UsersFiles, StatesAreReadAsTheyWereRecorded) {
    EXPECT_FALSE(drive_state_read("S 1", "V'"));
    ASSERT_TRUE(drive_state_write(geteuid(), "S 1", "V'", {DriveFailure::noAnswer, 1700000000}));
    const DriveState state = drive_state_read("S 1", "V'").value();
    EXPECT_EQ(DriveFailure::noAnswer, state.failure);
    EXPECT_EQ(1700000000, state.when);
    ASSERT_TRUE(drive_state_write(geteuid(), "S 1", "V'", {DriveFailure::none, 1}));
    EXPECT_EQ(DriveFailure::none, drive_state_read("S 1", "V'")->failure);
    ASSERT_TRUE(drive_state_write(geteuid(), "s 1", "v'", {DriveFailure::refused, 1}));
    EXPECT_EQ(DriveFailure::refused, drive_state_read("S 1", "V'")->failure);
    for (const char *name : {"", ".", "..", "a/b", ".hidden"}) {
        EXPECT_FALSE(drive_state_write(geteuid(), name, "V", {})) << name;
        EXPECT_FALSE(drive_state_write(geteuid(), "S", name, {})) << name;
    }
    for (const char *text : {"", "brasca-drive 1 mounted 1", "brasca-drive 2 mounted 1\n", "brasca-drive 1 colour 1\n",
                             "brasca-drive 1 mounted x\n"}) {
        folder.write("states/" + id + "/S/V", text);
        EXPECT_FALSE(drive_state_read("S", "V")) << text;
    }
}

} // namespace
