#include "directory/identifier_rules.h"

#include <cstring>
#include <ctime>
#include <string_view>

#include "base/clock.h"
#include "base/machine.h"
#include "base/text.h"
#include "directory/attributes.h"
#include "directory/contexts.h"
#include "directory/names.h"
#include "directory/volumes.h"
#include "qrtscript.h"

namespace {

struct Rule {
    uint32_t code;
    bool (*produce)(const IdentifierRequest &request, const Rule &rule, std::string &value);
    const char *detail;   // a constant, a clock format or an attribute's name
    const char *fallback; // when the attribute cannot be read; null: there is no value then
};

} // namespace

// ---- the clock: read anew for each identifier ----

static tm local_time() {
    const ClockZone zone;
    time_t now = clock_now();
    tm parts = {};
    localtime_r(&now, &parts);
    return parts;
}

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral" // the formats are the rows below
static bool clock_text(const IdentifierRequest &, const Rule &rule, std::string &value) {
    const ClockZone zone; // strftime looks at it again
    tm parts = local_time();
    char text[20];
    value.assign(text, strftime(text, sizeof text, rule.detail, &parts));
    return true;
}
#pragma GCC diagnostic pop

static bool weekday_number(const IdentifierRequest &, const Rule &, std::string &value) {
    value = std::to_string(local_time().tm_wday + 1);
    return true;
}

static bool short_year(const IdentifierRequest &request, const Rule &rule, std::string &value) {
    std::string year;
    clock_text(request, rule, year);
    value = year.size() > 2 ? year.substr(2) : "";
    return true;
}

static bool greeting(const IdentifierRequest &, const Rule &, std::string &value) {
    int hour = local_time().tm_hour;
    value = hour < 12 ? "morning" : hour < 17 ? "afternoon" : "evening";
    return true;
}

// ---- constants, the machine, the session ----

static bool constant(const IdentifierRequest &, const Rule &rule, std::string &value) {
    value = rule.detail;
    return true;
}

template <std::string (*fact)()>
static bool machine_fact(const IdentifierRequest &, const Rule &, std::string &value) {
    value = fact();
    return true;
}

static bool client_version(const IdentifierRequest &, const Rule &, std::string &value) {
    uint8_t fields[4] = {0, 0, 0, 0};
    ZKGetZKNetVersion(&fields[0], &fields[1], &fields[2], &fields[3]);
    for (uint8_t field : fields) value += (value.empty() ? "" : ".") + std::to_string(field);
    return true;
}

template <uint32_t (*ask)()>
static bool connection_fact(const IdentifierRequest &, const Rule &, std::string &value) {
    value = std::to_string(static_cast<int32_t>(ask()));
    return true;
}

template <char *&text>
static bool session_text(const IdentifierRequest &, const Rule &, std::string &value) {
    value = text ? text : "";
    return true;
}

static bool current_server(const IdentifierRequest &, const Rule &, std::string &value) {
    value = uservars[0] != nullptr ? uservars[0] : "";
    return true;
}

static bool alias_flag(const IdentifierRequest &, const Rule &, std::string &value) {
    value.assign(LoginAliasContext, strnlen(LoginAliasContext, sizeof LoginAliasContext));
    return true;
}

static bool login_context(const IdentifierRequest &, const Rule &, std::string &value) {
    std::string_view context = CurrentContext != nullptr ? CurrentContext : "";
    if (context.size() > 1 && context.front() == '.') context.remove_prefix(1);
    value = context;
    return true;
}

// ---- the directory ----

static bool attribute(const IdentifierRequest &request, const Rule &rule, std::string &value) {
    OwnedText text;
    uint32_t code = attributes_text(request.handle, request.object, rule.detail, text);
    if (code != 0 && rule.fallback == nullptr) return false;
    value = code == 0 ? text.get() : rule.fallback;
    return true;
}

static bool filled_attribute(const IdentifierRequest &request, const Rule &rule, std::string &value) {
    attribute(request, rule, value);
    if (value.empty()) value = rule.fallback;
    return true;
}

