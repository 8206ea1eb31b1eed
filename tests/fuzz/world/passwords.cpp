// libcrypt as the code under test sees it. A hash is what stands before the last "$" and then the password as it is:
// the real ones take their time on purpose.
#include <crypt.h>
#include <string>

extern "C" {
char *fuzz_crypt_rn(const char *password, const char *setting, void *data, int) {
    std::string hash = setting;
    if (hash.empty() || hash[0] != '$') return nullptr;
    hash.erase(hash.rfind('$') + 1);
    hash += password;
    char *output = static_cast<struct crypt_data *>(data)->output;
    output[hash.copy(output, CRYPT_OUTPUT_SIZE - 1)] = '\0';
    return output;
}

char *fuzz_crypt_gensalt_rn(const char *, unsigned long, const char *, int, char *out, int outSize) {
    const std::string salt = "$y$salt$";
    out[salt.copy(out, static_cast<size_t>(outSize) - 1)] = '\0';
    return out;
}

} // extern "C"
