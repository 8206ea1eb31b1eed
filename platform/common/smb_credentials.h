// The password of a login, kept for mounting SMB shares until the logout, where the administrator wants it so:
//
//     /run/user/UID/brasca-credentials ::= user LF domain LF password LF        mode 0600, on a file system in memory
//
// The login writes it as its user, the automounter reads it as root. What is in it can be used as options of a mount
// and is one line each.
#ifndef PLATFORM_COMMON_SMB_CREDENTIALS_H
#define PLATFORM_COMMON_SMB_CREDENTIALS_H

#include <sys/types.h>
#include <optional>
#include <string>

#include "platform/common/secret.h"

struct SmbCredentials {
    std::string user, domain; // the domain may be empty
    Secret password;
    std::string version; // of the file: another one after each login; set by smb_credentials_read
};

// Writes the effective user's file. False, with nothing written, when the user has no folder in /run/user that is
// theirs alone, and for a name or password that cannot stand there.
bool smb_credentials_write(const std::string &user, const std::string &domain, const char *password);

// Removes the effective user's file. True also when there is none.
bool smb_credentials_remove();

// The file of a user; nothing when there is none, or one that somebody else could have written or read.
std::optional<SmbCredentials> smb_credentials_read(uid_t user);

#endif
