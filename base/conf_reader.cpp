#include "platform/common/conf_file.h"
#include "qrtscript.h"

static_assert(conf_no_key == QRT_CONF_NO_KEY && conf_no_file_name == QRT_CONF_NO_FILE_NAME &&
              conf_section == QRT_CONF_SECTION && conf_empty_key == QRT_CONF_EMPTY_KEY &&
              conf_no_space == QRT_CONF_NO_SPACE && conf_no_file == QRT_CONF_NO_FILE &&
              conf_too_long == QRT_CONF_TOO_LONG);

uint32_t qrtGetConfValue(const char *fileName, const char *section, const char *key, char *value, int valueSize) {
    bLogFileOutput = 0;
    return conf_value(fileName, section, key, value, valueSize);
}

int parseLineForKeyValue(char *line, const char *key, char *value, int valueSize) {
    return conf_line_value(line, key, value, valueSize);
}
