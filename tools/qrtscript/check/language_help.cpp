#include "tools/qrtscript/check/language_help.h"

#include <algorithm>

#include "platform/common/nocase.h"

namespace {

struct Help {
    std::string_view names; // separated by blanks
    std::string_view sentence;
};

} // namespace

static constexpr Help statements[] = {
    {"WRITE", "prints the text and a line end"},
    {"DISPLAY FDISPLAY", "prints a file as it is, or the login script of an object; both are the same"},
    {"INCLUDE", "runs the lines of a file, or the login script of an object, at this point"},
    {"SET DOS TEMP LOCAL", "sets an environment variable. `DOS SET`, `TEMP SET` and `LOCAL SET` are the same"},
    {"SHIFT", "moves the script variables"},
    {"IF ELSE END ENDIF", "runs statements on a condition"},
    {"GOTO :", "continues after the label"},
    {"EXIT", "ends this script"},
    {"MAP PATH", "runs the program `map` with the rest of the line; both are the same"},
    {"DRIVE", "file names without a server are looked up in drive X"},
    {"#", "runs a program and waits for it"},
    {"@", "starts a program and does not wait for it"},
    {"CONTEXT CHANGE_CONTEXT CX", "changes the directory context"},
    {"TREE", "changes to another tree, logging in if necessary"},
    {"ATTACH", "attaches to a server"},
    {"PROFILE", "switches the user's profile script off"},
    {"LASTLOGINTIME LAST_LOGIN_TIME", "prints `Last Login occurred at:` and the time, if the directory has it"},
    {"CLS", "prints 40 empty lines"},
    {"PAUSE WAIT",
     "waits for the user in a graphical login; otherwise it only prints `Press Enter key to continue...`"},
    {"BREAK",
     "lets the interrupt key end the scripts, or not (the default; three times within two seconds ends them with "
     "`qrtlogin` nevertheless). Also `DOS BREAK ON`, `DOS BREAK OFF`"},
    {"DEBUG", "sets the trace level; traces go to standard output; `qrtlogin` shows them with `--debug` only"},
    {"REM REMARK * ;", "remark: the rest of the line is not read"},
    {"SWAP NOSWAP COMSPEC TERM NO_DEFAULT FIRE", "nothing"},
    {"SET_TIME SCRIPT_SERVER REGREAD", "only print that they are not supported"},
};

static constexpr Help identifiers[] = {
    {"LOGIN_NAME", "the name that the user logged in with"},
    {"CN", "the name of the user's object, whatever alias the login went through"},
    {"FULL_NAME LAST_NAME", "the user's full name and surname; `not set` if there is none"},
    {"LOGIN_CONTEXT", "the current context"},
    {"REQUESTER_CONTEXT", "the context at the start of the login, with a period in front"},
    {"LOGIN_ALIAS_CONTEXT", "`Y` after a login through an alias in another context, otherwise `N`"},
    {"HOME_DIRECTORY", "the home directory as `SERVER/VOLUME:path`"},
    {"LANGUAGE", "the user's language in the directory; `ENGLISH` if there is none"},
    {"PASSWORD_EXPIRES", "whole days until the password expires; `32767` if it does not"},
    {"FILE_SERVER FILESERVER MESSAGE_SERVER", "the primary server"},
    {"STATION CONNECTION SLOT", "the number of the connection"},
    {"USER_ID USERID", "the user's number on the server"},
    {"NETWORK_ADDRESS NETWORK",
     "the IPv4 address of the interface `eth0`, in hexadecimal: `C0000201`; zeros without one"},
    {"P_STATION PHYSICAL_STATION", "the hardware address of `eth0`, in hexadecimal; zeros without one"},
    {"GREETING_TIME", "`morning` up to 11:59, `afternoon` up to 16:59, `evening`; always in English"},
    {"HOUR HOURS", "the hour on the 12-hour clock, with a blank in front of one digit: ` 9`"},
    {"HOUR24 24HOUR", "the hour, `00` to `23`"},
    {"MINUTE MINUTES SECOND SECONDS", "two digits"},
    {"AM_PM", "`AM` or `PM` in the user's locale; empty in many locales"},
    {"DAY", "the day of the month, `01` to `31`"},
    {"DAY_OF_WEEK", "the name of the day in the user's locale"},
    {"NDAY_OF_WEEK", "the number of the day, from `1` (Sunday) to `7`"},
    {"MONTH", "the number of the month, `01` to `12`"},
    {"MONTH_NAME", "the name of the month in the user's locale"},
    {"YEAR SHORT_YEAR", "`2026`, `26`"},
    {"OS PLATFORM", "`Linux`"},
    {"OS_VERSION", "the release of the kernel"},
    {"MACHINE SMACHINE", "the processor, `x86_64`"},
    {"REQUESTER_VERSION REQUESTER DOS_REQUESTER FERROX_REQUESTER", "the version of the directory client"},
    {"SHELL_TYPE SHELL_VERSION FERROX_SHELL", "the version of the network file system; `0.0.0` without it"},
    {"ACCESS_SERVER DIALUP OFFLINE ERROR_LEVEL", "always `0`"},
    {"NEW_MAIL", "always `No`"},
    {"WINVER", "always `000000`"},
    {"COMSPEC", "always `Not_Available_For_Linux`"},
    {"0", "the primary server"},
    {"1", "the name that the user logged in with"},
    {"2 3 4 5 6 7 8 9", "the script variables"},
};

static constexpr std::string_view attribute_sentence = "the attribute of that name of the user's object";

static bool has_name(const Help &row, std::string_view name) {
    for (std::string_view rest = row.names; !rest.empty();) {
        const std::string_view one = rest.substr(0, rest.find(' '));
        if (equal_nocase(one, name)) return true;
        rest.remove_prefix(std::min(rest.size(), one.size() + 1));
    }
    return false;
}

std::string_view statement_sentence(std::string_view keyword) {
    for (const Help &row : statements)
        if (has_name(row, keyword)) return row.sentence;
    return {};
}

std::string_view identifier_sentence(std::string_view name) {
    for (const Help &row : identifiers)
        if (has_name(row, name)) return row.sentence;
    return attribute_sentence;
}
