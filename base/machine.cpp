#include "base/machine.h"

#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>

#include "platform/common/places.h"

static std::string uname_field(const char *(*field)(const utsname &names)) {
    utsname names = {};
    return uname(&names) == 0 ? field(names) : "";
}

std::string machine_processor() {
    return uname_field([](const utsname &names) -> const char * { return names.machine; });
}
std::string machine_system() {
    return uname_field([](const utsname &names) -> const char * { return names.sysname; });
}
std::string machine_release() {
    return uname_field([](const utsname &names) -> const char * { return names.release; });
}

// Asks the kernel about the interface; the answer stays all zeros when it has none.
static ifreq ask_interface(unsigned long question) {
    ifreq request = {};
    strncpy(request.ifr_name, place_network_interface, sizeof request.ifr_name - 1);
    const int asked = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const bool answered = ioctl(asked, question, &request) == 0; // without a socket it fails too
    close(asked);
    return answered ? request : ifreq{};
}

static std::string hexadecimal(const void *bytes, size_t count) {
    std::string text;
    for (size_t i = 0; i < count; i++) {
        char digits[3];
        snprintf(digits, sizeof digits, "%02X", static_cast<const uint8_t *>(bytes)[i]);
        text += digits;
    }
    return text;
}

std::string machine_hardware_address() {
    return hexadecimal(ask_interface(SIOCGIFHWADDR).ifr_hwaddr.sa_data, 6);
}

std::string machine_network_address() {
    const ifreq answer = ask_interface(SIOCGIFADDR);
    sockaddr_in address;
    memcpy(&address, &answer.ifr_addr, sizeof address);
    return hexadecimal(&address.sin_addr, sizeof address.sin_addr);
}

namespace {

struct FileClose {
    void operator()(FILE *file) const { fclose(file); }
};

} // namespace

std::string machine_module_version() {
    static constexpr char key[] = "Marfsd Version=";
    std::unique_ptr<FILE, FileClose> file(fopen(place_module_status, "re"));
    // Only the file's first 1,024 bytes are looked through: required.
    char read[1024 + 1] = "";
    if (file) read[fread(read, 1, sizeof read - 1, file.get())] = '\0';
    const char *found = strstr(read, key);
    if (found == nullptr) return "0.0.0";
    found += strlen(key);
    return std::string(found, strcspn(found, "\n"));
}
