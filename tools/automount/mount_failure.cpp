#include "tools/automount/mount_failure.h"

#include <cerrno>
#include <charconv>
#include <cstring>

namespace {

struct Phrase {
    std::string_view text;
    DriveFailure failure;
};

struct Number {
    int error;
    DriveFailure failure;
};

} // namespace

static constexpr Phrase kernel_phrases[] = {
    {"STATUS_LOGON_FAILURE", DriveFailure::wrongPassword},
    {"STATUS_WRONG_PASSWORD", DriveFailure::wrongPassword},
    {"STATUS_PASSWORD_EXPIRED", DriveFailure::passwordExpired},
    {"STATUS_PASSWORD_MUST_CHANGE", DriveFailure::passwordExpired},
    {"STATUS_ACCOUNT_LOCKED_OUT", DriveFailure::accountLocked},
    {"STATUS_ACCOUNT_DISABLED", DriveFailure::accountLocked},
    {"STATUS_ACCOUNT_EXPIRED", DriveFailure::accountLocked},
    {"STATUS_BAD_NETWORK_NAME", DriveFailure::noSuchShare},
    {"STATUS_ACCESS_DENIED", DriveFailure::notAllowed},
};

static constexpr Phrase output_phrases[] = {
    {"resolve", DriveFailure::unknownHost}, // "could not resolve address", "Failed to resolve server"
    {"denied", DriveFailure::notAllowed},   // "access denied by server", "Permission denied"
};

// SMB's error numbers; of NFS the sentences that stand for them.
static constexpr Number numbers[] = {
    {EKEYREJECTED, DriveFailure::noTicket}, {ENOKEY, DriveFailure::noTicket},
    {EKEYREVOKED, DriveFailure::noTicket},  {EKEYEXPIRED, DriveFailure::passwordExpired},
    {EPERM, DriveFailure::notAllowed},      {ENOENT, DriveFailure::noSuchShare},
    {ENXIO, DriveFailure::noSuchShare},     {ENODEV, DriveFailure::noFileSystem},
    {ECONNREFUSED, DriveFailure::refused},  {EHOSTDOWN, DriveFailure::noAnswer},
    {ETIMEDOUT, DriveFailure::noAnswer},    {EHOSTUNREACH, DriveFailure::noAnswer},
    {ENETUNREACH, DriveFailure::noAnswer},  {EINPROGRESS, DriveFailure::noAnswer},
    {ECONNABORTED, DriveFailure::noAnswer}, {ECONNRESET, DriveFailure::noAnswer},
};

template <size_t count>
static DriveFailure first_of(const Phrase (&phrases)[count], std::string_view text) {
    for (const Phrase &phrase : phrases)
        if (text.find(phrase.text) != std::string_view::npos) return phrase.failure;
    return DriveFailure::failed;
}

// "mount error(13): Permission denied"; 0 without one.
static int error_number(std::string_view output) {
    constexpr std::string_view mark = "error(";
    const size_t at = output.find(mark);
    int number = 0;
    if (at == std::string_view::npos) return 0;
    output.remove_prefix(at + mark.size());
    std::from_chars(output.data(), output.data() + output.size(), number);
    return number;
}

// What the log has to explain. It has lines of other users' mounts too, so nothing else is taken from it.
static bool is_ambiguous(int number) {
    return number == EACCES || number == EPERM || number == EIO;
}

DriveFailure mount_failure_of(std::string_view output, std::string_view kernelLog, bool withPassword) {
    const int number = error_number(output);
    if (is_ambiguous(number)) {
        const DriveFailure told = first_of(kernel_phrases, kernelLog);
        if (told != DriveFailure::failed) return told;
    }
    for (const Number &known : numbers)
        if (known.error == number) return known.failure;
    if (number == EACCES && withPassword && kernelLog.find("SessSetup = -13") != std::string_view::npos)
        return DriveFailure::wrongPassword;
    for (const Number &known : numbers)
        if (number == 0 && output.find(strerrordesc_np(known.error)) != std::string_view::npos) return known.failure;
    return first_of(output_phrases, output);
}
