#include "platform/client/core/presets.h"

#include <charconv>
#include <ctime>

#include "platform/client/core/names.h"

namespace {

struct PresetName {
    const char *name;
    SitePreset preset;
};

// One of the changes that a preset makes to the table of schema.cpp: the row is read from this attribute in place of
// its own, or, where a row has several lines, from the first of them that an entry has.
struct PresetLine {
    const char *ldap;
    const char *attribute;
    std::optional<std::string> (*convert)(const std::string &);
};

} // namespace

static constexpr PresetName preset_names[] = {
    {"brasca", SitePreset::brasca},      {"rfc2307", SitePreset::rfc2307}, {"rfc2307bis", SitePreset::rfc2307bis},
    {"ad", SitePreset::activeDirectory}, {"auto", SitePreset::automatic},
};

template <typename Number>
static std::optional<Number> whole_number(std::string_view text) {
    Number number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

static std::optional<std::string> time_text(time_t moment) {
    struct tm when = {};
    char text[32];
    if (gmtime_r(&moment, &when) == nullptr || strftime(text, sizeof text, "%Y%m%d%H%M%SZ", &when) != 15)
        return std::nullopt; // a year that does not have four digits
    return text;
}

// A FILETIME: steps of 100 ns since 1601. 0 and the largest number mean "never".
static std::optional<std::string> time_of_file_time(const std::string &value) {
    constexpr int64_t never = INT64_MAX, stepsPerSecond = 10'000'000, secondsTo1970 = 11'644'473'600;
    const std::optional<int64_t> steps = whole_number<int64_t>(value);
    if (!steps || *steps <= 0 || *steps == never) return std::nullopt;
    return time_text(static_cast<time_t>(*steps / stepsPerSecond - secondsTo1970));
}

// shadow(5): days since 1970; a negative number means "never".
static std::optional<std::string> time_of_days(const std::string &value) {
    constexpr time_t secondsOfDay = 86'400;
    const std::optional<int32_t> days = whole_number<int32_t>(value);
    return days && *days >= 0 ? time_text(*days * secondsOfDay) : std::nullopt;
}

// Bits of userAccountControl and of its computed companion.
static std::optional<std::string> is_set(const std::string &value, int64_t bit) {
    const std::optional<int64_t> bits = whole_number<int64_t>(value);
    if (!bits) return std::nullopt;
    return (*bits & bit) != 0 ? "TRUE" : "FALSE";
}

static std::optional<std::string> is_disabled(const std::string &control) {
    return is_set(control, 0x2);
}

static std::optional<std::string> is_locked_out(const std::string &control) {
    return is_set(control, 0x10);
}

static std::optional<std::string> any_case_boolean(const std::string &value) {
    if (equal_nocase(value, "true")) return "TRUE";
    if (equal_nocase(value, "false")) return "FALSE";
    return std::nullopt;
}

// passwd(5): the user's full name ends at the first comma.
static std::optional<std::string> full_name_of_gecos(const std::string &value) {
    return value.substr(0, value.find(','));
}

// Only a name on a server is one for another machine: drives like "D:\home" are the user's own.
static std::optional<std::string> path_of_unc(const std::string &value) {
    const bool isUnc = value.compare(0, 2, "\\\\") == 0 || value.compare(0, 2, "//") == 0;
    return isUnc ? std::optional(value) : std::nullopt;
}

static const std::vector<PresetLine> &lines_of(SitePreset preset) {
    static const std::vector<PresetLine> none;
    static const std::vector<PresetLine> posix = {
        {"displayName", "displayName", nullptr},
        {"displayName", "gecos", full_name_of_gecos},
        {"displayName", "cn", nullptr},
        {"qrtLoginExpirationTime", "qrtLoginExpirationTime", nullptr},
        {"qrtLoginExpirationTime", "shadowExpire", time_of_days},
        {"qrtPasswordExpirationTime", "qrtPasswordExpirationTime", nullptr},
        {"qrtPasswordExpirationTime", "passwordExpirationTime", nullptr},
        {"qrtLoginDisabled", "qrtLoginDisabled", nullptr},
        {"qrtLoginDisabled", "nsAccountLock", any_case_boolean},
        {"qrtLocked", "qrtLocked", nullptr},
        {"qrtLastLoginTime", "qrtLastLoginTime", nullptr},
    };
    static const std::vector<PresetLine> active = {
        {"uid", "sAMAccountName", nullptr},
        {"displayName", "displayName", nullptr},
        {"displayName", "cn", nullptr},
        {"street", "streetAddress", nullptr},
        {"departmentNumber", "department", nullptr},
        {"employeeNumber", "employeeNumber", nullptr},
        {"employeeNumber", "employeeID", nullptr},
        {"qrtHomeDirectory", "homeDirectory", path_of_unc},
        {"qrtLastLoginTime", "lastLogonTimestamp", time_of_file_time},
        {"qrtLoginExpirationTime", "accountExpires", time_of_file_time},
        {"qrtPasswordExpirationTime", "msDS-UserPasswordExpiryTimeComputed", time_of_file_time},
        {"qrtLoginDisabled", "userAccountControl", is_disabled},
        {"qrtLocked", "msDS-User-Account-Control-Computed", is_locked_out},
    };
    return preset == SitePreset::brasca ? none : preset == SitePreset::activeDirectory ? active : posix;
}

std::optional<SitePreset> preset_of(std::string_view name) {
    for (const PresetName &row : preset_names)
        if (name == row.name) return row.preset;
    return std::nullopt;
}

const char *preset_name(SitePreset preset) {
    for (const PresetName &row : preset_names)
        if (preset == row.preset) return row.name;
    return "";
}

std::vector<PresetSource> preset_sources(SitePreset preset, const SchemaAttribute &row) {
    std::vector<PresetSource> sources;
    for (const PresetLine &line : lines_of(preset))
        if (equal_nocase(line.ldap, row.ldap)) sources.push_back({line.attribute, line.convert});
    if (sources.empty()) sources.push_back({row.ldap, nullptr});
    return sources;
}

bool preset_has(SitePreset preset, const SchemaAttribute &row, const std::string &attribute) {
    const std::vector<PresetSource> sources = preset_sources(preset, row);
    return sources.size() == 1 && name_type(sources.front().attribute) == name_type(attribute);
}
