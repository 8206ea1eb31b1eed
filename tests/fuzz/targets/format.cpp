// The check and the formatter of scripts: a formatted script is the same one, and formatting it again changes nothing.
//
//     input ::= script
#include "tools/qrtscript/check/format.h"

#include "tests/fuzz/fuzz.h"
#include "tests/qrtscript/same_script.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string script(fuzz_view(data, size));
    const std::string once = script_formatted(syntax_read(script), {});
    const std::string difference = same_script::difference(script, once);
    FUZZ_CHECK(difference.empty());
    FUZZ_CHECK(script_formatted(syntax_read(once), {}) == once);
    return 0;
}
