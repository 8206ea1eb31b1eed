#include "tests/directories/private_network.h"

#include <net/if.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <unistd.h>
#include <cerrno>
#include <cstring>
#include <system_error>

static void require(bool done, const char *what) {
    if (!done) throw std::system_error(errno, std::generic_category(), what);
}

static void start_loopback() {
    const int any = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    ifreq request = {};
    strcpy(request.ifr_name, "lo");
    request.ifr_flags = IFF_UP | IFF_RUNNING;
    const bool up = ioctl(any, SIOCSIFFLAGS, &request) == 0;
    close(any);
    require(up, "the loopback interface");
}

PrivateNetwork::PrivateNetwork() {
    require(unshare(CLONE_NEWNET | CLONE_NEWNS) == 0, "a network of the test's own (as root)");
    require(mount("", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "mounts of the test's own");
    start_loopback();
    folder.write("hosts", "127.0.0.1 localhost dc1.ad.example.test ad.example.test ds1.example.test\n");
    folder.write("resolv.conf", "nameserver 127.0.0.1\noptions timeout:1 attempts:1\n");
    for (const std::string name : {"hosts", "resolv.conf"})
        require(mount(folder.path(name).c_str(), ("/etc/" + name).c_str(), nullptr, MS_BIND, nullptr) == 0,
                ("/etc/" + name).c_str());
}
