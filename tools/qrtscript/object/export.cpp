#include <cstdio>
#include <map>

#include "platform/catalogue.h"
#include "tools/qrtscript/object/action.h"
#include "tools/qrtscript/object/commands.h"
#include "tools/qrtscript/object/question.h"
#include "tools/qrtscript/object/script_folder.h"
#include "tools/qrtscript/object/store.h"

namespace {

class Export {
  public:
    explicit Export(const ObjectOptions &options)
        : options_(options), session_(options), folder_(options.operands[0], ScriptFolder::Missing::made) {
        const ScriptFolder::Contents contents = folder_.contents();
        for (const std::string &file : contents.files)
            if (const std::optional<std::string> path = script_file_path(file)) take(*path, file);
        const std::string own = "_container.qrt";
        for (const std::string &folder : contents.folders) {
            const std::optional<std::string> path = script_file_path(folder + own);
            if (path) folders_[path->substr(0, path->size() - own.size())].push_back(folder);
        }
    }

    int run() {
        takeScripts();
        findStale();
        if (scripts_.empty() && session_.isAnonymous())
            store_say(options_, catalogue_text("the tree shows no login script without a login: --as logs in"));
        refuseToPruneAll();
        if (!options_.dryRun && !folder_.has("site.toml")) folder_.write("site.toml", "version = 1\n", false);
        writeScripts();
        prune();
        return isWhole_ ? exit_done : exit_not_created;
    }

  private:
    void take(const std::string &path, const std::string &file) {
        const auto [other, isFirst] = there_.emplace(path, file);
        if (!isFirst) throw ambiguous(other->second, file);
    }

    Failure ambiguous(const std::string &one, const std::string &other) const {
        return Failure(exit_no_script, catalogue_format("%1$s and %2$s stand for the same object",
                                                        folder_.shown(one).c_str(), folder_.shown(other).c_str()));
    }

    // The path as the folders on the way are spelled. Of two that stand for one object a login could not say which one
    // counts.
    std::string place(const std::string &path) const {
        std::string there;
        size_t taken = 0;
        for (size_t end = path.find('/'); end != path.npos; end = path.find('/', end + 1)) {
            const auto found = folders_.find(path.substr(0, end + 1));
            if (found == folders_.end()) break;
            if (found->second.size() > 1) throw ambiguous(found->second[0], found->second[1]);
            there = found->second.front();
            taken = end + 1;
        }
        return there + path.substr(taken);
    }

    // Of two objects whose names differ only in their types nobody could say whose the file is.
    void takeScripts() {
        for (const ScriptOfObject &one : session_.list()) {
            if (!one.object.file) {
                store_say(options_, catalogue_format("no file can have the name of %s", one.object.typed.c_str()));
                isWhole_ = false;
                continue;
            }
            const auto [other, isFirst] = scripts_.emplace(*one.object.file, one);
            if (!isFirst) {
                throw Failure(exit_not_created, catalogue_format("%1$s and %2$s would have the same file, %3$s",
                                                                 other->second.object.typed.c_str(),
                                                                 one.object.typed.c_str(), other->first.c_str()));
            }
        }
    }

    void writeScripts() {
        size_t written = 0;
        Progress progress(catalogue_text("Export"), scripts_.size());
        for (const auto &[path, one] : scripts_) {
            const auto there = there_.find(path);
            const bool isNew = there == there_.end();
            const std::string placed = place(path), &file = isNew ? placed : there->second;
            progress.step();
            if (!isNew && folder_.read(file) == one.text) continue;
            if (!options_.dryRun) folder_.write(file, one.text, session_.isPrivate(one.object));
            progress.clear();
            action_show(isNew ? Action::add : Action::change, file);
            written++;
        }
        progress.clear();
        if (written > 0 && !options_.dryRun) folder_.sync();
        const size_t all = scripts_.size();
        store_say(options_,
                  catalogue_format(options_.dryRun ? catalogue_plural("%1$zu login script, %2$zu to be written",
                                                                      "%1$zu login scripts, %2$zu to be written", all)
                                                   : catalogue_plural("%1$zu login script, %2$zu written",
                                                                      "%1$zu login scripts, %2$zu written", all),
                                   all, written));
    }

    void findStale() {
        for (const auto &[path, file] : there_)
            if (scripts_.count(path) == 0) stale_.push_back(file);
    }

    // Whoever may read too little, or names another tree's folder, sees a tree without the scripts of the files.
    bool wouldPruneAll() const { return options_.prune && !stale_.empty() && stale_.size() == there_.size(); }

    void refuseToPruneAll() const {
        if (!wouldPruneAll() || !options_.yes || options_.force) return;
        const size_t all = stale_.size();
        throw Failure(exit_no_script,
                      catalogue_format(catalogue_plural("the tree has no script for any file of %1$s: --prune would "
                                                        "remove %2$zu file, all that are there; --force does it",
                                                        "the tree has no script for any file of %1$s: --prune would "
                                                        "remove %2$zu files, all that are there; --force does it",
                                                        all),
                                       options_.operands[0].c_str(), all));
    }

    bool isPruningAgreedTo() const {
        if (options_.yes) return true;
        const size_t all = stale_.size();
        return question_ask(
            wouldPruneAll() ? catalogue_format(catalogue_plural("The tree has no script for any file of %1$s. "
                                                                "Remove %2$zu file, all that are there?",
                                                                "The tree has no script for any file of %1$s. "
                                                                "Remove %2$zu files, all that are there?",
                                                                all),
                                               options_.operands[0].c_str(), all)
                            : catalogue_format(catalogue_plural("Remove %zu file?", "Remove %zu files?", all), all));
    }

    void prune() {
        if (stale_.empty()) return;
        for (const std::string &file : stale_) action_show(options_.prune ? Action::remove : Action::stale, file);
        if (!options_.prune) {
            store_say(options_, catalogue_text("the tree has no script for the stale files; --prune removes them"));
            return;
        }
        if (options_.dryRun || !isPruningAgreedTo()) return;
        for (const std::string &file : stale_) folder_.remove(file);
    }

    const ObjectOptions &options_;
    const TreeSession session_;
    const ScriptFolder folder_;
    std::map<std::string, std::string> there_;                // the files by the paths that would be written
    std::map<std::string, std::vector<std::string>> folders_; // likewise
    std::map<std::string, ScriptOfObject> scripts_;
    std::vector<std::string> stale_; // files that no script of the tree has
    bool isWhole_ = true;
};

} // namespace

int command_export(const ObjectOptions &options) {
    return Export(options).run();
}
