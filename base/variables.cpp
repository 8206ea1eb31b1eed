#include "base/variables.h"

#include <unistd.h>
#include <cstring>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

// What is kept for the rest of the process: at its end, other code may still read the environment.
struct Variables {
    std::vector<char *> entries;                    // what `environ` points to once a script has set a variable
    std::unordered_map<std::string, size_t> places; // by name; of two entries of one name the first counts
    std::unordered_set<std::string> known; // all entries made here; a value that comes back takes no new memory
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
    kept->places.clear();
    for (size_t place = 0; place < entries.size(); ++place) {
        const std::string entry = entries[place];
        const size_t equals = entry.find('=');
        if (equals != entry.npos) kept->places.emplace(entry.substr(0, equals), place);
    }
    entries.push_back(nullptr);
    environ = entries.data();
    kept->entries.swap(entries);
    places_hold = true;
}

static char *entry_of(const char *name, const char *value) {
    const std::string &entry = *kept->known.insert(std::string(name) + '=' + value).first;
    return const_cast<char *>(entry.c_str());
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

static void append(const char *name, char *entry) {
    const size_t place = kept->entries.size() - 1;
    make_room();
    kept->places.emplace(name, place);
    kept->entries.push_back(nullptr);
    kept->entries[place] = entry;
}

// The place of the name, or null. An entry that the caller has exchanged for one of another name is noticed here.
static const size_t *place_of(const char *name, size_t length) {
    const auto found = kept->places.find(name);
    if (found == kept->places.end()) return nullptr;
    const char *entry = kept->entries[found->second];
    return strncmp(entry, name, length) == 0 && entry[length] == '=' ? &found->second : nullptr;
}

void variables_set(const char *name, const char *value) {
    const size_t length = strlen(name);
    if (length == 0 || strchr(name, '=') != nullptr) return;
    if (!is_as_it_was()) read_environment();
    if (kept->places.count(name) != 0 && place_of(name, length) == nullptr) read_environment();
    char *entry = entry_of(name, value);
    const size_t *place = place_of(name, length);
    if (place != nullptr)
        kept->entries[*place] = entry;
    else
        append(name, entry);
}
