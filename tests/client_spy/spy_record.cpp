// Names, the record of calls, and the handles.
#include <cctype>
#include <cstdio>
#include <cstring>

#include "tests/client_spy/spy_state.h"

namespace spy {

std::string fold(const std::string &text) {
    std::string folded = text;
    for (char &c : folded) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return folded;
}

std::string object_key(const std::string &name) {
    std::string key, component;
    for (size_t i = !name.empty() && name[0] == '.' ? 1 : 0; i <= name.size(); i++) {
        bool escaped = i > 0 && name[i - 1] == '\\';
        if (i == name.size() || (name[i] == '.' && !escaped)) {
            key += component;
            if (i < name.size()) key += '.';
            component.clear();
        } else if (name[i] == '=' && !escaped) {
            component.clear();
        } else {
            component += name[i];
        }
    }
    return fold(key);
}

std::string attribute_key(const std::string &attribute) {
    std::string key = fold(attribute);
    for (char &c : key)
        if (c == '_') c = ' ';
    return key;
}

std::string shown(const char *text) {
    return text ? "\"" + std::string(text) + "\"" : "null";
}
std::string shown(uint32_t number) {
    return std::to_string(number);
}
std::string shown(int number) {
    return std::to_string(number);
}

std::string shown(const ZKDSBuffer *buffer) {
    if (!buffer) return "null";
    for (const ZKDSBuffer *known : state().buffers)
        if (known == buffer) return "buf" + std::to_string(known->number);
    return "unknown buffer";
}

std::string flags_shown(uint32_t flags) {
    char text[16];
    snprintf(text, sizeof text, "0x%X", flags);
    return text;
}

static void keep(const char *name, std::initializer_list<std::string> arguments) {
    std::string call = name;
    const char *separator = "(";
    for (const std::string &argument : arguments) {
        call += separator + argument;
        separator = ", ";
    }
    call += arguments.size() == 0 ? "()" : ")";
    State &all = state();
    all.calls.push_back(call);
    all.names.push_back(name);
    if (all.hook) all.hook(call);
}

static std::optional<uint32_t> numbered_fault(int number, const char *name) {
    const State &all = state();
    if (auto fault = all.numberedFaults.find(number); fault != all.numberedFaults.end()) return fault->second;
    const bool endless = all.allCode == ZK_OK && strcmp(name, "ZKEnumMappedDrives") == 0;
    if (all.allFrom != 0 && number >= all.allFrom && !endless) return all.allCode;
    return {};
}

std::optional<uint32_t> record(const char *name, std::initializer_list<std::string> arguments, bool *numbered) {
    State &all = state();
    int number = ++all.callNumber;
    int occurrence = ++all.occurrences[name];
    all.recording = true;
    keep(name, arguments);
    all.recording = false;
    std::optional<uint32_t> byNumber = numbered_fault(number, name);
    if (numbered) *numbered = byNumber.has_value();
    if (byNumber) return byNumber;
    for (const Fault &fault : all.faults[name])
        if (occurrence >= fault.first && occurrence <= fault.last) return fault.code;
    return {};
}

void mistake(const std::string &what) {
    state().mistakes.push_back(what);
}

Context &context_of(uint32_t handle) {
    Context &context = state().contexts[handle];
    if (context.freed) mistake("context " + std::to_string(handle) + " used after it was freed");
    return context;
}

bool buffer_known(const ZKDSBuffer *buffer, const char *call) {
    for (const ZKDSBuffer *known : state().buffers)
        if (known == buffer) return true;
    mistake(std::string(call) + " with an unknown buffer");
    return false;
}

void copy_out(char *out, const std::string &text) {
    if (out) memcpy(out, text.c_str(), text.size() + 1);
}

bool account_known(const std::string &user, const char *password) {
    if (state().accounts.empty()) return true;
    for (const auto &[name, secret] : state().accounts)
        if (object_key(name) == object_key(user) && password && secret == password) return true;
    return false;
}

} // namespace spy
