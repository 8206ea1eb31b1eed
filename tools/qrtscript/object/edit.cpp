#include <unistd.h>
#include <cerrno>
#include <cstdlib>

#include "platform/catalogue.h"
#include "tools/qrtscript/object/check.h"
#include "tools/qrtscript/object/commands.h"
#include "tools/qrtscript/object/program.h"
#include "tools/qrtscript/object/question.h"
#include "tools/qrtscript/object/store.h"

// The words of the variable are the shell's to understand: "code --wait".
static std::string editor() {
    for (const char *name : {"VISUAL", "EDITOR"})
        if (const char *value = getenv(name); value != nullptr && *value != '\0') return value;
    return "vi";
}

namespace {

class Edit {
  public:
    explicit Edit(const ObjectOptions &options)
        : options_(options),
          session_(options),
          object_(session_.object(options.operands[0])),
          name_(file_name_of(options.operands[0])) {
        const StoredScript stored = session_.read(object_);
        store_tell(options_, object_, stored);
        base_ = stored.text;
    }

    int run() {
        file_ = folder_.write(name_, base_.value_or(""));
        try {
            edit();
            if (text_ == base_.value_or("")) {
                store_say(options_, catalogue_text("nothing was changed"));
                return exit_done;
            }
            while (!isAccepted()) edit();
            const int status = write();
            if (status == exit_done) folder_.keep("");
            if (status != exit_done) sayKept();
            return status;
        } catch (...) {
            sayKept();
            throw;
        }
    }

  private:
    void edit() {
        // From here on the editor may have saved something: a signal that ends this program leaves the text where it
        // is.
        folder_.keep(file_);
        const ProgramRun ended =
            program_run({"/bin/sh", "-c", editor() + " \"$1\"", "sh", file_}, ProgramOutput::unchanged);
        if (ended.status != 0) {
            if (!hasWork()) folder_.keep("");
            throw Failure(exit_editor, catalogue_format("the editor failed: %s", editor().c_str()));
        }
        if (access(file_.c_str(), F_OK) != 0 && errno == ENOENT) {
            if (!hasWork()) folder_.keep("");
            throw Failure(exit_editor, catalogue_format("the editor has removed its file: %s", editor().c_str()));
        }
        text_ = text_of_file(file_);
        if (text_ == base_.value_or("")) folder_.keep("");
    }

    // Is there anything that is nowhere else: another text, or what the editor itself keeps to recover one?
    bool hasWork() const {
        try {
            return text_of_file(file_) != base_.value_or("") || folder_.hasOthers(name_);
        } catch (const Failure &) {
            return folder_.hasOthers(name_);
        }
    }

    bool isAccepted() const {
        const std::string refusal = options_.force ? "" : check_refusal_named(object_.name, file_);
        if (refusal.empty()) return true;
        store_say(options_, refusal);
        if (question_can_be_asked() && question_ask(catalogue_text("Edit it once more?"))) return false;
        throw Failure(exit_findings, catalogue_format("the login script of %s was not written", object_.name.c_str()));
    }

    int write() {
        for (;;) {
            store_show(object_, base_, {name_, text_});
            const std::string question = catalogue_format("Make this the login script of %s?", object_.name.c_str());
            if (!options_.yes && !question_ask(question)) return exit_differs;
            try {
                store_write(session_, options_, object_, base_, text_);
                return exit_done;
            } catch (const Failure &failure) {
                if (failure.status() != exit_changed || !question_can_be_asked()) throw;
                store_say(options_, failure.what());
                if (!question_ask(catalogue_text("Merge both changes?"))) throw;
            }
            mergeTheirs();
            while (!isAccepted()) edit();
        }
    }

    // What somebody else has made of the script becomes what is edited further, with the own change in it.
    void mergeTheirs() {
        const ScriptText theirs = session_.read(object_).text;
        const std::optional<Merged> merged =
            merge({catalogue_text("yours"), text_}, {catalogue_text("before"), base_.value_or("")},
                  {catalogue_text("theirs"), theirs.value_or("")}, folder_);
        if (!merged) throw Failure(exit_changed, catalogue_text("nothing was merged: neither git nor diff3 is there"));
        base_ = theirs;
        text_ = merged->text;
        folder_.write(name_, text_);
        if (!merged->hasConflicts) return;
        store_say(options_, catalogue_text("both changes are about the same lines, which are marked"));
        edit();
    }

    // Also before the file is read back: what the editor has written is not lost.
    void sayKept() {
        if (!folder_.isKept()) return;
        // Of a text that is gone there may be what the editor keeps beside it.
        const bool isThere = access(file_.c_str(), F_OK) == 0;
        store_say(options_, isThere ? catalogue_format("the text is kept in %s", file_.c_str())
                                    : catalogue_format("the editor's files are kept in %s", folder_.path("").c_str()));
    }

    const ObjectOptions &options_;
    const TreeSession session_;
    const ScriptObject object_;
    const std::string name_;
    PrivateFolder folder_;
    std::string file_;
    ScriptText base_;
    std::string text_;
};

} // namespace

int command_edit(const ObjectOptions &options) {
    return Edit(options).run();
}
