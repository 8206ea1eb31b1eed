#include "tools/qrtscript/object/former_name.h"

#include <gnutls/crypto.h>
#include <gnutls/gnutls.h>
#include <sys/time.h>
#include <climits>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "platform/catalogue.h"
#include "platform/common/late_library.h"
#include "tools/qrtlogin/failure.h"
#include "tools/qrtscript/object/file_place.h"
#include "tools/qrtscript/object/private_folder.h"

static constexpr char moment_form[] = "00000000T000000.000000Z"; // a digit for each 0
static constexpr size_t moment_size = sizeof moment_form - 1;
static constexpr size_t tree_limit = 100;

static std::string hash_of(const std::string &text) {
    constexpr size_t size = 32;
    const auto hash = late_function<decltype(gnutls_hash_fast)>(LIBGNUTLS_SONAME, "gnutls_hash_fast");
    if (hash == nullptr) throw Failure(exit_system, catalogue_format("cannot load a library: %s", dlerror()));
    unsigned char bytes[size] = {};
    if (hash(GNUTLS_DIG_SHA256, text.data(), text.size(), bytes) != 0)
        throw Failure(exit_system, catalogue_text("cannot compute a hash"));
    std::string digits;
    for (const unsigned char byte : bytes) {
        char two[3];
        snprintf(two, sizeof two, "%02x", byte);
        digits += two;
    }
    return digits;
}

// As much of a name as anybody wants to read.
static std::string plain_name(const std::string &name) {
    std::string plain = file_name_of(name);
    return plain.substr(0, plain.size() - strlen(".qrt"));
}

static std::string hashed_name(const std::string &name, const std::string &meant) {
    constexpr size_t readable = 60;
    return plain_name(name).substr(0, readable) + "~" + hash_of(meant);
}

static std::string tree_name(const std::string &tree) {
    return tree.size() <= tree_limit && plain_name(tree) == tree ? tree : hashed_name(tree, tree);
}

FormerName former_name(const std::string &tree, const ScriptObject &object) {
    const std::string top = tree_name(tree) + "/";
    // A whole path never gets too long: names are of 512 bytes at most.
    const bool fits = object.file && name_of_file(*object.file).size() + 1 + moment_size <= NAME_MAX;
    if (fits) return {top + *object.file, false};
    // No folder of an object begins with "_".
    const std::string meant = object.file.value_or(object.typed);
    return {top + "_names/" + hashed_name(object.name, meant) + ".qrt", true};
}

std::string former_moment() {
    timeval now = {};
    gettimeofday(&now, nullptr);
    tm parts = {};
    char text[64];
    const size_t length = strftime(text, sizeof text, "%Y%m%dT%H%M%S", gmtime_r(&now.tv_sec, &parts));
    snprintf(text + length, sizeof text - length, ".%06ldZ", static_cast<long>(now.tv_usec));
    return text;
}

bool former_is_moment(const std::string &text) {
    if (text.size() != moment_size) return false;
    for (size_t i = 0; i < moment_size; i++) {
        const bool isDigit = text[i] >= '0' && text[i] <= '9';
        if (moment_form[i] == '0' ? !isDigit : text[i] != moment_form[i]) return false;
    }
    return true;
}
