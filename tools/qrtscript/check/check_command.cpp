#include "tools/qrtscript/check/check_command.h"

#include <unistd.h>
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <stdexcept>
#include <system_error>

#include "platform/catalogue.h"
#include "platform/terminal_text.h"
#include "tools/qrtscript/check/baseline.h"
#include "tools/qrtscript/check/diff_output.h"
#include "tools/qrtscript/check/fixes.h"
#include "tools/qrtscript/check/options.h"
#include "tools/qrtscript/check/rewrite.h"
#include "tools/qrtscript/check/selection.h"
#include "tools/qrtscript/unified_diff.h"

namespace fs = std::filesystem;

namespace {

class Checker {
  public:
    explicit Checker(CheckOptions options) : options_(std::move(options)) {}
    int run();

  private:
    bool readBaseline();
    bool mayWriteBaseline();
    void checkInput(const std::string &input);
    std::string objectName(const std::string &input) const;
    bool checkObject(const std::string &input);
    void checkScript(const FoundScript &file, const std::function<std::string()> &read);
    CheckedScript checked(const std::string &name, const std::string &text);
    bool isExcluded(const std::string &name);
    void fix(CheckedScript *script, const FoundScript &file);
    void report() const;
    int writeBaseline() const;
    void fail(const std::string &problem);

    const CheckOptions options_;
    std::optional<CheckDirectory> directory_;
    SettingsFiles settings_;
    std::optional<Baseline> baseline_;
    std::string oldBaseline_; // the text that --write-baseline replaces
    CheckResult result_;
    std::string differences_;
};

} // namespace

static void complain(const std::string &problem) {
    fprintf(stderr, "qrtscript check: %s\n", terminal_text(problem).c_str());
}

void Checker::fail(const std::string &problem) {
    // One settings file is read for many scripts.
    if (std::count(result_.problems.begin(), result_.problems.end(), problem) > 0) return;
    complain(problem);
    result_.problems.push_back(problem);
}

bool Checker::readBaseline() {
    if (options_.baseline.empty()) return true;
    try {
        baseline_.emplace(options_.baseline);
        baseline_->read(script_text(options_.baseline));
        return true;
    } catch (const BaselineError &error) {
        complain(options_.baseline + ": " + error.what());
    } catch (const std::runtime_error &error) {
        complain(error.what());
    }
    return false;
}

// A file name is easily forgotten, and the first script would then be taken for the baseline.
bool Checker::mayWriteBaseline() {
    const std::string &path = options_.writeBaseline;
    std::error_code error;
    if (path.empty() || !fs::exists(path, error)) return true;
    try {
        oldBaseline_ = script_text(path);
        if (!oldBaseline_.empty()) Baseline(path).read(oldBaseline_);
        return true;
    } catch (const BaselineError &problem) {
        complain(catalogue_format("%1$s is not replaced: %2$s", path.c_str(), problem.what()));
    } catch (const std::runtime_error &problem) {
        complain(problem.what());
    }
    return false;
}

CheckedScript Checker::checked(const std::string &name, const std::string &text) {
    const Settings settings = options_.noIgnore ? Settings() : settings_.ofScript(name);
    CheckedScript script = script_checked(name, syntax_read(text), settings, {options_.severity, options_.noIgnore},
                                          directory_ ? &*directory_ : nullptr);
    if (baseline_) baseline_->hide(&script);
    return script;
}

// Found in a folder: by the settings of the folder that it stands in.
bool Checker::isExcluded(const std::string &name) {
    if (options_.noIgnore) return false;
    const Settings &settings = settings_.ofScript(name);
    return !settings.excluded.empty() && settings_exclude(settings, settings_path(settings, name));
}

void Checker::fix(CheckedScript *script, const FoundScript &file) {
    const auto check = [&](const std::string &text) { return checked(script->name, text).findings; };
    FixedText fixed = text_fixed(script->text, check);
    if (fixed.count == 0) return;
    if (options_.diff) {
        differences_ += unified_diff({script->name, script->text}, {script->name, fixed.text});
        return;
    }
    if (file.isLink)
        return fail(catalogue_format("%s: not written: it is a symbolic link in a folder", file.name.c_str()));
    file_rewrite(script->name, script->text, fixed.text);
    fprintf(stderr, "qrtscript check: %s\n",
            catalogue_format(
                catalogue_plural("%1$s: %2$zu finding put right", "%1$s: %2$zu findings put right", fixed.count),
                terminal_text(script->name).c_str(), fixed.count)
                .c_str());
    *script = checked(script->name, fixed.text);
}

