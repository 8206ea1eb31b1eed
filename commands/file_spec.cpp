#include "commands/file_spec.h"

#include <string>

#include "base/output.h"
#include "commands/drive.h"
#include "commands/server_file.h"
#include "commands/volume_object.h"
#include "directory/script_sources.h"
#include "qrtscript.h"
#include "script/parser.h"

static OwnedText nothing() {
    return text_copy("");
}

// The file's text, or null.
static OwnedText get_file(const char *server, const std::string &spec) {
    return server_file_read(ctx, server, spec);
}

static std::string joined(const OwnedText &a, const OwnedText &b) {
    return std::string(a.get()) + "/" + b.get();
}

// Where a drive letter leads: a server and "VOLUME/path" there.
static std::optional<DriveTarget> drive_location(const char *letter) {
    const auto target = drive_target((drive_link_folder(letter) + letter).c_str());
    auto parts = target ? drive_split_target(*target) : std::nullopt;
    if (parts && parts->rest.find(':') != std::string::npos) parts->rest[parts->rest.find(':')] = '/';
    return parts;
}

OwnedText file_on_volume(OwnedText volume, OwnedText path) {
    std::string name = joined(volume, path);
    OwnedText text = get_file(":", name);
    if (!text && volume.get()[0] && !volume.get()[1]) {
        if (const auto location = drive_location(volume.get())) {
            name = location->rest + "/" + path.get();
            text = get_file(location->server.c_str(), name);
        }
    } else if (!text && volume.get()[0] == '.') {
        VolumeLocation found;
        if (volume_object_find(volume.get(), found) == 0) {
            name = found.volume + "/" + found.path + "/" + path.get();
            text = get_file(found.server.c_str(), name);
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

OwnedText file_of_object(OwnedText name) {
    std::string object = name.get();
    // The context carries its own leading dot.
    if (object.compare(0, 1, ".") != 0 && CurrentContext != nullptr) object += CurrentContext;
    std::string script;
    if (script_sources_object(ctx, object.c_str(), script) == 0) return text_copy(script);
    OwnedText text = get_file(nullptr, name.get());
    if (!text) say("Unable to find file: %s\n", name.get());
    return text;
}

OwnedText file_upper_case(OwnedText name) {
    text_raise(name.get());
    return name;
}

OwnedText path_after_word(OwnedText word, OwnedText rest) {
    return text_copy(std::string(word.get()) + (rest.get()[0] == ' ' ? "" : "/") + rest.get());
}

OwnedText path_after_separator(OwnedText rest) {
    return text_copy(std::string("/") + rest.get());
}
