#include "platform/catalogue.h"
#include "tools/qrtlogin/failure.h"
#include "tools/qrtscript/object/check.h"
#include "tools/qrtscript/object/commands.h"
#include "tools/qrtscript/object/question.h"
#include "tools/qrtscript/object/store.h"
#include "tools/qrtscript/password_input.h"

static std::string question_of(const ScriptObject &object, const ScriptText &after) {
    return after ? catalogue_format("Make this the login script of %s?", object.name.c_str())
                 : catalogue_format("Take the login script of %s away?", object.name.c_str());
}

int command_put(const ObjectOptions &options) {
    const std::string file = options.operands.size() > 1 ? options.operands[1] : "-";
    if (!options.remove) password_input_check(options.passwordDescriptor, file);
    const ScriptText after = options.remove ? ScriptText() : ScriptText(text_of_file(file));
    const TreeSession session(options);
    const ScriptObject object = session.object(options.operands[0]);
    const std::string refusal = after ? check_refusal_of(file == "-" ? object.name : file, *after) : "";
    if (!refusal.empty() && !options.force) throw Failure(exit_findings, refusal);
    const StoredScript stored = session.read(object);
    store_tell(options, object, stored);
    if (stored.text == after) {
        store_say(options, catalogue_format("the login script of %s is the same already", object.name.c_str()));
        return exit_done;
    }
    store_show(object, stored.text, after ? NamedText{file, *after} : store_named(object, after));
    if (!options.yes && !question_ask(question_of(object, after))) return exit_differs;
    store_write(session, options, object, stored.text, after);
    return exit_done;
}
