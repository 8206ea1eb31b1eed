#include "platform/common/conf_file.h"

#include <sys/stat.h>

#include <charconv>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "platform/common/nocase.h"
#include "platform/common/places.h"

static bool occurs_nocase(std::string_view text, std::string_view pattern) {
    for (size_t at = 0; at + pattern.size() <= text.size(); ++at)
        if (equal_nocase(text.substr(at, pattern.size()), pattern)) return true;
    return false;
}

static bool is_comment(const char *line) {
    return line[0] == '#' || line[0] == ';';
}

// A last line without a line feed is required to be skipped like a line that was too long for the read buffer.
static bool holds_value(const char *line) {
    const char *equals = strchr(line, '=');
    return strchr(line, '\n') != nullptr && equals != nullptr && equals != line && equals[1] != '\n';
}

int conf_line_value(char *line, const char *key, char *value, int valueSize) {
    if (line == nullptr || key == nullptr) return 0;
    if (value == nullptr) valueSize = 0;
    // That the key may stand in another key's name or even in a value is required: sites rely on prefixed keys.
    if (is_comment(line) || !holds_value(line) || !occurs_nocase(line, key)) return 0;
    char *part = strchr(line, '=') + 1;
    line[part - line - 1] = '\0';
    // A second "=" ends the value like the line feed does, "key=a=b" being "a".
    part[strcspn(part, "=\n")] = '\0';
    if (part[0] == '\0') return 0;
    part += strspn(part, " \t");
    const size_t length = strlen(part);
    if (valueSize > 0 && length < static_cast<size_t>(valueSize)) {
        memcpy(value, part, length + 1);
        return 1;
    }
    // A length of 1 cannot be distinguished from "copied", so that a buffer of one byte then contains the empty string.
    if (valueSize == 1 && length == 1) value[0] = '\0';
    return static_cast<int>(length);
}

// The length in decimal; it may take the whole buffer, and the NUL follows only where there is room for it.
static void put_length(int length, char *value, int valueSize) {
    char digits[12];
    const char *end = std::to_chars(digits, digits + sizeof digits, length).ptr;
    std::string_view text(digits, static_cast<size_t>(end - digits));
    const auto room = static_cast<size_t>(valueSize);
    if (text.size() > room) text = "*";
    memcpy(value, text.data(), text.size());
    if (text.size() < room) value[text.size()] = '\0';
}

static bool is_folder(FILE *file) {
    struct stat status;
    return fstat(fileno(file), &status) == 0 && S_ISDIR(status.st_mode);
}

// The stream, or null for a path over the limit, a folder and a file that cannot be opened.
static FILE *open_configuration(const char *fileName) {
    const bool slp = strcmp(fileName, "slp.conf") == 0 || strcmp(fileName, "SLP.CONF") == 0;
    char path[conf_path_size];
    const int length = snprintf(path, sizeof path, "%s%s", slp ? place_slp_folder : place_config_folder, fileName);
    if (length < 0 || length >= conf_path_size) return nullptr;
    FILE *file = fopen(path, "re");
    if (file != nullptr && is_folder(file)) {
        fclose(file);
        return nullptr;
    }
    return file;
}

ConfResult conf_value(const char *fileName, const char *section, const char *key, char *value, int valueSize) {
    if (fileName == nullptr || fileName[0] == '\0') return conf_no_file_name;
    if (section != nullptr && section[0] != '\0') return conf_section;
    if (key == nullptr || key[0] == '\0') return conf_empty_key;
    if (value == nullptr || valueSize <= 0) return conf_no_space;
    FILE *file = open_configuration(fileName);
    if (file == nullptr) return conf_no_file;
    char line[conf_line_size];
    int found = 0;
    while (found <= 0 && fgets(line, sizeof line, file) != nullptr)
        found = conf_line_value(line, key, value, valueSize);
    fclose(file);
    if (found <= 0) return conf_no_key;
    if (found == 1) return conf_found;
    put_length(found, value, valueSize);
    return conf_too_long;
}
