#include <cstdio>
#include <map>
#include <set>

#include "platform/catalogue.h"
#include "tools/qrtscript/object/action.h"
#include "tools/qrtscript/object/check.h"
#include "tools/qrtscript/object/commands.h"
#include "tools/qrtscript/object/interrupts_held.h"
#include "tools/qrtscript/object/question.h"
#include "tools/qrtscript/object/script_folder.h"
#include "tools/qrtscript/object/store.h"

namespace {

struct Change {
    ScriptObject object;
    std::string file; // empty: the object has none
    ScriptText before, after;
};

class Import {
  public:
    explicit Import(const ObjectOptions &options)
        : options_(options), folder_(options.operands[0], ScriptFolder::Missing::refused), session_(options) {}

    int run() {
        takeScripts();
        for (const std::string &file : folder_.contents().files) take(file);
        if (!isUsable_)
            throw Failure(exit_user, catalogue_text("nothing was written: not every file is the script of an object"));
        if (options_.prune) addRemovals();
        show();
        check();
        if (changes_.empty() || options_.dryRun) return exit_done;
        if (!isAgreedTo()) return exit_differs;
        write();
        return exit_done;
    }

  private:
    void complain(const std::string &what) {
        store_say(options_, what);
        isUsable_ = false;
    }

    // Of two objects of one file the directory says which one is meant.
    void takeScripts() {
        for (ScriptOfObject &one : session_.list()) {
            const std::string typed = one.object.typed;
            scripts_.emplace(typed, std::move(one));
        }
        for (const auto &[typed, one] : scripts_) {
            if (!one.object.file) continue;
            const auto [other, isFirst] = byFile_.emplace(*one.object.file, &one.object);
            if (!isFirst) other->second = nullptr;
        }
    }

    std::optional<ScriptObject> objectOf(const std::string &path) const {
        const auto known = byFile_.find(path);
        return known != byFile_.end() && known->second != nullptr ? *known->second : session_.objectOfFile(path);
    }

    void take(const std::string &file) {
        const std::optional<std::string> path = script_file_path(file);
        const std::optional<ScriptObject> object = path ? objectOf(*path) : std::nullopt;
        if (!object) return complain(catalogue_format("%s: no such object", folder_.shown(file).c_str()));
        const auto [other, isFirst] = files_.emplace(object->typed, file);
        if (!isFirst) {
            return complain(catalogue_format("%1$s and %2$s stand for the same object",
                                             folder_.shown(other->second).c_str(), folder_.shown(file).c_str()));
        }
        const auto known = scripts_.find(object->typed);
        Change change = {*object, file, std::nullopt, folder_.read(file)};
        if (known != scripts_.end()) change.before = known->second.text;
        if (change.before != change.after) changes_.push_back(std::move(change));
    }

    // A folder without a script is a wrong one, or a checkout that has failed; one without site.toml may be a part of
    // what the tree has: somebody has to say that it is not.
    void addRemovals() {
        if (files_.empty() && !options_.force)
            throw Failure(exit_no_script,
                          catalogue_text("the folder has no login script: --prune would remove all of them"));
        for (const auto &[typed, one] : scripts_) {
            if (files_.count(typed) != 0) continue;
            changes_.push_back({one.object, "", one.text, std::nullopt});
            removals_++;
        }
        if (removals_ == 0 || folder_.has("site.toml") || !options_.yes) return;
        throw Failure(
            exit_no_script,
            catalogue_format(
                catalogue_plural(
                    "%1$s has no site.toml, which marks a whole tree: --prune would remove %2$zu login script",
                    "%1$s has no site.toml, which marks a whole tree: --prune would remove %2$zu login scripts",
                    removals_),
                options_.operands[0].c_str(), removals_));
    }

    bool isAgreedTo() const {
        if (options_.yes) return true;
        if (removals_ > 0 && !folder_.has("site.toml")) {
            const std::string question =
                catalogue_format(catalogue_plural("%1$s has no site.toml, which marks a whole tree. Remove %2$zu login "
                                                  "script that has no file there?",
                                                  "%1$s has no site.toml, which marks a whole tree. Remove %2$zu login "
                                                  "scripts that have no file there?",
                                                  removals_),
                                 options_.operands[0].c_str(), removals_);
            if (!question_ask(question)) return false;
        }
        const size_t all = changes_.size();
        return question_ask(
            catalogue_format(catalogue_plural("Change %zu login script?", "Change %zu login scripts?", all), all));
    }

    void show() const {
        for (const Change &change : changes_) {
            action_show(!change.after    ? Action::remove
                        : !change.before ? Action::add
                                         : Action::change,
                        change.object.name);
            if (options_.verbose && change.after)
                store_show(change.object, change.before, {change.file, *change.after});
        }
        const size_t files = files_.size(), changes = changes_.size();
        store_say(options_, catalogue_format(catalogue_plural("%zu file", "%zu files", files), files) + ", " +
                                catalogue_format(catalogue_plural("%zu login script to be changed",
                                                                  "%zu login scripts to be changed", changes),
                                                 changes));
    }

    // The files themselves: the check says where a mistake is. What is written is what was read before.
    void check() const {
        std::vector<std::string> paths;
        for (const Change &change : changes_)
            if (change.after) paths.push_back(folder_.shown(change.file));
        const std::string refusal = paths.empty() ? "" : check_refusal(paths);
        if (!refusal.empty() && !options_.force) throw Failure(exit_findings, refusal);
        for (const Change &change : changes_) {
            if (change.after && folder_.read(change.file) != *change.after)
                throw Failure(exit_changed, catalogue_format("%s has been changed by somebody else",
                                                             folder_.shown(change.file).c_str()));
        }
    }

    void write() const {
        const InterruptsHeld interrupts;
        size_t written = 0;
        try {
            Progress progress(catalogue_text("Import"), changes_.size());
            for (const Change &change : changes_) {
                if (interrupts.hasCome()) throw Failure(exit_differs, catalogue_text("interrupted"));
                progress.step();
                store_write(session_, options_, change.object, change.before, change.after);
                written++;
            }
        } catch (const Failure &) {
            sayRest(written);
            throw;
        }
        store_say(options_,
                  catalogue_format(catalogue_plural("%zu login script changed", "%zu login scripts changed", written),
                                   written));
    }

    void sayRest(size_t written) const {
        const size_t all = changes_.size();
        store_say(options_,
                  catalogue_format(catalogue_plural("%1$zu of %2$zu login script changed; not changed:",
                                                    "%1$zu of %2$zu login scripts changed; not changed:", all),
                                   written, all));
        for (size_t i = written; i < changes_.size(); i++)
            fprintf(stderr, "  %s\n", terminal_text(changes_[i].object.name).c_str());
    }

    const ObjectOptions &options_;
    const ScriptFolder folder_;
    const TreeSession session_;
    std::map<std::string, ScriptOfObject> scripts_;      // of the tree, by the objects' typed names
    std::map<std::string, const ScriptObject *> byFile_; // those in scripts_; null: several
    std::map<std::string, std::string> files_;           // by the objects' typed names
    std::vector<Change> changes_;
    size_t removals_ = 0; // of them
    bool isUsable_ = true;
};

} // namespace

int command_import(const ObjectOptions &options) {
    return Import(options).run();
}
