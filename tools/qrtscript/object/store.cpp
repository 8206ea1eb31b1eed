#include "tools/qrtscript/object/store.h"

#include <cstdio>

#include "platform/catalogue.h"
#include "tools/qrtscript/object/backup.h"
#include "tools/qrtscript/object/interrupts_held.h"

NamedText store_named(const ScriptObject &object, const ScriptText &text) {
    const std::string name = text ? object.name : catalogue_format("%s (no script)", object.name.c_str());
    return {name, text.value_or("")};
}

void store_show(const ScriptObject &object, const ScriptText &before, const NamedText &after) {
    difference_show(difference(store_named(object, before), after));
}

// What was kept for nothing goes, so that the former scripts are those that were replaced.
void store_write(const TreeSession &session, const ObjectOptions &options, const ScriptObject &object,
                 const ScriptText &before, const ScriptText &after) {
    if (!options.backup || !before) return session.write(object, before, after);
    Backup backup(*options.backup);
    const InterruptsHeld interrupts;
    backup.keep(session.tree(), {{object, *before, session.isPrivate(object)}});
    bool isTried = false;
    try {
        if (interrupts.hasCome()) throw Failure(exit_interrupted, catalogue_text("interrupted"));
        isTried = true;
        session.write(object, before, after);
    } catch (const Failure &) {
        const bool isReplaced = isTried && session.mayBe(object, after);
        if (!isReplaced && !backup.takeBack(0)) {
            store_say(options, catalogue_format("the script of %1$s was not replaced, but Git in %2$s still has a copy",
                                                object.name.c_str(), options.backup->c_str()));
        }
        throw;
    }
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
