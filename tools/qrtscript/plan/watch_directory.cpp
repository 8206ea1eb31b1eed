// What is read from the directory and the environment, seen from the library's calls. Values come from the client as
// they are, but for attributes with passwords: those are not asked for.
#include <algorithm>
#include <cstring>
#include <iterator>
#include <utility>

#include "qrtscript.h"
#include "tools/qrtscript/plan/origins.h"
#include "tools/qrtscript/plan/running.h"
#include "tools/qrtscript/plan/seams.h"
#include "tools/qrtscript/secret_names.h"

namespace {

// A name that is being looked up.
struct LookUp {
    bool active = false;
    std::optional<uint32_t> rule; // it is an identifier of that code
    std::string attribute, object;
    uint32_t attributeCode = 0;
};

} // namespace

static LookUp look_up;

static std::string reason_of(uint32_t code) {
    switch (code) {
        case ZKE_NO_SUCH_ATTRIBUTE:
            return "no identifier and no attribute has this name";
        case ZKE_NO_SUCH_VALUE:
            return "the object has no such value";
        case QRT_NOT_FOUND:
            return "the script variable is not set";
        case ZKE_NO_SUCH_ENTRY:
            return "there is no such object";
        default: {
            char text[64];
            snprintf(text, sizeof text, "it could not be read (%X)", code);
            return text;
        }
    }
}

// What an identifier without an attribute is made of, by its code (directory/identifier_rules.cpp).
static const char *kind_of_rule(uint32_t code) {
    static constexpr uint32_t last_of_clock = 13;
    static constexpr uint32_t machine[] = {14, 17, 18, 19, 21, 22, 30};
    static constexpr uint32_t session[] = {15, 23, 29, 33, 34, 36, 37, 38, 39};
    const auto isOneOf = [code](const auto &codes) {
        return std::find(std::begin(codes), std::end(codes), code) != std::end(codes);
    };
    return code <= last_of_clock ? "clock" : isOneOf(machine) ? "machine" : isOneOf(session) ? "session" : "constant";
}

// What the reference of a secret's name stands for, also where it has no value.
static void hide_value(const char *value, Json *origin) {
    (*origin)["secret"] = true;
    if (!origin->contains("value")) return;
    (*origin)["value"] = record_hidden;
    recorder_hide(value);
    recorder_hide_here(value);
}

static Json origin_of(const char *name, uint32_t code, const OwnedText &value) {
    Json origin = {{"reference", "%" + record_text(name)}};
    const bool isVariable = name[0] >= '0' && name[0] <= '9' && name[1] == '\0';
    if (!look_up.attribute.empty() && !isVariable) {
        origin["from"] = "attribute";
        origin["attribute"] = record_text(look_up.attribute);
        origin["object"] = record_text(look_up.object);
    } else {
        origin["from"] = isVariable ? "variable" : look_up.rule ? kind_of_rule(*look_up.rule) : "attribute";
    }
    if (code == 0) origin["value"] = record_text(value.get());
    if (secret_name(look_up.attribute) || secret_name(name)) hide_value(value.get(), &origin);
    if (code != 0 || look_up.attributeCode != 0)
        origin["missing"] = reason_of(code != 0 ? code : look_up.attributeCode);
    return origin;
}

uint32_t wrap_identifiers_look_up(uint32_t handle, const std::optional<std::string> &object, const char *name,
                                  OwnedText &value) {
    if (!recorder_is_on()) return real_identifiers_look_up(handle, object, name, value);
    look_up = {};
    look_up.active = true;
    const uint32_t code = real_identifiers_look_up(handle, object, name, value);
    origins_note(origin_of(name, code, value));
    if (code != 0) {
        const bool isWord = running().inWord;
        // A word that no attribute has stands for itself.
        if (!isWord || code == ZKE_NO_SUCH_ATTRIBUTE)
            running_missing(isWord ? name : "%" + std::string(name), isWord ? "word" : "identifier", reason_of(code));
    }
    look_up = {};
    return code;
}

bool wrap_identifier_rules_value(const IdentifierRequest &request, uint32_t code, std::string &value) {
    const bool found = real_identifier_rules_value(request, code, value);
    if (look_up.active && found) look_up.rule = code;
    return found;
}

