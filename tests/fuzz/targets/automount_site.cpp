// The automounter's file of volumes, and what is looked up in it by names that users choose.
//
//     input ::= server LF volume LF file
#include "tools/automount/site.h"

#include "tests/fuzz/fuzz.h"

// What was written is read as it was.
static void check_again(const MountSite &site) {
    const std::string text = site_text(site);
    const std::optional<MountSite> again = site_parse(text);
    FUZZ_CHECK(again.has_value());
    FUZZ_CHECK(site_text(*again) == text);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::string_view rest = fuzz_view(data, size);
    const std::string_view server = fuzz_take(rest, '\n');
    const std::string_view volume = fuzz_take(rest, '\n');
    const std::optional<MountSite> site = site_parse(rest);
    if (!site) return 0;
    FUZZ_CHECK(site->timeLimit > 0 && site->refresh > 0);
    check_again(*site);
    std::string why;
    const std::optional<SiteMount> mount = site_find(*site, server, volume, &why);
    FUZZ_CHECK(!mount || why.empty());
    if (!mount) return 0;
    FUZZ_CHECK(site_has_server(*site, server));
    FUZZ_CHECK(mount->source.host.find_first_of(",/ ") == std::string::npos);
    return 0;
}
