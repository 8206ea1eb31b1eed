#include "platform/client/core/password.h"

#include <crypt.h>

#include "platform/catalogue.h"
#include "platform/client/core/errors.h"
#include "platform/common/late_library.h"
#include "platform/common/nocase.h"
#include "platform/common/secret.h"

static constexpr std::string_view crypt_scheme = "{CRYPT}";

// Logins to servers, which check passwords themselves, do without libcrypt.
template <typename Function>
static Function &required(const char *name) {
    Function *function = late_function<Function>(LIBCRYPT_SONAME, name);
    if (function == nullptr) throw DataError(catalogue_format("cannot load a library: %s", dlerror()));
    return *function;
}

// Empty when libcrypt refuses the setting or the password.
static std::string crypted(const char *password, const std::string &setting) {
    Secret data(sizeof(struct crypt_data));
    const char *result =
        required<decltype(crypt_rn)>("crypt_rn")(password, setting.c_str(), data.text(), sizeof(struct crypt_data));
    return result == nullptr ? "" : result;
}

static bool equal_in_constant_time(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    unsigned char difference = 0;
    for (size_t i = 0; i < a.size(); i++) difference |= static_cast<unsigned char>(a[i] ^ b[i]);
    return difference == 0;
}

bool password_is_hash(std::string_view stored) {
    return equal_nocase(stored.substr(0, crypt_scheme.size()), crypt_scheme);
}

bool password_matches(std::string_view stored, const char *password) {
    if (*password == '\0' || !password_is_hash(stored)) return false;
    std::string hash(stored.substr(crypt_scheme.size()));
    return !hash.empty() && equal_in_constant_time(crypted(password, hash), hash);
}

std::string password_hash(const char *method, unsigned long rounds, const char *password) {
    char salt[CRYPT_GENSALT_OUTPUT_SIZE] = "";
    required<decltype(crypt_gensalt_rn)>("crypt_gensalt_rn")(method, rounds, nullptr, 0, salt, sizeof salt);
    const std::string hash = crypted(password, salt);
    return hash.empty() ? "" : std::string(crypt_scheme) + hash;
}
