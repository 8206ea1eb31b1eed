#include "directory/identifiers.h"

#include <algorithm>
#include <cstdlib>

#include "directory/attributes.h"
#include "directory/identifier_rules.h"
#include "qrtscript.h"

// The order is the order in which the names are looked up.
QrtIdentifier itable[] = {
    {"DAY", 1},
    {"DAY_OF_WEEK", 2},
    {"MONTH", 3},
    {"MONTH_NAME", 4},
    {"NDAY_OF_WEEK", 5},
    {"SHORT_YEAR", 6},
    {"YEAR", 7},
    {"AM_PM", 8},
    {"GREETING_TIME", 9},
    {"HOUR", 10},
    {"HOURS", 10},
    {"HOUR24", 11},
    {"24HOUR", 11},
    {"MINUTE", 12},
    {"MINUTES", 12},
    {"SECOND", 13},
    {"SECONDS", 13},
    {"MACHINE", 14},
    {"FERROX_REQUESTER", 15},
    {"REQUESTER", 15},
    {"DOS_REQUESTER", 15},
    {"REQUESTER_VERSION", 15},
    {"OS", 16},
    {"OS_VERSION", 17},
    {"P_STATION", 18},
    {"PHYSICAL_STATION", 18},
    {"PLATFORM", 19},
    {"SHELL_TYPE", 21},
    {"SHELL_VERSION", 21},
    {"FERROX_SHELL", 21},
    {"SMACHINE", 22},
    {"STATION", 23},
    {"CONNECTION", 23},
    {"SLOT", 23},
    {"WINVER", 24},
    {"LAST_NAME", 25},
    {"ACCESS_SERVER", 26},
    {"DIALUP", 27},
    {"OFFLINE", 28},
    {"FILE_SERVER", 29},
    {"FILESERVER", 29},
    {"NETWORK_ADDRESS", 30},
    {"NETWORK", 30},
    {"FULL_NAME", 31},
    {"LOGIN_CONTEXT", 33},
    {"LOGIN_NAME", 34},
    {"LANGUAGE", 44},
    {"PASSWORD_EXPIRES", 35},
    {"REQUESTER_CONTEXT", 36},
    {"USER_ID", 37},
    {"USERID", 37},
    {"LOGIN_ALIAS_CONTEXT", 38},
    {"CN", 39},
    {"NEW_MAIL", 42},
    {"COMSPEC", 40},
    {"ERROR_LEVEL", 41},
    {"HOME_DIRECTORY", 43},
    {"MESSAGE_SERVER", 29},
    {nullptr, 0},
};

// The walk does not stop at a match: a later row of the same name would win.
std::optional<std::string> identifiers_value(uint32_t handle, const char *object, std::string_view name) {
    std::optional<std::string> found;
    if (name.empty()) return found;
    // Every word of a text is compared with every name: most differ in their first letter.
    const char first = lower_case(name.front());
    for (const QrtIdentifier *row = itable; row->name != nullptr; row++) {
        if (lower_case(*row->name) != first || !equal_nocase(row->name, name)) continue;
        std::string value;
        if (identifier_rules_value({handle, object}, row->code, value)) found = std::move(value);
    }
    return found;
}

uint32_t identifiers_look_up(uint32_t handle, const std::optional<std::string> &object, const char *name,
                             OwnedText &value) {
    const char *asked = object ? object->c_str() : nullptr;
    OwnedText found = text_copy_or_null(identifiers_value(handle, asked, name));
    const uint32_t code = found ? 0 : attributes_text(handle, asked, name, found);
    // A user variable that is not set is a failure and an empty text.
    if (code == 0) value = std::move(found);
    return code;
}

const char *identifiers_variable(std::string_view name) {
    while (!name.empty() && (name.front() == '%' || name.front() == '<')) name.remove_prefix(1);
    return getenv(std::string(name.substr(0, name.find('>'))).c_str());
}
