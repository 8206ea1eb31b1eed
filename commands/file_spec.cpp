#include "commands/file_spec.h"

#include <string>

#include "base/output.h"
#include "commands/drive.h"
#include "directory/session.h"
#include "script/parser.h"

static OwnedText nothing() {
    return text_copy("");
}

// The file's text, or null.
static OwnedText get_file(const char *server, const std::string &spec) {
    char *text = nullptr;
    qrt_GetFile(ctx, server, spec.c_str(), &text);
    return OwnedText(text);
}

static std::string joined(const OwnedText &a, const OwnedText &b) {
    return std::string(a.get()) + "/" + b.get();
}

// The location behind a drive letter: its server and "VOLUME/path" there. Null server: no such mapping.
static OwnedText drive_server(const char *letter, std::string &place) {
    char *link = nullptr, *second = nullptr;
    util_map_location(letter, nullptr, &link, &second);
    const OwnedText owned_link(link), owned_second(second);
    char *server = nullptr, *rest = nullptr;
    if (!link || util_map_existing(link, &server, &rest) != 0 || !server || !rest) return nullptr;
    const OwnedText owned_rest(rest);
    place = rest;
    const size_t colon = place.find(':');
    if (colon != place.npos) place[colon] = '/';
    return OwnedText(server);
}

OwnedText file_on_volume(OwnedText volume, OwnedText path) {
    std::string name = joined(volume, path);
    OwnedText text = get_file(":", name);
    if (!text && volume.get()[0] && !volume.get()[1]) {
        std::string place;
        const OwnedText server = drive_server(volume.get(), place);
        if (server) {
            name = place + "/" + path.get();
            text = get_file(server.get(), name);
        }
    } else if (!text && volume.get()[0] == '.') {
        char server[514], resource[514], place[514];
        if (orbispec(volume.get(), server, resource, place) == 0) {
            name = std::string(resource) + "/" + place + "/" + path.get();
            text = get_file(server, name);
        }
    }
    if (text) return text;
    say("Unable to find file:(%s)\n", name.c_str());
    return nothing();
}

OwnedText file_on_server(OwnedText server, OwnedText volume, OwnedText path) {
    const std::string name = joined(volume, path);
    OwnedText text = get_file(server.get(), name);
    if (text) return text;
    say("Unable to find file:%1$s/%2$s\n", server.get(), name.c_str());
    return nothing();
}

OwnedText file_plain(OwnedText path) {
    OwnedText text = get_file(nullptr, path.get());
    if (text) return text;
    say("Unable to find file:%s\n", path.get());
    return nothing();
}

OwnedText file_unc(OwnedText server, OwnedText path) {
    OwnedText text = get_file(server.get(), path.get());
    if (text) return text;
    // The first place is the opening backslash's own text, and single characters have none.
    say("Unable to Find %1$s: %2$s/%3$s\n", "", server.get(), path.get());
    return nothing();
}

OwnedText file_dotted(OwnedText name, OwnedText path) {
    TRACE(yyparse, 4, "filespec .%s %s", name.get(), path.get());
    return nothing();
}

OwnedText file_upper_case(OwnedText name) {
    for (char *c = name.get(); *c; c++) {
        if (*c >= 'a' && *c <= 'z') *c = static_cast<char>(*c - 'a' + 'A');
    }
    return name;
}

OwnedText path_after_word(OwnedText word, OwnedText rest) {
    return text_copy(std::string(word.get()) + (rest.get()[0] == ' ' ? "" : "/") + rest.get());
}

OwnedText path_after_separator(OwnedText rest) {
    return text_copy(std::string("/") + rest.get());
}
