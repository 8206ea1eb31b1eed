// What became of the last attempt to mount a volume for a user: the automounter writes it, map --status reads it.
//
//     /run/brasca/UID/SERVER/VOLUME ::= "brasca-drive 1 " state " " seconds-since-1970 LF
//     state                         ::= "mounted" | a failure's code
//
//     /run/brasca/UID/.refused      ::= credentials-version " brasca-drive 1 " state " " seconds-since-1970 LF
//     /run/brasca/UID/.turn         locked (flock) while the user's kept password is tried
//
// SERVER and VOLUME are in capital letters: a name in several cases is one. Folders and files are root's. Nobody lists
// the folders; a file's access list lets its user read it (without access lists it is the user's own, mode 0400).
#ifndef PLATFORM_COMMON_DRIVE_STATE_H
#define PLATFORM_COMMON_DRIVE_STATE_H

#include <sys/types.h>
#include <ctime>
#include <optional>
#include <string>

#include "platform/common/opened.h"

enum class DriveFailure {
    none, // mounted
    wrongPassword,
    passwordExpired,
    accountLocked,
    notAllowed,
    noTicket,
    noSuchShare,
    unknownHost,
    refused,
    noAnswer,
    noSource,
    badSource,
    noHelper,     // no mount program
    noFileSystem, // in the kernel
    failed
};

struct DriveState {
    DriveFailure failure = DriveFailure::none;
    time_t when = 0;
};

// The reason in words, translated; empty for `none`.
std::string drive_failure_text(DriveFailure failure);

// Records the state, as root. False with errno; nothing is recorded under a name that cannot be a folder's.
bool drive_state_write(uid_t user, const std::string &server, const std::string &volume, const DriveState &state);

// The state that was recorded for the effective user; nothing when there is none, or none that root wrote.
std::optional<DriveState> drive_state_read(const std::string &server, const std::string &volume);

// Records, as root, that a server did not take the user's kept password; `version` is that of the file with it
// (smb_credentials.h). False with errno.
bool password_refusal_write(uid_t user, const std::string &version, const DriveState &state);

// The turn to try the user's kept password, as root: attempts at one time would each count for the account's lock
// before the first refusal is recorded. Not open, with errno (EWOULDBLOCK), when others have it for longer than that;
// it ends with the object.
Opened password_turn_take(uid_t user, long seconds);

// Why that password was not taken: the state recorded last, if it was for the same version. As root.
std::optional<DriveState> password_refusal_read(uid_t user, const std::string &version);

#endif
