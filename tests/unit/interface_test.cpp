// What the kernel is asked about the network interface. The test program's own ioctl stands in for the system's while a
// test has an answer for it.
#include <dlfcn.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <cstdarg>

#include "tests/unit/session_fixture.h"

namespace {

struct Answers {
    bool given = false;
    int code = 0;
    std::string hardware, address;  // six and four bytes
    std::vector<std::string> asked; // question, interface, family and kind of the socket
};
Answers answers;

std::string option(int socket, int name) {
    int value = 0;
    socklen_t size = sizeof value;
    getsockopt(socket, SOL_SOCKET, name, &value, &size);
    return std::to_string(value);
}

void fill(ifreq &request, const void *bytes, size_t size, size_t offset) {
    memcpy(reinterpret_cast<char *>(&request.ifr_addr) + offset, bytes, size);
}

int answer(int socket, unsigned long question, ifreq &request) {
    const bool hardware = question == SIOCGIFHWADDR;
    const std::string name = hardware ? "SIOCGIFHWADDR" : question == SIOCGIFADDR ? "SIOCGIFADDR" : "another";
    answers.asked.push_back(name + " " + request.ifr_name + " " + option(socket, SO_DOMAIN) + " " +
                            option(socket, SO_TYPE));
    if (hardware)
        fill(request, answers.hardware.data(), answers.hardware.size(), offsetof(sockaddr, sa_data));
    else
        fill(request, answers.address.data(), answers.address.size(), offsetof(sockaddr_in, sin_addr));
    return answers.code;
}

} // namespace

extern "C" int ioctl(int file, unsigned long question, ...) noexcept {
    va_list arguments;
    va_start(arguments, question);
    void *argument = va_arg(arguments, void *);
    va_end(arguments);
    if (answers.given) return answer(file, question, *static_cast<ifreq *>(argument));
    return reinterpret_cast<int (*)(int, unsigned long, ...)>(dlsym(RTLD_NEXT, "ioctl"))(file, question, argument);
}

namespace {

class InterfaceTest : public DirectoryTest {
  protected:
    InterfaceTest() {
        answers = {};
        answers.given = true;
        answers.hardware = "\x0A\xBC\xDE\xFF\x01\x9F";
        answers.address = std::string("\xC0\xA8\x0A\xFE", 4);
    }
    ~InterfaceTest() override { answers.given = false; }
    static std::string value(const char *identifier) {
        char *text = nullptr;
        EXPECT_EQ(qrt_GetIdentifierValue(session_handle, user_object, identifier, &text), 0u);
        return taken(text);
    }
};

TEST_F(InterfaceTest, TheKernelIsAskedThroughAnInternetDatagramSocket) {
    value("P_STATION");
    value("NETWORK_ADDRESS");
    const std::string rest = " eth0 " + std::to_string(AF_INET) + " " + std::to_string(SOCK_DGRAM);
    EXPECT_THAT(answers.asked, ElementsAre("SIOCGIFHWADDR" + rest, "SIOCGIFADDR" + rest));
    for (const char *name : {"P_STATION", "PHYSICAL_STATION"}) EXPECT_EQ(value(name), "0ABCDEFF019F");
    for (const char *name : {"NETWORK_ADDRESS", "NETWORK"}) EXPECT_EQ(value(name), "C0A80AFE");
    answers.code = -1;
    EXPECT_EQ(value("P_STATION"), "000000000000");
    EXPECT_EQ(value("NETWORK_ADDRESS"), "00000000");
}

} // namespace