uint32_t wrap_attributes_text(uint32_t handle, const char *object, const char *attribute, OwnedText &text) {
    if (!recorder_is_on()) return real_attributes_text(handle, object, attribute, text);
    const bool isSecret = secret_name(attribute);
    const uint32_t code = isSecret && recorder_plans() ? static_cast<uint32_t>(ZKE_NO_SUCH_VALUE)
                                                       : real_attributes_text(handle, object, attribute, text);
    if (look_up.active) {
        look_up.attribute = attribute;
        look_up.object = object != nullptr ? object : "";
        look_up.attributeCode = code;
    } else if (!running().inScript && code == 0) {
        running().profileIsNext = true; // the run sequence reads no other attribute
    }
    return code;
}

const char *wrap_identifiers_variable(std::string_view name) {
    const char *value = real_identifiers_variable(name);
    if (!recorder_is_on()) return value;
    while (!name.empty() && (name.front() == '%' || name.front() == '<')) name.remove_prefix(1);
    name = name.substr(0, name.find('>'));
    Json origin = {{"reference", "%<" + record_text(name) + ">"}, {"from", "environment"}};
    if (value != nullptr)
        origin["value"] = record_text(value);
    else
        origin["missing"] = "the variable is not set";
    if (running_is_secret(std::string(name), value != nullptr ? value : "")) hide_value(value, &origin);
    origins_note(std::move(origin));
    return value;
}

// Whether it is there, of a group that a user is no member of: the language takes a name that is mistyped for any
// other.
static bool is_object(uint32_t handle, const std::string &name) {
    char found[ZK_MAX_NAME + 1] = "";
    return ZKDSReadObjectInfo(handle, name.c_str(), found, nullptr) != ZKE_NO_SUCH_ENTRY;
}

uint32_t wrap_attribute_compare(uint32_t handle, const char *object, const char *attribute, std::string_view name,
                                uint32_t &flag) {
    const uint32_t code = real_attribute_compare(handle, object, attribute, name, flag);
    if (!recorder_is_on()) return code;
    const std::string group = attribute_compare_wanted(name);
    Json origin = {{"reference", "MEMBER OF \"" + record_text(name) + "\""},
                   {"from", "attribute"},
                   {"attribute", attribute},
                   {"object", record_text(object)},
                   {"value", flag == 0   ? "a member"
                             : flag == 1 ? "not a member"
                                         : "not known"}};
    if (flag == 1 && !is_object(handle, group)) {
        origin["missing"] = "there is no such object";
        running_missing("." + group, "group", "there is no such object");
    } else if (flag > 1) {
        origin["missing"] = reason_of(code);
        running_missing("." + group, "group", reason_of(code));
    }
    origins_note(std::move(origin));
    return code;
}

// ---- the texts of scripts ----

uint32_t wrap_ZKDSOpenStream(uint32_t context, const char *object, const char *attribute, uint32_t flags,
                             uint32_t *file) {
    const uint32_t code = real_ZKDSOpenStream(context, object, attribute, flags, file);
    if (code == ZK_OK) running().lastStream = object;
    return code;
}

uint32_t wrap_script_sources_container(uint32_t handle, const char *object, std::string &text) {
    const uint32_t code = real_script_sources_container(handle, object, text);
    if (code == 0) running().next = {"container", running().lastStream};
    return code;
}

uint32_t wrap_script_sources_object(uint32_t handle, const char *object, std::string &text) {
    const uint32_t code = real_script_sources_object(handle, object, text);
    const bool isProfile = !running().inScript && std::exchange(running().profileIsNext, false);
    if (code != 0) return code;
    if (running().inScript)
        running().objectScript = object;
    else
        running().next = {isProfile ? "profile" : "user", object};
    return code;
}

OwnedText wrap_script_sources_file(const char *path) {
    OwnedText text = real_script_sources_file(path);
    if (path == nullptr) return text;
    const bool isInput = strncmp(path, "/proc/self/fd/", strlen("/proc/self/fd/")) == 0;
    running().next = {path == running().profileFile ? "profile" : "file", isInput ? "standard input" : path};
    return text;
}

const char *wrap_script_sources_default() {
    running().next = {"default", ""};
    return real_script_sources_default();
}
