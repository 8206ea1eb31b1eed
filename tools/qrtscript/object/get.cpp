#include <cstdio>

#include "platform/catalogue.h"
#include "tools/qrtscript/object/commands.h"
#include "tools/qrtscript/object/store.h"
#include "tools/qrtscript/password_input.h"

int command_get(const ObjectOptions &options) {
    const TreeSession session(options);
    const ScriptObject object = session.object(options.operands[0]);
    const StoredScript stored = session.read(object);
    store_tell(options, object, stored);
    if (!stored.text) {
        const char *name = object.name.c_str();
        throw Failure(exit_user, session.isAnonymous()
                                     ? catalogue_format(
                                           "%s has no login script, or none that is shown without a login (--as)", name)
                                     : catalogue_format("%s has no login script", name));
    }
    fwrite(stored.text->data(), 1, stored.text->size(), stdout);
    return exit_done;
}

int command_diff(const ObjectOptions &options) {
    const std::string &file = options.operands[1];
    password_input_check(options.passwordDescriptor, file);
    const std::string text = text_of_file(file);
    const TreeSession session(options);
    const ScriptObject object = session.object(options.operands[0]);
    const StoredScript stored = session.read(object);
    store_tell(options, object, stored);
    if (stored.text == text) return exit_done;
    store_show(object, stored.text, {file, text});
    return exit_differs;
}
