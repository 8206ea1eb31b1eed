#include "platform/client/interface/scripts.h"

#include <algorithm>
#include <string_view>

#include "platform/catalogue.h"
#include "platform/client/core/login_check.h"
#include "platform/client/overlay/object_path.h"
#include "platform/client/session/contexts.h"
#include "platform/common/skip.h"

static ScriptObject object_of(EntryPtr entry) {
    ScriptObject object;
    object.name = name_to_dotted(entry->name, false);
    object.typed = name_to_dotted(entry->name, true);
    object.kind = entry->entryClass->base;
    object.isContainer = entry->entryClass->container;
    object.file = object_path(entry->name, object.isContainer);
    object.entry = std::move(entry);
    return object;
}

static Tree &tree_of(uint32_t context) {
    return context_tree(contexts().at(context));
}

ScriptObject script_object(uint32_t context, const std::string &name) {
    const Context &found = contexts().at(context);
    Tree &tree = context_tree(found);
    EntryPtr entry = tree.store->find(tree_meant_name(tree, context_name(found, name.c_str())), Aliases::follow);
    error_unless(entry != nullptr, ZKE_NO_SUCH_ENTRY);
    return object_of(std::move(entry));
}

std::optional<ScriptObject> script_object_of_file(uint32_t context, const std::string &file) {
    Name name;
    bool isContainer = false;
    if (!object_path_parse(file, &name, &isContainer)) return std::nullopt;
    Tree &tree = tree_of(context);
    const auto find = [&]() -> EntryPtr {
        EntryPtr entry = tree.store->find(name, Aliases::keep);
        return entry != nullptr && entry->entryClass->container == isContainer ? entry : nullptr;
    };
    EntryPtr entry = find();
    // A container and another object may differ only in their types.
    for (const char *type : name_usual_types) {
        if (entry != nullptr || name.empty()) break;
        name.front().type = type;
        entry = find();
    }
    return entry == nullptr ? std::nullopt : std::optional(object_of(std::move(entry)));
}

std::optional<std::string> script_file_path(const std::string &file) {
    Name name;
    bool isContainer = false;
    return object_path_parse(file, &name, &isContainer) ? object_path(name, isContainer) : std::nullopt;
}

StoredScript script_read(uint32_t context, const ScriptObject &object) {
    return tree_of(context).store->readScript(*object.entry);
}

void script_write(uint32_t context, const ScriptObject &object, const ScriptText &before, const ScriptText &after) {
    static const size_t limit = schema_find_ldap("qrtLoginScript")->limit;
    if (after && after->size() > limit) throw DataError(catalogue_text("the script is larger than 16 MiB"));
    if (after && after->find('\0') != std::string::npos)
        throw DataError(catalogue_text("the script contains a NUL byte"));
    tree_of(context).store->writeScript(*object.entry, before, after);
}

bool script_is_private(uint32_t context, const ScriptObject &object) {
    return tree_of(context).store->scriptIsPrivate(*object.entry);
}

std::vector<ScriptOfObject> script_list(uint32_t context) {
    std::vector<ScriptOfObject> all;
    for (EntryPtr &entry : tree_of(context).store->scripts()) {
        std::string text = *entry->first("qrtLoginScript");
        all.push_back({object_of(std::move(entry)), std::move(text)});
    }
    return all;
}

bool script_tree_has_servers(uint32_t context) {
    return tree_of(context).config.ldap.hasServers();
}

static bool is_type_character(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-';
}

bool script_name_is_dn(const std::string &name) {
    const auto hasType = [](std::string_view part) {
        const size_t equals = part.find('=');
        return equals != 0 && equals != part.npos &&
               std::all_of(part.begin(), part.begin() + static_cast<std::ptrdiff_t>(equals), is_type_character);
    };
    std::string_view rest = name;
    size_t comma = find_unescaped(rest, ',');
    if (comma == rest.npos) return false;
    for (; comma != rest.npos; comma = find_unescaped(rest, ',')) {
        if (!hasType(rest.substr(0, comma))) return false;
        rest = skip_any(rest.substr(comma + 1), " ");
    }
    return hasType(rest);
}

void script_login_as(uint32_t context, const std::string &dn, const char *password) {
    Tree &tree = tree_of(context);
    Entry named;
    name_parse_dn(dn, {}, &named.name, nullptr);
    // In a file there is nobody but its entries, and the file's own rights say who may write.
    EntryPtr user;
    Name name;
    if (!tree.config.ldap.hasServers() && name_parse_dn(dn, tree.store->base(), &name, nullptr))
        user = tree.store->find(name, Aliases::follow);
    error_unless(tree.config.ldap.hasServers() || user != nullptr, ZKE_NO_SUCH_ENTRY);
    const Verdict verdict =
        user == nullptr ? tree.store->loginAs(dn, password) : login_to_tree(tree.store.get(), &user, password);
    login_require_accepted(verdict, named);
}
