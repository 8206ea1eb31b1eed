#include "base/variables.h"

#include <unistd.h>
#include <cstring>
#include <deque>
#include <memory>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

static constexpr size_t no_place = static_cast<size_t>(-1);

// A name: where it stands in the environment, if it does, and two blocks that its entries take in turn, so that the
// value before stays readable, and a variable that is set again and again takes no new memory.
struct Variable {
    size_t place = no_place;
    std::string *current = nullptr;
    std::string *before = nullptr;
};

// What is kept for the rest of the process: at its end, other code may still read the environment.
struct Variables {
    std::vector<char *> entries;                         // what `environ` points to once a script has set a variable
    std::unordered_map<std::string, Variable> variables; // of two entries of one name the first counts
    std::deque<std::string> blocks;                      // all that was ever handed out
};

static Variables *kept = nullptr;
static bool places_hold = false;
static uint32_t reads = 0;

uint32_t variables_reads() {
    return reads;
}

void variables_forget() {
    places_hold = false;
}

static size_t count_of(char *const *list) {
    size_t count = 0;
    while (list != nullptr && list[count] != nullptr) ++count;
    return count;
}

// Who sets a name elsewhere puts another array in place of this one, and who unsets one moves the end of this one.
static bool is_as_it_was() {
    if (!places_hold || environ != kept->entries.data()) return false;
    const size_t count = kept->entries.size() - 1;
    return count == 0 || environ[count - 1] != nullptr;
}

static void read_environment() {
    places_hold = false;
    ++reads;
    if (kept == nullptr) kept = std::make_unique<Variables>().release();
    std::vector<char *> entries(environ, environ + count_of(environ));
    for (auto &[name, variable] : kept->variables) variable.place = no_place;
    for (size_t place = 0; place < entries.size(); ++place) {
        const std::string_view entry = entries[place];
        const size_t equals = entry.find('=');
        if (equals == entry.npos) continue;
        size_t &known = kept->variables[std::string(entry.substr(0, equals))].place;
        if (known == no_place) known = place;
    }
    entries.push_back(nullptr);
    environ = entries.data();
    kept->entries.swap(entries);
    places_hold = true;
}

static char *entry_of(Variable &variable, std::string_view name, std::string_view value) {
    const size_t size = name.size() + 1 + value.size();
    if (variable.before == nullptr || variable.before->capacity() < size) {
        kept->blocks.emplace_back().reserve(2 * size);
        variable.before = &kept->blocks.back();
    }
    variable.before->assign(name).append(1, '=').append(value);
    std::swap(variable.before, variable.current);
    return variable.current->data();
}

// Whatever happens, the array that `environ` points to is a whole one.
static void make_room() {
    if (kept->entries.size() < kept->entries.capacity()) return;
    std::vector<char *> wider;
    wider.reserve(2 * kept->entries.size());
    wider = kept->entries;
    environ = wider.data();
    kept->entries.swap(wider);
}

static void append(Variable &variable, char *entry) {
    const size_t place = kept->entries.size() - 1;
    make_room();
    kept->entries.push_back(nullptr);
    kept->entries[place] = entry;
    variable.place = place;
}

// Whether the entry is still the variable's: the caller may have exchanged it for one of another name.
static bool stands(const Variable &variable, std::string_view name) {
    const char *entry = kept->entries[variable.place];
    return strncmp(entry, name.data(), name.size()) == 0 && entry[name.size()] == '=';
}

void variables_set(const char *name, const char *value) {
    const std::string word = name;
    if (word.empty() || word.find('=') != word.npos) return;
    if (!is_as_it_was()) read_environment();
    Variable *variable = &kept->variables[word];
    if (variable->place != no_place && !stands(*variable, word)) read_environment();
    char *entry = entry_of(*variable, word, value);
    if (variable->place != no_place)
        kept->entries[variable->place] = entry;
    else
        append(*variable, entry);
}
