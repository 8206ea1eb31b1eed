#include "commands/object_text.h"

#include <string>

#include "base/output.h"
#include "commands/file_spec.h"
#include "directory/session.h"

OwnedText object_text(const char *name) {
    std::string object = name;
    // The context carries its own leading dot.
    if (object.compare(0, 1, ".") != 0 && qrt_GetCurrentContext()) object += qrt_GetCurrentContext();
    char *text = nullptr;
    if (qrt_GetLoginScript(ctx, object.c_str(), &text) == 0) return OwnedText(text);
    if (qrt_GetFile(ctx, nullptr, name, &text) == 0) return OwnedText(text);
    say("Unable to find file: %s\n", name);
    return nullptr;
}
