#include "platform/client/session/ldap_module.h"

#include <dlfcn.h>
#include <string>

#include "platform/catalogue.h"
#include "platform/client/core/errors.h"
#include "platform/client/core/start_environment.h"
#include "platform/client/ldap/module.h"

// Null unless the module's objects are linked in. Hidden: no other library's function of this name is meant.
extern "C" __attribute__((weak, visibility("hidden"))) decltype(zkclient_ldap_store) zkclient_ldap_store;

using Maker = decltype(&zkclient_ldap_store);

static std::string fault; // why there is none

// A caller that has it loaded may log in with one of its mechanisms, but libldap settles for all which there are.
static bool caller_has_sasl;

// The path is that by which the dynamic linker has found this library.
static std::string module_path() {
    Dl_info own = {};
    dladdr(reinterpret_cast<const void *>(&module_path), &own);
    const std::string library = own.dli_fname == nullptr ? "" : own.dli_fname;
    return library.substr(0, library.rfind('/') + 1) + "libzkclient/libzkclient-ldap.so";
}

static Maker load() {
    if (zkclient_ldap_store != nullptr) return zkclient_ldap_store;
    const std::string path = module_path();
    if (path.front() != '/') { // the working folder may have changed since
        fault = path + ": " + catalogue_text("not an absolute path");
        return nullptr;
    }
    caller_has_sasl = dlopen("libsasl2.so.2", RTLD_LAZY | RTLD_NOLOAD) != nullptr;
    const StartEnvironment started;
    void *library = dlopen(path.c_str(), RTLD_LAZY | RTLD_LOCAL);
    void *maker = library == nullptr ? nullptr : dlsym(library, "zkclient_ldap_store");
    if (maker == nullptr) fault = dlerror();
    return reinterpret_cast<Maker>(maker);
}

// A failure is kept as well: what cannot be loaded before the scripts is not loaded after them.
static Maker loaded() {
    static const Maker maker = load();
    return maker;
}

void ldap_module_load() {
    loaded();
}

std::unique_ptr<ServersStore> ldap_module_store(const ConfigTree &config, const Name &base, SiteKeeper *keeper) {
    const Maker maker = loaded();
    if (maker == nullptr) {
        throw CodedError(ZKE_DIRECTORY_UNREACHABLE,
                         catalogue_format("cannot load the LDAP module: install libzkclient-ldap (%s)", fault.c_str()));
    }
    return std::unique_ptr<ServersStore>(maker(config, base, keeper, caller_has_sasl));
}
