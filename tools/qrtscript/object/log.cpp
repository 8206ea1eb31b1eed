#include <algorithm>
#include <cstdio>
#include <map>

#include "platform/catalogue.h"
#include "tools/qrtscript/object/backup.h"
#include "tools/qrtscript/object/commands.h"
#include "tools/qrtscript/object/program.h"
#include "tools/qrtscript/object/store.h"

// "20261123033201Z" and "20261123T033201.123456Z" as 2026-11-23T03:32:01Z; anything else as it is.
static std::string time_shown(const std::string &text) {
    std::string digits;
    for (const char c : text) {
        if (c == '.' || c == 'Z') break;
        if (c >= '0' && c <= '9') digits += c;
    }
    constexpr size_t all = 14;
    if (digits.size() != all || text.back() != 'Z') return text;
    const auto part = [&digits](size_t at, size_t length) { return digits.substr(at, length); };
    return part(0, 4) + "-" + part(4, 2) + "-" + part(6, 2) + "T" + part(8, 2) + ":" + part(10, 2) + ":" + part(12, 2) +
           "Z";
}

static std::string time_of(const std::string &path) {
    return time_shown(path.substr(path.find(".qrt.") == path.npos ? 0 : path.rfind(".qrt.") + 5));
}

// Which commit has brought each file, and whose it is.
static std::map<std::string, std::string> commits(const std::string &folder) {
    const ProgramRun run = program_run({"git", "-C", folder, "-c", "core.quotePath=false", "log", "--relative",
                                        "--diff-filter=A", "--name-only", "--format=%x01%h %an"},
                                       ProgramOutput::taken);
    std::map<std::string, std::string> found;
    std::string commit;
    for (size_t start = 0; run.status == 0 && start < run.output.size();) {
        const size_t end = std::min(run.output.find('\n', start), run.output.size());
        const std::string line = run.output.substr(start, end - start);
        if (!line.empty() && line.front() == '\x01')
            commit = line.substr(1);
        else if (!line.empty())
            found.emplace(line, commit);
        start = end + 1;
    }
    return found;
}

static void put(const std::string &line) {
    printf("%s\n", terminal_text(line).c_str());
}

int command_log(const ObjectOptions &options) {
    const TreeSession session(options);
    const ScriptObject object = session.object(options.operands[0]);
    const StoredScript stored = session.read(object);
    store_tell(options, object, stored);
    if (!stored.changed.empty()) {
        put(catalogue_format("%1$s  the object was changed by %2$s", time_shown(stored.changed).c_str(),
                             stored.changedBy.empty() ? "?" : stored.changedBy.c_str()));
    }
    std::vector<std::string> kept;
    if (options.backup) kept = backup_list(*options.backup, session.tree(), object);
    if (stored.changed.empty() && kept.empty())
        store_say(options, catalogue_format("nothing is known about the login script of %s", object.name.c_str()));
    std::map<std::string, std::string> known;
    if (!kept.empty() && backup_has_git(*options.backup)) known = commits(*options.backup);
    NamedText newer = store_named(object, stored.text);
    for (const std::string &path : kept) {
        const auto commit = known.find(path);
        put(catalogue_format("%1$s  replaced; the former script is in %2$s", time_of(path).c_str(), path.c_str()) +
            (commit == known.end() ? "" : " (" + commit->second + ")"));
        if (!options.verbose) continue;
        NamedText older = {path, text_of_file(*options.backup + "/" + path)};
        difference_show(difference(older, newer));
        newer = std::move(older);
    }
    return exit_done;
}
