#include "tools/qrtscript/secret_names.h"

#include <algorithm>
#include <iterator>
#include <string>

#include "platform/common/nocase.h"

// Anywhere in a name whose words have been joined.
static constexpr const char *anywhere[] = {
    "password",  "passwd",     "passwort", "kennwort",      "motdepasse", "contrasena", "passphrase",
    "passcode",  "secret",     "token",    "credential",    "apikey",     "accesskey",  "privatekey",
    "sharedkey", "signingkey", "cryptkey", "encryptionkey", "pwdhistory", "privkey",
};
// A word of the name by itself: in longer words they mean something else.
static constexpr const char *words[] = {"pass", "pw", "pwd", "pin", "psk", "otp"};
// What is known of a secret, and may be known.
static constexpr const char *harmless[] = {"passwordexpir", "passwdexpir", "pwdexpir", "secretary"};

static bool is_letter(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z');
}

template <size_t count>
static bool has_one(const std::string &text, const char *const (&parts)[count]) {
    return std::any_of(
        std::begin(parts), std::end(parts), [&](const char *part) { return text.find(part) != text.npos; });
}

static bool is_secret_word(const std::string &word) {
    return std::find(std::begin(words), std::end(words), word) != std::end(words);
}

bool secret_name(std::string_view name) {
    std::string joined, word;
    bool hasWord = false;
    for (const char c : name) {
        const char lower = lower_case(c);
        if (is_letter(lower)) {
            joined += lower;
            word += lower;
        } else {
            hasWord = hasWord || is_secret_word(word);
            word.clear();
        }
    }
    if (has_one(joined, harmless)) return false;
    const bool endsInPwd = joined.size() > 3 && joined.compare(joined.size() - 3, 3, "pwd") == 0;
    return hasWord || is_secret_word(word) || endsInPwd || has_one(joined, anywhere);
}

bool secret_variable(std::string_view name, std::string_view value) {
    const bool isDirectory = equal_nocase(name, "PWD") || equal_nocase(name, "OLDPWD");
    return secret_name(name) && !(isDirectory && !value.empty() && value.front() == '/');
}
