#include "tools/code_variables.h"

#include <algorithm>
#include <iterator>
#include <string_view>

// Where a name ends in "*", every name that begins so. The prompts are among them since bash runs the commands in them.
static const char *const code_variables[] = {
    "LD_*",
    "GCONV_PATH",
    "GLIBC_TUNABLES",
    "BASH_ENV",
    "BASH_FUNC_*",
    "ENV",
    "IFS",
    "SHELLOPTS",
    "BASHOPTS",
    "PROMPT_COMMAND",
    "PS0",
    "PS1",
    "PS2",
    "PS4",
    "ZDOTDIR",
    "FPATH",
    "PERL5*",
    "PERLLIB",
    "PYTHON*",
    "RUBYOPT",
    "RUBYLIB",
    "NODE_OPTIONS",
    "NODE_PATH",
    "LUA_*",
    "CLASSPATH",
    "JDK_JAVA_OPTIONS",
    "JAVA_TOOL_OPTIONS",
    "GTK_MODULES",
    "GTK_PATH",
    "GIO_EXTRA_MODULES",
    "QT_PLUGIN_PATH",
};

bool environment_runs_code(const std::string &name) {
    return std::any_of(
        std::begin(code_variables), std::end(code_variables),
        [&name](std::string_view pattern) {
            if (pattern.back() != '*') return name == pattern;
            pattern.remove_suffix(1);
            return name.compare(0, pattern.size(), pattern) == 0;
        });
}
