// What this folder exports.
#include <algorithm>
#include <cstring>

#include "base/guard.h"
#include "base/output.h"
#include "base/words.h"
#include "include/exported.h"
#include "platform/common/conf_file.h"
#include "qrtscript.h"

// Joining with a null hands back the other argument itself: callers tell by comparing pointers what they may free.
static char *join(char *a, const char *separator, char *b) {
    if (a == nullptr) return b;
    if (b == nullptr) return a;
    return guarded_text([&] { return std::string(a) + separator + b; });
}

// A separator that is already there is doubled, not suppressed: file names are compared and shown as joined.
char *util_concat_filespec(char *a, char *b) {
    return join(a, "/", b);
}
char *util_concat_strings(char *a, char *b) {
    return join(a, " ", b);
}
char *util_concat_strings_nos(char *a, char *b) {
    return join(a, "", b);
}

char *util_parse_replace_string(char *s, const char *find, const char *repl) {
    const char *match = s == nullptr || find == nullptr || repl == nullptr ? nullptr : strstr(s, find);
    if (match == nullptr) return s;
    char *replaced =
        guarded_text([&] { return std::string(s, static_cast<size_t>(match - s)) + repl + (match + strlen(find)); });
    if (replaced != nullptr) free(s);
    return replaced;
}

static bool reported_null(const char *function, const char *str) {
    if (str == nullptr) output_print("ERROR, called %s(NULL)\n", function);
    return str == nullptr;
}

char *getQuote(char *str) {
    return reported_null("getQuote", str) ? nullptr : words_find_quote(str);
}
char prescanForQuotedStrings(char *str) {
    return reported_null("prescanForQuotedStrings", str) ? '\0' : words_hide_blanks(str);
}

void replaceChar(char *str, char ch) {
    if (str != nullptr) std::replace(str, str + strlen(str), ch, ' ');
}

static_assert(conf_no_key == QRT_CONF_NO_KEY && conf_no_file_name == QRT_CONF_NO_FILE_NAME &&
              conf_section == QRT_CONF_SECTION && conf_empty_key == QRT_CONF_EMPTY_KEY &&
              conf_no_space == QRT_CONF_NO_SPACE && conf_no_file == QRT_CONF_NO_FILE &&
              conf_too_long == QRT_CONF_TOO_LONG);

uint32_t qrtGetConfValue(const char *fileName, const char *section, const char *key, char *value, int valueSize) {
    bLogFileOutput = 0;
    return conf_value(fileName, section, key, value, valueSize);
}

int parseLineForKeyValue(char *line, const char *key, char *value, int valueSize) {
    return conf_line_value(line, key, value, valueSize);
}
