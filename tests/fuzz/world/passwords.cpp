// The libraries that the code under test loads for their first use, where they stand for the outside: libcrypt, and
// libbsd for a password that is typed (terminal.cpp). A hash is what stands before the last "$" and then the password
// as it is: the real ones take their time on purpose.
#include <crypt.h>
#include <dlfcn.h>
#include <string>
#include <string_view>

extern "C" {
// Of the targets with a terminal.
__attribute__((weak)) char *fuzz_readpassphrase(const char *prompt, char *answer, size_t size, int flags);

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

void *fuzz_dlsym(void *library, const char *name) {
    const std::string_view wanted = name;
    if (wanted == "crypt_rn") return reinterpret_cast<void *>(fuzz_crypt_rn);
    if (wanted == "crypt_gensalt_rn") return reinterpret_cast<void *>(fuzz_crypt_gensalt_rn);
    if (wanted == "readpassphrase") return reinterpret_cast<void *>(fuzz_readpassphrase);
    return dlsym(library, name);
}

} // extern "C"
