#include "commands/object_text.h"

#include <string>

#include "base/output.h"
#include "commands/server_file.h"
#include "directory/script_sources.h"
#include "qrtscript.h"

OwnedText object_text(const char *name) {
    std::string object = name;
    // The context carries its own leading dot.
    if (object.compare(0, 1, ".") != 0 && CurrentContext) object += CurrentContext;
    std::string script;
    if (script_sources_object(ctx, object.c_str(), script) == 0) return text_copy(script);
    OwnedText text = server_file_read(ctx, nullptr, name);
    if (!text) say("Unable to find file: %s\n", name);
    return text;
}
