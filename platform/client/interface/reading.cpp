// Reading objects: from an entry of the directory to the reply that a program takes apart.
#include <algorithm>
#include <cstring>
#include <unordered_set>

#include "platform/client/core/plain_values.h"
#include "platform/client/interface/answers.h"
#include "platform/client/interface/boundary.h"
#include "platform/client/interface/buffers.h"
#include "platform/client/session/contexts.h"

static constexpr uint32_t object_is_alias = 1;
static constexpr uint32_t object_is_container = 4;

// An attribute of the user by the directory's own name for it.
static const OtherAttribute *other_attribute(const Tree &tree, const Entry &entry, std::string_view name) {
    const bool isUser = tree.identity != nullptr && name_equal(tree.identity->name, entry.name);
    return isUser && tree.config.allAttributes ? tree.store->otherAttribute(entry, name) : nullptr;
}

// The rows of the schema that a request asks for; names that the schema does not know are left out, but for those of
// other attributes of `entry`, where one is given.
static std::vector<const SchemaAttribute *> requested(const ZKDSBuffer *request, bool all, const Tree *tree = nullptr,
                                                      const Entry *entry = nullptr) {
    std::vector<const SchemaAttribute *> rows;
    if (all) {
        for (const SchemaAttribute &row : schema_attributes())
            if (row.name != nullptr) rows.push_back(&row);
        return rows;
    }
    for (const std::string &name : request->names) {
        const SchemaAttribute *row = schema_find(name);
        const OtherAttribute *other =
            row == nullptr && tree != nullptr ? other_attribute(*tree, *entry, name) : nullptr;
        if (other != nullptr) row = other->row;
        if (row != nullptr) rows.push_back(row);
    }
    return rows;
}

// Each group as one of the user's own container, unless an object there has its name: scripts that name a group without
// a context mean one there, while the groups of many directories are all in one place.
static std::vector<Name> flat_groups(DirectoryStore *store, const Entry &user, const std::vector<Name> &groups) {
    if (user.name.empty()) return {};
    const Name container = name_above(user.name, 1);
    std::vector<Name> flat;
    for (const Name &group : groups) {
        if (group.empty() || name_equal(name_above(group, 1), container)) continue;
        Name name = container;
        name.insert(name.begin(), group.front());
        flat.push_back(std::move(name));
    }
    return store->missing(container, flat);
}

// The groups that name the user as a member, besides those that the user's own entry lists.
static void add_groups(const Tree &tree, const Entry &entry, const NameForm &form, std::vector<Value> *values) {
    std::vector<Name> groups = tree.store->groupsOf(entry);
    if (tree.config.flatGroups) {
        std::vector<Name> all = groups;
        for (const Value &value : *values) all.push_back(value.name);
        for (Name &flat : flat_groups(tree.store.get(), entry, all)) groups.push_back(std::move(flat));
    }
    std::unordered_set<std::string> listed; // a user may be in thousands
    for (const Value &value : *values) listed.insert(name_fold(name_to_dotted(value.name, true)));
    // The store names each group once.
    bool mayRepeat = !listed.empty() || tree.config.flatGroups;
    values->reserve(values->size() + groups.size());
    for (const Name &group : groups) {
        if (!mayRepeat || listed.insert(name_fold(name_to_dotted(group, true))).second) {
            Value value;
            value.text = name_in_form(group, form);
            values->push_back(std::move(value));
        }
    }
}

// Is it of the client's own schema?
static bool is_own(const SchemaAttribute &row) {
    return schema_find_ldap(row.ldap) == &row;
}

static Value convert(const EntryValue &from, const Name &base) {
    if (strcmp(from.attribute->ldap, "objectClass") == 0) {
        Value value;
        value.text = schema_class_name(from.text);
        return value;
    }
    return value_parse(from.attribute->syntax, from.text, base);
}

// The tree may call an object otherwise than its DN does.
static void take_own_names(DirectoryStore *store, std::vector<Value> *values) {
    std::vector<Name> names;
    for (const Value &value : *values) names.push_back(value.name);
    names = store->ownNames(std::move(names));
    for (size_t i = 0; i < names.size(); i++) (*values)[i].name = std::move(names[i]);
}

// A value that is not handed out counts as not there, and an attribute without any other value too.
static ReplyAttribute collect(const Tree &tree, const Entry &entry, const SchemaAttribute *row, const NameForm &form) {
    ReplyAttribute reply = {row, {}};
    for (const EntryValue &value : entry.values)
        if (value.attribute == row) reply.values.push_back(convert(value, tree.store->base()));
    if (const OtherAttribute *other = is_own(*row) ? nullptr : other_attribute(tree, entry, row->ldap))
        for (const std::string &value : other->values)
            reply.values.push_back(convert({row, value}, tree.store->base()));
    const bool areGroups = strcmp(row->ldap, "memberOf") == 0;
    if (row->syntax == schema_dn && !areGroups) take_own_names(tree.store.get(), &reply.values);
    for (Value &value : reply.values) value_put_names(row->syntax, form, &value);
    if (areGroups) add_groups(tree, entry, form, &reply.values);
    auto isHeldBack = [&](const Value &value) { return !value_is_handed_out(tree.config, entry, *row, value); };
    reply.values.erase(std::remove_if(reply.values.begin(), reply.values.end(), isHeldBack), reply.values.end());
    return reply;
}

