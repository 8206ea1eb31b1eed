#include "tools/qrtscript/check/colour.h"

#include <unistd.h>
#include <cstdlib>

std::optional<ColourWhen> colour_when_named(std::string_view name) {
    if (name == "auto") return ColourWhen::automatic;
    if (name == "always") return ColourWhen::always;
    if (name == "never") return ColourWhen::never;
    return {};
}

static std::string_view variable(const char *name) {
    const char *value = getenv(name);
    return value == nullptr ? "" : value;
}

bool colour_wanted(ColourWhen when) {
    if (when != ColourWhen::automatic) return when == ColourWhen::always;
    return isatty(STDOUT_FILENO) != 0 && variable("NO_COLOR").empty() && variable("TERM") != "dumb";
}
