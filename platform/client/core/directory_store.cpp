#include "platform/client/core/directory_store.h"

#include "platform/catalogue.h"
#include "platform/client/core/errors.h"
#include "platform/client/core/values.h"

const std::string *Entry::first(std::string_view ldap) const {
    const SchemaAttribute *attribute = schema_find_ldap(ldap);
    for (const EntryValue &value : values)
        if (value.attribute == attribute) return &value.text;
    return nullptr;
}

// What was typed need not be the user's name: a context is no help then, and who has not logged in learns no names.
static CodedError ambiguous(const std::string &typed, const std::string &places, const Name &first) {
    if (first.empty() || !equal_nocase(first.front().value, typed))
        return CodedError(ZKE_AMBIGUOUS_NAME,
                          catalogue_format("%1$s is the name of several users; add one of the contexts: %2$s",
                                           typed.c_str(), places.c_str()));
    return CodedError(
        ZKE_AMBIGUOUS_NAME,
        catalogue_format("%1$s is the name of several users; add one of the contexts, for example %2$s: %3$s",
                         typed.c_str(), name_to_dotted(first, false).c_str(), places.c_str()));
}

EntryPtr entry_only_user(const std::string &typed, const std::vector<EntryPtr> &found) {
    if (found.size() < 2) return found.empty() ? nullptr : found.front();
    constexpr size_t most = 5; // to name: whoever asks has not logged in yet
    std::string places;
    for (size_t i = 0; i < found.size() && i < most; i++)
        places += (i == 0 ? "" : ", ") + name_to_dotted(name_above(found[i]->name, 1), false);
    if (found.size() > most) places += ", ...";
    throw ambiguous(typed, places, found.front()->name);
}

std::vector<Name> DirectoryStore::missing(const Name &, const std::vector<Name> &names) {
    std::vector<Name> absent;
    for (const Name &name : names)
        if (find(name, Aliases::keep) == nullptr) absent.push_back(name);
    return absent;
}

EntryPtr DirectoryStore::findUser(const LoginName &name) {
    const auto named = [&] {
        return name.attribute.empty() ? nullptr : entry_only_user(name.attribute, usersNamed(name.attribute));
    };
    EntryPtr found = name.attributeFirst ? named() : nullptr;
    for (size_t i = 0; i < name.objects.size() && found == nullptr; i++) found = find(name.objects[i], Aliases::follow);
    return found == nullptr && !name.attributeFirst ? named() : found;
}

std::string entry_common_name(const Entry &entry) {
    if (!entry.name.empty() && entry.name.front().type == "cn") return entry.name.front().value;
    const std::string *common = entry.first("cn");
    return common == nullptr ? "" : *common;
}

bool entry_is_server(const Entry &entry, std::string_view name) {
    return entry.isClass("Server") && (name.empty() || equal_nocase(entry_common_name(entry), name));
}

bool entry_is_volume(const Entry &entry, const Entry &server, std::string_view volume, const Name &base) {
    const std::string *name = entry.first("qrtHostResourceName");
    const std::string *host = entry.first("qrtHostServer");
    return entry.isClass("Volume") && name != nullptr && host != nullptr && equal_nocase(*name, volume) &&
           name_equal(value_parse(schema_dn, *host, base).name, server.name);
}

bool entry_is_of_site(const Entry &entry) {
    return entry.isClass("Server") || entry.isClass("Volume") || entry.isClass("Directory Map");
}
