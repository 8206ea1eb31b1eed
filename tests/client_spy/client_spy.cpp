#include "tests/client_spy/client_spy.h"

#include <algorithm>

#include "tests/client_spy/spy_state.h"

namespace spy {

State &state() {
    static State all;
    return all;
}

void reset() {
    for (ZKDSBuffer *buffer : state().buffers) delete buffer;
    state() = State();
}

std::vector<std::string> calls() {
    return state().calls;
}

std::vector<std::string> calls(const std::string &name) {
    std::vector<std::string> found;
    for (const std::string &call : state().calls)
        if (call.compare(0, name.size() + 1, name + "(") == 0) found.push_back(call);
    return found;
}

std::vector<std::string> call_names() {
    return state().names;
}

void forget_calls() {
    state().calls.clear();
    state().names.clear();
}

void on_call(std::function<void(const std::string &)> hook) {
    state().hook = std::move(hook);
}
std::vector<std::string> mistakes() {
    return state().mistakes;
}
bool recording() {
    return state().recording;
}
int open_buffers() {
    return static_cast<int>(state().buffers.size());
}
int open_files() {
    return static_cast<int>(state().files.size());
}
void reuse_contexts() {
    state().reusesContexts = true;
}
int open_contexts() {
    return static_cast<int>(std::count_if(state().contexts.begin(), state().contexts.end(),
                                          [](const auto &row) { return row.second.made && !row.second.freed; }));
}

void fail(const std::string &name, uint32_t code) {
    fail_from(name, 1, code);
}
void fail_nth(const std::string &name, int occurrence, uint32_t code) {
    state().faults[name].push_back({occurrence, occurrence, code});
}
void fail_from(const std::string &name, int occurrence, uint32_t code) {
    state().faults[name].push_back({occurrence, INT32_MAX, code});
}
void fail_call(int number, uint32_t code) {
    state().numberedFaults[number] = code;
}
void fail_calls_from(int number, uint32_t code) {
    state().allFrom = number;
    state().allCode = code;
}
void mend() {
    state().faults.clear();
    state().numberedFaults.clear();
    state().allFrom = 0;
}
int call_count() {
    return state().callNumber;
}

void tree(const std::string &name, const std::string &defaultServer) {
    state().trees[fold(name)] = defaultServer;
    state().treeSpelling[fold(name)] = name;
    if (!defaultServer.empty()) server(defaultServer, name);
}
void server(const std::string &name, const std::string &treeName) {
    state().servers[fold(name)] = {name, treeName, false, false};
}
void authenticated(const std::string &serverName, bool yes) {
    state().servers[fold(serverName)].authenticated = yes;
}
void client_version(uint8_t major, uint8_t minor, uint8_t revision, uint8_t patch) {
    const uint8_t version[] = {major, minor, revision, patch};
    std::copy(std::begin(version), std::end(version), state().version);
}
void counted(const std::string &serverName, bool yes) {
    state().servers[fold(serverName)].counted = yes;
}
void default_server(const std::string &name) {
    state().defaultServer = name;
}
void connection_number(uint32_t number) {
    state().connectionNumber = number;
}
void user_number(uint32_t number) {
    state().userNumber = number;
}
void connection_answer(uint32_t item, const std::string &bytes) {
    state().itemAnswers[item] = bytes;
}

void logged_in(const std::string &name) {
    state().everyTreesUser = name;
    object(name);
}
void logged_in_to(const std::string &treeName, const std::string &name) {
    state().users[fold(treeName)] = name;
    object(name);
}
void logged_out() {
    state().everyTreesUser.clear();
    state().users.clear();
}
void account(const std::string &user, const std::string &password) {
    state().accounts.emplace_back(user, password);
}

void object(const std::string &name, const std::string &baseClass, const std::string &distinguishedName) {
    state().objects[object_key(name)] = {baseClass, distinguishedName.empty() ? name : distinguishedName};
}
void canonical(const std::string &name, const std::string &answer) {
    state().canonicals[name] = answer;
}
void abbreviated(const std::string &name, const std::string &answer) {
    state().abbreviations[name] = answer;
}
void schema(const std::string &attributeName) {
    state().schema.insert(attribute_key(attributeName));
}

void text_attribute(const std::string &objectName, const std::string &name, const std::vector<std::string> &values) {
    std::vector<Value> converted;
    for (const std::string &value : values) converted.push_back(text(value));
    attribute(objectName, name, converted);
}
void attribute(const std::string &objectName, const std::string &name, const std::vector<Value> &values) {
    attribute_in_replies(objectName, name, {values});
}
void attribute_in_replies(const std::string &objectName, const std::string &name,
                          const std::vector<std::vector<Value>> &values) {
    std::vector<Reply> answer;
    for (const std::vector<Value> &some : values) answer.push_back({{{name, some, {}}}, {}});
    replies(objectName, name, answer);
    schema(name);
}
void replies(const std::string &objectName, const std::string &name, const std::vector<Reply> &answer) {
    if (state().objects.count(object_key(objectName)) == 0) object(objectName);
    state().answers[{object_key(objectName), attribute_key(name)}] = answer;
}

void stream(const std::string &objectName, const std::string &content, const std::string &name) {
    if (state().objects.count(object_key(objectName)) == 0) object(objectName);
    state().streams[{object_key(objectName), attribute_key(name)}] = content;
}
void read_at_most(uint32_t bytes) {
    state().readLimit = bytes;
}
void parsed_path(const std::string &pathText, const std::string &serverName, uint32_t connection,
                 const std::string &volume, const std::string &rest) {
    state().paths[pathText] = {serverName, connection, volume, rest};
}
void mapped_drive(const std::string &localPath, const std::string &target) {
    state().drives.emplace_back(localPath, target);
}

void prompt_answer(const std::string &user, const std::string &password) {
    state().prompts.push_back({true, user, password});
}
void prompt_cancel() {
    state().prompts.push_back({false, "", ""});
}
void confirm_answer(int answer) {
    state().confirmations.push_back(answer);
}
void pause_answer(int answer) {
    state().pauses.push_back(answer);
}
void keep_prompt_texts() {
    state().keepTexts = true;
}
std::vector<std::pair<char *, char *>> prompt_texts() {
    return state().texts;
}

} // namespace spy
