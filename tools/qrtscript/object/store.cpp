#include "tools/qrtscript/object/store.h"

#include <cstdio>

#include "platform/catalogue.h"
#include "tools/qrtscript/object/backup.h"

NamedText store_named(const ScriptObject &object, const ScriptText &text) {
    const std::string name = text ? object.name : catalogue_format("%s (no script)", object.name.c_str());
    return {name, text.value_or("")};
}

void store_show(const ScriptObject &object, const ScriptText &before, const NamedText &after) {
    difference_show(difference(store_named(object, before), after));
}

void store_write(const TreeSession &session, const ObjectOptions &options, const ScriptObject &object,
                 const ScriptText &before, const ScriptText &after) {
    if (options.backup && before)
        backup_keep(*options.backup, session.tree(), {object, *before, session.isPrivate(object)});
    session.write(object, before, after);
}

void store_tell(const ObjectOptions &options, const ScriptObject &object, const StoredScript &stored) {
    if (!options.verbose) return;
    store_say(options, stored.place.empty() ? catalogue_format("%1$s (%2$s)", object.typed.c_str(), object.kind)
                                            : catalogue_format("%1$s (%2$s): %3$s", object.typed.c_str(), object.kind,
                                                               stored.place.c_str()));
}

void store_say(const ObjectOptions &options, const std::string &text) {
    fflush(stdout);
    fprintf(stderr, "%s: %s\n", options.program.c_str(), terminal_text(text).c_str());
}
