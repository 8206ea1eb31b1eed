#include "platform/client/overlay/script_files.h"

#include <utility>

#include "platform/catalogue.h"
#include "platform/client/core/errors.h"
#include "platform/client/core/schema.h"
#include "platform/client/core/values.h"
#include "platform/client/overlay/object_path.h"

static bool ends_with(std::string_view text, std::string_view end) {
    return text.size() >= end.size() && equal_nocase(text.substr(text.size() - end.size()), end);
}

// Of names that begin with "_" only that of the folder's own script means anything; the others are left to the site.
const ScriptFiles::Listed &ScriptFiles::listed(const std::string &folder) {
    if (const auto known = listed_.find(folder); known != listed_.end()) return known->second;
    Listed found;
    for (const SiteItem &there : folder_.items(folder)) {
        const bool isScript = there.mayBeFile && ends_with(there.name, object_path_end);
        if (isScript && equal_nocase(there.name, object_path_container)) found.own.push_back(there.name);
        if (there.name.front() == '_' || (!isScript && !there.mayBeFolder)) continue;
        std::string_view component = there.name;
        if (isScript) component.remove_suffix(object_path_end.size());
        std::string value;
        if (!object_path_component(component, &value)) {
            throw DataError(folder_.shown(folder + there.name) + ": " +
                            catalogue_text("\"%\" in a name must be followed by two hexadecimal digits"));
        }
        (isScript ? found.scripts : found.folders)[object_path_key(value)].push_back(there.name);
    }
    return listed_.emplace(folder, std::move(found)).first->second;
}

const std::string *ScriptFiles::one(const std::string &folder, const std::vector<std::string> &items) const {
    if (items.empty()) return nullptr;
    if (items.size() > 1) {
        throw DataError(catalogue_format("%1$s and %2$s stand for the same object",
                                         folder_.shown(folder + items[0]).c_str(),
                                         folder_.shown(folder + items[1]).c_str()));
    }
    return &items.front();
}

const std::string *ScriptFiles::item(const std::string &folder, const Items &items, const std::string &value) const {
    const auto found = items.find(object_path_key(value));
    return found == items.end() ? nullptr : one(folder, found->second);
}

std::optional<std::string> ScriptFiles::path(const Name &name, bool isContainer) {
    std::string folder;
    for (size_t i = name.size(); i-- > (isContainer ? 0 : 1);) {
        const std::string *below = item(folder, listed(folder).folders, name[i].value);
        if (below == nullptr) return std::nullopt;
        folder += *below + "/";
    }
    const Listed &last = listed(folder);
    const std::string *file = isContainer ? one(folder, last.own) : item(folder, last.scripts, name.front().value);
    return file == nullptr ? std::nullopt : std::optional(folder + *file);
}

std::optional<std::string> ScriptFiles::newPath(const Name &name, bool isContainer) {
    std::optional<std::string> left = object_path(name, isContainer);
    if (!left) return std::nullopt;
    std::string folder;
    for (size_t i = name.size(); i-- > (isContainer ? 0 : 1);) {
        const std::string *below = item(folder, listed(folder).folders, name[i].value);
        if (below == nullptr) break;
        folder += *below + "/";
        left->erase(0, left->find('/') + 1);
    }
    return folder + *left;
}

ScriptFiles::Values ScriptFiles::values(const Name &container) {
    std::string folder;
    for (size_t i = container.size(); i-- > 0;) {
        const std::string *below = item(folder, listed(folder).folders, container[i].value);
        if (below == nullptr) return {};
        folder += *below + "/";
    }
    Values found;
    std::string value;
    for (const auto &[key, items] : listed(folder).folders)
        if (object_path_component(items.front(), &value)) found.folders.push_back(value);
    for (const auto &[key, items] : listed(folder).scripts) {
        const std::string_view file = items.front();
        if (object_path_component(file.substr(0, file.size() - object_path_end.size()), &value))
            found.scripts.push_back(value);
    }
    return found;
}

const ScriptFile *ScriptFiles::script(const Name &name, bool isContainer) {
    if (name.empty() && !isContainer) return nullptr;
    auto &known = scripts_[isContainer ? 1 : 0];
    const std::string key = name_key(name);
    auto found = known.find(key);
    if (found == known.end()) {
        static const size_t limit = schema_find_ldap("qrtLoginScript")->limit;
        std::optional<ScriptFile> made;
        if (const std::optional<std::string> file = path(name, isContainer)) {
            made = {*file, folder_.shown(*file), folder_.read(*file, limit)};
            if (made->text.find('\0') != std::string::npos)
                throw DataError(made->shown + ": " + catalogue_text("the file contains a NUL byte"));
        }
        found = known.emplace(key, std::move(made)).first;
    }
    return found->second ? &*found->second : nullptr;
}
