#include "platform/client/core/password.h"

#include <crypt.h>
#include <cstring>
#include <memory>

#include "platform/client/core/names.h"

namespace {

constexpr std::string_view crypt_scheme = "{CRYPT}";

struct WipeCryptData {
    void operator()(struct crypt_data *data) const {
        explicit_bzero(data, sizeof *data);
        delete data;
    }
};

// Empty when libcrypt refuses the setting or the password.
std::string crypted(const char *password, const std::string &setting) {
    std::unique_ptr<struct crypt_data, WipeCryptData> data(new struct crypt_data());
    const char *result = crypt_rn(password, setting.c_str(), data.get(), sizeof *data);
    return result == nullptr ? "" : result;
}

bool equal_in_constant_time(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) {
        return false;
    }
    unsigned char difference = 0;
    for (size_t i = 0; i < a.size(); i++) {
        difference |= static_cast<unsigned char>(a[i] ^ b[i]);
    }
    return difference == 0;
}

} // namespace

bool password_is_hash(std::string_view stored) {
    return equal_nocase(stored.substr(0, crypt_scheme.size()), crypt_scheme);
}

bool password_matches(std::string_view stored, const char *password) {
    if (*password == '\0' || !password_is_hash(stored)) {
        return false;
    }
    std::string hash(stored.substr(crypt_scheme.size()));
    return !hash.empty() && equal_in_constant_time(crypted(password, hash), hash);
}

std::string password_hash(const char *method, unsigned long rounds, const char *password) {
    char salt[CRYPT_GENSALT_OUTPUT_SIZE] = "";
    crypt_gensalt_rn(method, rounds, nullptr, 0, salt, sizeof salt);
    const std::string hash = crypted(password, salt);
    return hash.empty() ? "" : std::string(crypt_scheme) + hash;
}
