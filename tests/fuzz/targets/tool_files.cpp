// The files beside the scripts that the administrator's command reads: settings, a baseline, an environment.
//
//     input ::= kind path LF text
//     kind  ::= "s" (.qrtscriptrc; what it says of the path) | "b" (--baseline) | "e" (--env of plan)
#include "tests/fuzz/fuzz.h"
#include "tools/qrtlogin/failure.h"
#include "tools/qrtscript/check/baseline.h"
#include "tools/qrtscript/check/settings.h"
#include "tools/qrtscript/plan/input.h"

static void check_settings(std::string_view path, std::string_view text) {
    try {
        Settings settings = settings_of_text("file", text);
        for (const Code *code : settings.disabled) FUZZ_CHECK(code != nullptr && code_named(code->name) == code);
        for (const auto &[code, severity] : settings.severities)
            FUZZ_CHECK(code_named(code->name) == code && severity_named(severity_name(severity)) == severity);
        const bool isExcluded = settings_exclude(settings, path);
        // The patterns are independent of one another.
        bool isAny = false;
        const std::vector<std::string> patterns = std::move(settings.excluded);
        for (const std::string &pattern : patterns) {
            settings.excluded = {pattern};
            isAny = isAny || settings_exclude(settings, path);
        }
        FUZZ_CHECK(isAny == isExcluded);
    } catch (const SettingsError &error) {
        FUZZ_CHECK(strncmp(error.what(), "file:", 5) == 0);
    }
}

// What was written is read as it was.
static void check_baseline(const std::string &path, std::string_view text) {
    Baseline baseline(path), again(path);
    try {
        baseline.read(text);
    } catch (const BaselineError &error) {
        FUZZ_CHECK(*error.what() != '\0');
        return;
    }
    again.read(baseline.json());
    FUZZ_CHECK(again.json() == baseline.json() && again.count() == baseline.count());
}

static void check_environment(const std::string &path, const std::string &text) {
    try {
        std::string lines;
        const auto variables = input_environment_lines(text, path);
        for (const auto &[name, value] : variables) {
            FUZZ_CHECK(!name.empty() && name.find_first_of(std::string_view("=\n\0", 3)) == name.npos);
            FUZZ_CHECK(value.find_first_of(std::string_view("\n\0", 2)) == value.npos);
            lines.append(name).append("=").append(value).append("\r\n");
        }
        FUZZ_CHECK(input_environment_lines(lines, path) == variables);
    } catch (const Failure &failure) {
        FUZZ_CHECK(failure.status() == exit_usage && *failure.what() != '\0');
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::string_view rest = fuzz_view(data, size);
    const std::string_view head = fuzz_take(rest, '\n');
    if (head.empty()) return 0;
    const std::string path(head.substr(1));
    if (head[0] == 's') check_settings(path, rest);
    if (head[0] == 'b') check_baseline(path, rest);
    if (head[0] == 'e') check_environment(path, std::string(rest));
    return 0;
}