// The user's own name, whatever alias the login went through: the flags are widened for one question and put back.
static bool common_name(const IdentifierRequest &request, const Rule &, std::string &value) {
    uint32_t saved = 0;
    ZKDSGetContext(request.handle, DCK_FLAGS, &saved);
    uint32_t widened = saved | contexts_name_flags;
    ZKDSSetContext(request.handle, DCK_FLAGS, &widened);
    char name[names_buffer_size] = "";
    ZKDSWhoAmI(request.handle, name);
    value = names_split(name).leaf;
    ZKDSSetContext(request.handle, DCK_FLAGS, &saved);
    return true;
}

static bool home_directory(const IdentifierRequest &request, const Rule &rule, std::string &value) {
    std::string home;
    if (!attribute(request, rule, home)) return false;
    size_t colon = home.find(':');
    std::string volumePart = colon == std::string::npos ? home : home.substr(0, colon + 1);
    VolumePlace place;
    bool found =
        volumePart.size() < volumes_name_size && volumes_parse_path(request.handle, volumePart.c_str(), place) == 0;
    value = found ? place.server.value_or("") + "/" + place.volume.value_or("") + ":" + home.substr(volumePart.size())
                  : home;
    return true;
}

static const Rule rules[] = {
    {1, clock_text, "%d", nullptr},
    {2, clock_text, "%A", nullptr},
    {3, clock_text, "%m", nullptr},
    {4, clock_text, "%B", nullptr},
    {5, weekday_number, nullptr, nullptr},
    {6, short_year, "%Y", nullptr},
    {7, clock_text, "%Y", nullptr},
    {8, clock_text, "%p", nullptr},
    {9, greeting, nullptr, nullptr},
    {10, clock_text, "%l", nullptr}, // padded with a blank: required
    {11, clock_text, "%H", nullptr},
    {12, clock_text, "%M", nullptr},
    {13, clock_text, "%S", nullptr},
    {14, machine_fact<machine_processor>, nullptr, nullptr},
    {15, client_version, nullptr, nullptr},
    {16, constant, "Linux", nullptr},
    {17, machine_fact<machine_release>, nullptr, nullptr},
    {18, machine_fact<machine_hardware_address>, nullptr, nullptr},
    {19, machine_fact<machine_system>, nullptr, nullptr},
    {21, machine_fact<machine_module_version>, nullptr, nullptr},
    {22, machine_fact<machine_processor>, nullptr, nullptr},
    {23, connection_fact<contexts_connection_number>, nullptr, nullptr},
    {24, constant, "000000", nullptr},
    {25, attribute, "LAST_NAME", "not set"},
    {26, constant, "0", nullptr},
    {27, constant, "0", nullptr},
    {28, constant, "0", nullptr},
    {29, current_server, nullptr, nullptr},
    {30, machine_fact<machine_network_address>, nullptr, nullptr},
    {31, attribute, "FULL_NAME", "not set"},
    {33, login_context, nullptr, nullptr},
    {34, session_text<LoginName>, nullptr, nullptr},
    {35, attribute, "PASSWORD_EXPIRATION_TIME", "32767"},
    {36, session_text<InitialContext>, nullptr, nullptr},
    {37, connection_fact<contexts_user_number>, nullptr, nullptr},
    {38, alias_flag, nullptr, nullptr},
    {39, common_name, nullptr, nullptr},
    {40, constant, "Not_Available_For_Linux", nullptr},
    {41, constant, "0", nullptr},
    {42, constant, "No", nullptr},
    {43, home_directory, "HOME_DIRECTORY", nullptr},
    {44, filled_attribute, "LANGUAGE", "ENGLISH"},
};

bool identifier_rules_value(const IdentifierRequest &request, uint32_t code, std::string &value) {
    for (const Rule &rule : rules)
        if (rule.code == code) return rule.produce(request, rule, value);
    return false;
}