void Checker::checkScript(const FoundScript &file, const std::function<std::string()> &read) {
    try {
        CheckedScript script = checked(file.name, read());
        if (options_.fix || options_.diff) fix(&script, file);
        if (!options_.objectName.empty()) script.name = options_.objectName;
        result_.scripts.push_back(std::move(script));
    } catch (const std::runtime_error &error) { // of the file, the settings or the directory
        fail(error.what());
    }
}

// The other subcommands' names of objects are complete ones without --context; --user is for the names in scripts, and
// those in the user's container are understood as well.
std::string Checker::objectName(const std::string &input) const {
    const bool isComplete = input.empty() || input.front() == '.' || !options_.directory.user;
    return !isComplete && directory_->classOf("." + input) ? "." + input : input;
}

// What is no file may be an object, whose script the directory has.
bool Checker::checkObject(const std::string &input) {
    if (!directory_ || input == "-" || access(input.c_str(), F_OK) == 0) return false;
    try {
        const std::string name = objectName(input);
        const std::optional<std::string> text = directory_->scriptOf(name);
        if (text)
            checkScript({input, input}, [&] { return *text; });
        else if (directory_->classOf(name))
            fail(catalogue_format("%s has no login script", input.c_str()));
        else
            fail(catalogue_format("%s: no such file or object", input.c_str()));
    } catch (const std::runtime_error &error) {
        fail(error.what());
    }
    return true;
}

void Checker::checkInput(const std::string &input) {
    if (checkObject(input)) return;
    Problems problems;
    const auto excluded = [&](const std::string &name) {
        try {
            return isExcluded(name);
        } catch (const SettingsError &error) {
            problems.emplace_back(error.what());
            return true;
        }
    };
    const auto filesOf = options_.fix && !options_.diff ? script_files_to_rewrite : script_files;
    const std::vector<FoundScript> files = filesOf(input, excluded, &problems);
    for (const std::string &problem : problems) fail(problem);
    // What a login reads behind the script of each object.
    const char *const end = options_.forObject ? "\r\n" : "";
    for (const FoundScript &file : files) checkScript(file, [&] { return script_text(file.path) + end; });
}

int Checker::writeBaseline() const {
    if (!result_.problems.empty()) return check_impossible; // it would lack something
    const std::string &path = options_.writeBaseline;
    Baseline baseline(path);
    for (const CheckedScript &script : result_.scripts) {
        std::error_code error;
        if (fs::equivalent(script.name, path, error) && !error) {
            complain(catalogue_format("%s is not replaced: it is one of the scripts", path.c_str()));
            return check_impossible;
        }
        baseline.add(script);
    }
    file_write(path, oldBaseline_, baseline.json());
    const size_t count = baseline.count();
    fprintf(stderr, "qrtscript check: %s\n",
            catalogue_format(catalogue_plural("%1$s: %2$zu finding written", "%1$s: %2$zu findings written", count),
                             terminal_text(path).c_str(), count)
                .c_str());
    return check_clean;
}

void Checker::report() const {
    const std::string text = options_.diff ? diff_for_output(differences_, options_.colour)
                                           : ::report(result_, options_.format, colour_wanted(options_.colour));
    fwrite(text.data(), 1, text.size(), stdout);
}

int Checker::run() {
    if (!readBaseline() || !mayWriteBaseline()) return check_impossible;
    if (options_.hasDirectory) directory_.emplace(options_.directory);
    for (const std::string &input : options_.inputs) checkInput(input);
    if (!options_.writeBaseline.empty()) return writeBaseline();
    report();
    if (!result_.problems.empty()) return check_impossible;
    for (const CheckedScript &script : result_.scripts)
        if (!script.findings.empty()) return check_found;
    return check_clean;
}

int check_command(int argc, char **argv) {
    return Checker(check_options(argc, argv)).run();
}
