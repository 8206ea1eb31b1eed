// Where the scripts of objects are in a site's folder: from paths to names and back.
//
//     input ::= path [ NUL name ]          name: dotted
#include "platform/client/overlay/object_path.h"

#include <climits>

#include "tests/fuzz/fuzz.h"

// The path of a name is one that leads nowhere else and that a terminal can show, and it leads back to the name.
static void check_name(const Name &name, bool isContainer) {
    const std::optional<std::string> path = object_path(name, isContainer);
    if (!path) return;
    FUZZ_CHECK(path->front() != '/' && path->find("//") == path->npos && path->find("/.") == path->npos);
    for (const char c : *path) FUZZ_CHECK(static_cast<unsigned char>(c) >= ' ' && c != 0x7F);
    std::string_view rest = *path;
    while (!rest.empty()) FUZZ_CHECK(fuzz_take(rest, '/').size() <= NAME_MAX);
    Name again;
    bool isContainerAgain = !isContainer;
    FUZZ_CHECK(object_path_parse(*path, &again, &isContainerAgain));
    FUZZ_CHECK(again.size() == name.size() && isContainerAgain == isContainer);
    for (size_t i = 0; i < name.size(); i++)
        FUZZ_CHECK(object_path_key(name[i].value) == object_path_key(again[i].value));
    FUZZ_CHECK(object_path(again, isContainer) == path);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::string_view rest = fuzz_view(data, size);
    const std::string_view path = fuzz_take(rest, '\0');
    Name name;
    bool isContainer = false;
    if (object_path_parse(path, &name, &isContainer)) {
        FUZZ_CHECK(name.size() <= name_depth_limit && (isContainer || !name.empty()));
        check_name(name, isContainer);
    }
    if (!name_parse_dotted(fuzz_take(rest, '\0'), {}, &name)) return 0; // no name contains a zero byte
    check_name(name, false);
    check_name(name, true);
    return 0;
}
