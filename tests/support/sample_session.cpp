#include "tests/support/sample_session.h"

#include <fcntl.h>
#include <unistd.h>
#include <cstdlib>
#include <cstring>

#include "platform/zk.h"
#include "qrtscript.h"

namespace fs = std::filesystem;

void sample_close_pipe() {
    if (fdr == nullptr) return;
    const int stale = fileno(fdr);
    const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (null != stale) {
        dup2(null, stale);
        close(null);
    }
    fclose(fdr);
    fdr = nullptr;
    close(fd[0]);
}

uint32_t sample_log_in(FILE *output) {
    uint32_t handle = 0;
    if (qrt_init(nullptr, output) != 0 || qrt_Getctx("ACME", &handle) != 0) return 0;
    if (ZKDSLoginEx(handle, ".jdoe.sales.acme", 2, "sunflower") != 0) return 0;
    qrt_SetTree("ACME");
    qrt_SetCurrentObject("jdoe");
    qrt_SetLoginName("jdoe");
    CurrentPassword = strdup("sunflower");
    qrt_SetUserVar(1, "jdoe");
    std::string context = ".sales.acme";
    qrt_SetCurrentContext(context.data());
    qrt_SetInitialContext(context.c_str());
    qrt_SetServer(handle, "SRV1");
    return handle;
}

void sample_log_out(uint32_t handle) {
    ZKDSLogout(handle);
    ZKDSFreeContext(handle);
    free(CurrentPassword);
    CurrentPassword = nullptr;
}
