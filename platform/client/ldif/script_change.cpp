#include "platform/client/ldif/script_change.h"

#include <fcntl.h>
#include <cerrno>
#include <cstring>
#include <unordered_map>
#include <utility>

#include "platform/catalogue.h"
#include "platform/client/core/errors.h"
#include "platform/client/core/file_change.h"
#include "platform/client/ldif/reader.h"
#include "platform/client/ldif/rewrite.h"

static constexpr size_t file_limit = size_t{1} << 30; // as the reader's

namespace {

// Where the entry and its script are.
struct Located {
    ScriptText text;
    std::string attribute; // as it is written
    std::string shown;     // the file, for messages
    std::string path;      // of the file with the entry
    std::string source;    // the text of that file
    LdifPlace record = {};
    unsigned line = 0;     // of the script, otherwise of the entry's last attribute
    std::string valueFile; // that has the script
    std::string otherUse;  // the DN of a further entry with a value from there
    bool isTwice = false;  // there is a second script
};

// The values that come from other files: how often each, and the last entry with it.
struct FileUse {
    size_t count = 0;
    std::string first, last; // DNs
};

class Locator {
  public:
    Locator(const LdifFile &file, const Name &name)
        : reader_(file.path, file.shown, file.timeLimit), base_(file.base), key_(name_key(name)), name_(name) {}

    Located locate() {
        LdifRecord record;
        while (reader_.next(&record)) {
            noteFiles(record);
            if (isIt(record)) take(record);
        }
        if (found_.line == 0) throw CodedError(ZKE_NO_SUCH_ENTRY);
        const FileUse &use = uses_[found_.valueFile];
        if (!found_.valueFile.empty() && use.count > 1) found_.otherUse = use.first == dn_ ? use.last : use.first;
        return std::move(found_);
    }

  private:
    bool isIt(const LdifRecord &record) {
        if (!name_view_dn(record.dn, base_, &view_, nullptr)) return false;
        std::string key;
        name_view_key(view_.parts, &key);
        return key == key_ && name_types_agree(name_of_view(view_.parts), name_);
    }

    void noteFile(const std::string &file, const LdifRecord &record) {
        FileUse &use = uses_[file];
        (use.count++ == 0 ? use.first : use.last) = record.dn;
    }

    // What has entries of its own is no script, whatever names it as one.
    void noteFiles(const LdifRecord &record) {
        noteFile(reader_.pathOf(record.place), record);
        for (const LdifAttribute &attribute : record.attributes)
            if (!attribute.file.empty()) noteFile(std::string(attribute.file), record);
    }

    void take(const LdifRecord &record) {
        static const SchemaAttribute *const script = schema_find_ldap("qrtLoginScript");
        dn_ = record.dn;
        found_.attribute = script->ldap;
        found_.shown = record.file;
        found_.path = reader_.pathOf(record.place);
        found_.source = reader_.textOf(record.place);
        found_.record = record.place;
        for (const LdifAttribute &attribute : record.attributes) {
            const bool isScript = schema_find_ldap(attribute.name) == script;
            if (found_.text) {
                found_.isTwice = found_.isTwice || isScript;
                continue;
            }
            found_.line = attribute.line;
            if (!isScript) continue;
            found_.text = std::string(attribute.value);
            found_.attribute = attribute.name;
            found_.valueFile = attribute.file;
        }
    }

    LdifReader reader_;
    const Name &base_;
    std::string key_;
    const Name &name_;
    DnView view_;
    std::string dn_;
    Located found_;
    std::unordered_map<std::string, FileUse> uses_;
};

} // namespace

static std::string place_of(const Located &located) {
    return located.valueFile.empty() ? located.shown + ":" + std::to_string(located.line) : located.valueFile;
}

// Which file is to be changed.
static const std::string &target_of(const Located &located, const ScriptText &after) {
    return located.valueFile.empty() || !after ? located.path : located.valueFile;
}

static void refuse_ambiguous(const Located &located, const Name &name) {
    if (located.isTwice) {
        throw DataError(place_of(located) + ": " +
                        catalogue_format("%s has several login scripts", name_to_dotted(name, true).c_str()));
    }
    if (!located.otherUse.empty()) {
        throw CodedError(ZKE_NO_ACCESS,
                         catalogue_format("%1$s is used by %2$s, too: change the file itself, or give one of them a "
                                          "file of its own",
                                          located.valueFile.c_str(), located.otherUse.c_str()));
    }
}

[[noreturn]] static void refuse_changed(const Located &located) {
    throw CodedError(ZKE_SCRIPT_CHANGED,
                     catalogue_format("%s has been changed by somebody else", place_of(located).c_str()));
}

StoredScript ldif_script_read(const LdifFile &file, const Name &name) {
    const Located located = Locator(file, name).locate();
    StoredScript script;
    script.text = located.text;
    script.place = place_of(located);
    return script;
}

static std::string rewritten(const Located &located, const ScriptText &after) {
    LdifChange change = {};
    change.record = located.record.at;
    change.line = located.record.line;
    change.attributeLine = located.line;
    change.isFurther = !located.text;
    change.attribute = located.attribute;
    change.value = after;
    return ldif_rewritten(located.source, change);
}

void ldif_script_write(const LdifFile &file, const Name &name, const ScriptText &before, const ScriptText &after) {
    const Located seen = Locator(file, name).locate();
    if (seen.text != before) refuse_changed(seen);
    if (before == after) return;
    refuse_ambiguous(seen, name);
    const std::string target = target_of(seen, after);
    const size_t slash = target.rfind('/');
    const Descriptor folder(open(target.substr(0, slash + 1).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder.number < 0) throw DataError(catalogue_format("cannot open %1$s: %2$s", target.c_str(), strerror(errno)));
    FileChange change(folder, target.substr(slash + 1), target, file_limit);
    // Now that nobody else is changing it: is everything still where it was?
    const Located now = Locator(file, name).locate();
    if (now.text != before || target_of(now, after) != target) refuse_changed(now);
    refuse_ambiguous(now, name);
    if (target == now.path && change.text() != now.source) refuse_changed(now);
    if (target != now.path && change.text() != *before) refuse_changed(now);
    change.replace(target == now.path ? rewritten(now, after) : *after);
}