// A user may be in thousands of groups, which take many replies: they are put together once. The rest says which read
// it is the answer to.
struct ReadAnswer {
    EntryPtr entry;
    NameForm form;
    std::vector<const SchemaAttribute *> rows;
    uint32_t infoType;
    std::vector<ReplyAttribute> attributes;
};

static bool is_same_form(const NameForm &a, const NameForm &b) {
    const auto same = [](const NamePart &one, const NamePart &other) {
        return one.type == other.type && one.value == other.value;
    };
    return a.typed == b.typed && a.complete == b.complete &&
           std::equal(a.context.begin(), a.context.end(), b.context.begin(), b.context.end(), same);
}

static bool is_answer_to(const ReadAnswer &answer, const ReadAnswer &read) {
    return answer.entry == read.entry && is_same_form(answer.form, read.form) && answer.rows == read.rows &&
           answer.infoType == read.infoType;
}

static void put_together(const Tree &tree, ReadAnswer *answer) {
    for (const SchemaAttribute *row : answer->rows) {
        ReplyAttribute attribute = collect(tree, *answer->entry, row, answer->form);
        if (attribute.values.empty()) continue;
        if (answer->infoType == ZK_INFO_NAMES) attribute.values.clear();
        answer->attributes.push_back(std::move(attribute));
    }
}

static void check_buffers(const ZKDSBuffer *request, uint32_t allAttributes, const int32_t *iteration,
                          const ZKDSBuffer *reply, uint32_t infoType) {
    error_unless(iteration != nullptr && reply != nullptr && (request != nullptr || allAttributes != 0) &&
                     request != reply && (infoType == ZK_INFO_NAMES || infoType == ZK_INFO_NAMES_AND_VALUES),
                 ZKE_BAD_PARAMETER);
    error_unless(buffer_is_open(reply) && (request == nullptr || buffer_is_open(request)), ZKE_BAD_HANDLE);
}

uint32_t ZKDSRead(uint32_t context, const char *object, uint32_t infoType, uint32_t allAttributes, ZKDSBuffer *request,
                  int32_t *iteration, ZKDSBuffer *reply) {
    return guarded([&] {
        check_buffers(request, allAttributes, iteration, reply, infoType);
        error_unless(object != nullptr, ZKE_BAD_PARAMETER);
        Context &found = contexts().at(context);
        auto answer = std::make_shared<ReadAnswer>();
        answer->entry = context_read(&found, object);
        answer->form = context_form(found);
        answer->rows = requested(request, allAttributes != 0, &context_tree(found), answer->entry.get());
        answer->infoType = infoType;
        if (*iteration <= 0 || reply->answer == nullptr || !is_answer_to(*reply->answer, *answer)) {
            put_together(context_tree(found), answer.get());
            reply->answer = std::move(answer);
        }
        const std::vector<ReplyAttribute> &attributes = reply->answer->attributes;
        error_unless(!attributes.empty() || allAttributes != 0, ZKE_NO_SUCH_ATTRIBUTE);
        buffer_fill(reply, attributes, iteration);
        if (*iteration == ZK_NO_MORE_ITERATIONS) reply->answer.reset();
    });
}

uint32_t ZKDSReadAttrDef(uint32_t context, uint32_t infoType, uint32_t allAttributes, ZKDSBuffer *request,
                         int32_t *iteration, ZKDSBuffer *reply) {
    return guarded([&] {
        contexts().at(context);
        check_buffers(request, allAttributes, iteration, reply, infoType);
        std::vector<ReplyAttribute> attributes;
        for (const SchemaAttribute *row : requested(request, allAttributes != 0)) attributes.push_back({row, {}});
        error_unless(!attributes.empty(), ZKE_NO_SUCH_ATTRIBUTE);
        buffer_fill(reply, attributes, iteration);
    });
}

uint32_t ZKDSReadObjectInfo(uint32_t context, const char *object, char *distinguishedName, ZKDSObjectInfo *info) {
    return guarded([&] {
        error_unless(object != nullptr && distinguishedName != nullptr, ZKE_BAD_PARAMETER);
        Context &found = contexts().at(context);
        const EntryPtr entry = context_read(&found, object);
        put_name(name_in_form(entry->name, context_form(found)), distinguishedName);
        if (info == nullptr) return;
        ZKDSObjectInfo told = {};
        told.flags =
            (entry->isClass("Alias") ? object_is_alias : 0) | (entry->entryClass->container ? object_is_container : 0);
        told.subordinateCount = entry->subordinates;
        told.modificationTime = entry->modificationTime;
        strncpy(told.baseClass, entry->entryClass->base, sizeof told.baseClass - 1);
        *info = told;
    });
}
