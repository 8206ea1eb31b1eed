// Why a mount program has failed.
#ifndef TOOLS_AUTOMOUNT_MOUNT_FAILURE_H
#define TOOLS_AUTOMOUNT_MOUNT_FAILURE_H

#include <string_view>

#include "platform/common/drive_state.h"

// Judges by what the program wrote (in English) and by what the kernel's log has said meanwhile: SMB has one error
// number for a wrong password and for a share that the user may not use. An error number that says enough alone rules.
DriveFailure mount_failure_of(std::string_view output, std::string_view kernelLog, bool withPassword);

#endif
