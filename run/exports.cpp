// What this folder exports, declared in qrtscript.h.
#include "qrtscript.h"
#include "run/lifecycle.h"
#include "run/run_sequence.h"

int qrt_init(void *, FILE *output) {
    return lifecycle_start(output) ? 0 : -1;
}

int qrt_exit() {
    lifecycle_end();
    return 0;
}

int qrt_ReadResults(char **line) {
    if (line == nullptr) return -1;
    *line = lifecycle_read_line().release();
    return *line != nullptr ? 0 : -1;
}

int qrt_script_load_configuration() {
    lifecycle_load_configuration();
    return 0;
}

void cntrlcHandler(int) {
    lifecycle_interrupted();
}

void openLogFile() {
    lifecycle_open_log();
}

uint32_t qrt_RunScripts(QrtRunScriptsArgs *args) {
    return args != nullptr ? run_sequence(*args) : QRT_NO_USER;
}
