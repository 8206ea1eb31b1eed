#include "tools/automount/mount_volume.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <unistd.h>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "platform/catalogue.h"
#include "platform/common/opened.h"
#include "platform/common/places.h"
#include "platform/common/smb_credentials.h"
#include "platform/terminal_text.h"
#include "tools/automount/bind_mount.h"
#include "tools/automount/limited_program.h"
#include "tools/automount/mount_command.h"
#include "tools/automount/mount_failure.h"
#include "tools/automount/refresh.h"
#include "tools/automount/root_file.h"

// Several servers may be silent at one time.
static constexpr long turns_waited_for = 2;

static void complain(const std::string &folder, const std::string &what) {
    fprintf(stderr, "mount.qrt: %s\n", terminal_text(folder + ": " + what).c_str());
}

namespace {

// What the kernel's log says from here on.
class KernelLog {
  public:
    KernelLog() : file_(open(place_kernel_log, O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY)) {
        lseek(file_.number(), 0, SEEK_END);
    }
    std::string rest() const {
        constexpr size_t most = size_t{64} << 10;
        std::string text;
        char record[8192];
        ssize_t got = 0;
        // One record at a time; EPIPE: some were lost.
        while (file_.isOpen() && text.size() < most &&
               ((got = read(file_.number(), record, sizeof record)) > 0 || (got < 0 && errno == EPIPE)))
            if (got > 0) text.append(record, static_cast<size_t>(got));
        return text;
    }

  private:
    Opened file_;
};

} // namespace

// What was killed at the limit may have come as far as the mount.
static DriveFailure give_up(const std::string &folder, long timeLimit) {
    umount2(folder.c_str(), MNT_DETACH | UMOUNT_NOFOLLOW);
    complain(folder, catalogue_format("no answer within %ld seconds", timeLimit));
    return DriveFailure::noAnswer;
}

// The folder may be on a mount of its own whose server does not answer any more.
static DriveFailure mount_local(const MountOrder &order, long timeLimit) {
    const std::string &source = order.mount.source.path;
    const auto mount = [&] { return bind_mount(source, order.folder, order.mount.options) ? 0 : errno; };
    const ProgramEnd end = limited_work_run(mount, timeLimit);
    if (end.how == ProgramEnd::How::silent) return give_up(order.folder, timeLimit);
    if (end.how != ProgramEnd::How::exited) return DriveFailure::failed;
    const int problem = end.status;
    if (problem == 0) return DriveFailure::none;
    complain(order.folder, catalogue_format("cannot mount %1$s: %2$s", source.c_str(), strerror(problem)));
    if (problem == ENOENT) return DriveFailure::noSuchShare;
    return problem == ELOOP || problem == ENOTDIR ? DriveFailure::badSource : DriveFailure::failed;
}

static DriveFailure mount_remote(const MountOrder &order, const Secret *password, long timeLimit) {
    const KernelLog log;
    const ProgramEnd end = limited_program_run(mount_command(order), password, timeLimit);
    if (!end.output.empty()) complain(order.folder, end.output);
    switch (end.how) {
        case ProgramEnd::How::silent:
            return give_up(order.folder, timeLimit);
        case ProgramEnd::How::notFound:
            complain(order.folder, catalogue_format("%s is not installed", mount_command(order)[0].c_str()));
            return DriveFailure::noHelper;
        case ProgramEnd::How::ended:
            return DriveFailure::failed;
        default:
            if (end.status == 0) return DriveFailure::none;
            return mount_failure_of(end.output, log.rest(), password != nullptr);
    }
}

static DriveFailure refuse(const std::string &folder, DriveFailure failure) {
    complain(folder, drive_failure_text(failure));
    return failure;
}

static bool is_of_password(DriveFailure failure) {
    return failure == DriveFailure::wrongPassword || failure == DriveFailure::passwordExpired ||
           failure == DriveFailure::accountLocked;
}

// A password that a server has refused is not tried again: each attempt counts for the account's lock. So there is one
// attempt at a time, with the password that there is then.
static DriveFailure mount_with_password(MountOrder *order, long timeLimit) {
    const uid_t user = order->user.id;
    const Opened turn = password_turn_take(user, turns_waited_for * timeLimit);
    if (!turn.isOpen()) {
        complain(order->folder, catalogue_format("the kept password cannot be used now: %s", strerror(errno)));
        return DriveFailure::failed;
    }
    const std::optional<SmbCredentials> credentials = smb_credentials_read(user);
    if (!credentials) return refuse(order->folder, DriveFailure::notAllowed);
    if (const std::optional<DriveState> refused = password_refusal_read(user, credentials->version))
        return refuse(order->folder, refused->failure);
    order->smbUser = credentials->user;
    order->smbDomain = credentials->domain;
    const DriveFailure failure = mount_remote(*order, &credentials->password, timeLimit);
    if (is_of_password(failure) && !password_refusal_write(user, credentials->version, {failure, time(nullptr)}))
        complain(order->folder, catalogue_format("cannot record the state: %s", strerror(errno)));
    return failure;
}

static DriveFailure mount_as(const DriveUser &user, const std::string &folder, const std::string &server,
                             const std::string &volume, bool own) {
    const MountSite site = site_current();
    std::string why;
    const std::optional<SiteMount> mount = site_find(site, server, volume, &why);
    if (!mount) {
        complain(folder, why.empty() ? drive_failure_text(DriveFailure::noSource) : why);
        return why.empty() ? DriveFailure::noSource : DriveFailure::badSource;
    }
    MountOrder order = {*mount, user, folder, "", ""};
    if (mount->source.kind == VolumeSource::Kind::local) return mount_local(order, site.timeLimit);
    const bool with_password =
        site.credentials && mount_needs_password(*mount, true) && smb_credentials_read(user.id).has_value();
    if (!with_password && mount_needs_password(*mount, false)) return refuse(folder, DriveFailure::notAllowed);
    if (!with_password) return mount_remote(order, nullptr, site.timeLimit);
    return own ? mount_with_password(&order, site.timeLimit) : refuse(folder, DriveFailure::notAllowed);
}

DriveFailure mount_volume(const std::string &folder, bool own) {
    const auto names = drive_path_names(folder);
    const std::optional<DriveUser> user = names && names->size() == 3 ? drive_user(names->front()) : std::nullopt;
    if (!user) throw AutomountError(catalogue_format("%s is not the folder of a user's volume", folder.c_str()));
    const std::string &server = (*names)[1];
    const std::string &volume = (*names)[2];
    DriveFailure failure = DriveFailure::failed;
    try {
        failure = mount_as(*user, folder, server, volume, own);
    } catch (const AutomountError &error) {
        complain(folder, error.what());
    }
    if (!own && failure != DriveFailure::none) return failure;
    if (!drive_state_write(user->id, server, volume, {failure, time(nullptr)}))
        complain(folder, catalogue_format("cannot record the state: %s", strerror(errno)));
    return failure;
}
