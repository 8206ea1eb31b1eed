#include "tools/qrtscript/object/check.h"

#include <algorithm>

#include "platform/catalogue.h"
#include "tools/own_folder.h"
#include "tools/qrtscript/object/private_folder.h"
#include "tools/qrtscript/object/program.h"

static constexpr int check_clean = 0;
static constexpr int check_found = 1;
static constexpr size_t files_at_a_time = 200;

// With --for-object as the option is to be given.
static std::string refusal_of(const std::string &forObject, const std::vector<std::string> &files) {
    bool hasErrors = false;
    for (size_t start = 0; start < files.size(); start += files_at_a_time) {
        // Neither the script nor settings beside it decide whether it may be written.
        std::vector<std::string> words = {
            own_folder() + "/qrtscript-check", "check", "--severity", "error", "--no-ignore", forObject, "--"};
        const size_t end = std::min(files.size(), start + files_at_a_time);
        for (size_t file = start; file < end; file++) words.push_back(files[file]);
        const int status = program_run(words, ProgramOutput::shown).status;
        if (status != check_clean && status != check_found)
            return catalogue_text("the script could not be checked; --force writes it all the same");
        hasErrors = hasErrors || status == check_found;
    }
    return hasErrors ? catalogue_text("the script has errors; --force writes it all the same") : "";
}

std::string check_refusal(const std::vector<std::string> &files) {
    return refusal_of("--for-object", files);
}

std::string check_refusal_named(const std::string &name, const std::string &file) {
    return refusal_of("--for-object=" + name, {file});
}

std::string check_refusal_of(const std::string &name, const std::string &text) {
    const PrivateFolder folder;
    return check_refusal_named(name, folder.write("script", text));
}
