#include "platform/client/core/other_attributes.h"

#include <algorithm>

#include "platform/client/core/errors.h"
#include "platform/client/core/plain_values.h"
#include "platform/client/core/values.h"
#include "platform/zk.h"

static constexpr size_t value_limit = size_t{64} * 1024;

static std::string lower(std::string_view name) {
    std::string folded;
    for (char c : name) folded += lower_case(c);
    return folded;
}

static bool is_readable(uint32_t syntax) {
    constexpr uint32_t readable[] = {schema_boolean, schema_text,      schema_dn,
                                     ZK_SYNTAX_TIME, schema_telephone, ZK_SYNTAX_POSTAL_ADDRESS};
    return std::find(std::begin(readable), std::end(readable), syntax) != std::end(readable);
}

const SchemaAttribute *OtherAttributes::rowOf(const std::string &name, uint32_t syntax) {
    for (const Row &one : rows_)
        if (one.name == name && one.row.syntax == syntax) return &one.row;
    Row &made = rows_.emplace_back();
    made.name = name;
    made.row = {made.name.c_str(), made.name.c_str(), syntax, value_limit};
    return &made.row;
}

void OtherAttributes::add(const std::string &name, const std::vector<std::string> &values, uint32_t syntax,
                          const Name &base) {
    if (name.size() > ZK_MAX_ATTR_NAME || attribute_is_secret(name) || !is_readable(syntax)) return;
    std::vector<std::string> usable;
    for (const std::string &value : values) {
        try {
            value_parse(syntax, value, base);
            if (!value.empty() && value.size() <= value_limit) usable.push_back(value);
        } catch (const DataError &) {
            // Such a value counts as not there, as those of the client's own schema do.
        }
    }
    if (!usable.empty()) found_.emplace(lower(name), OtherAttribute{rowOf(name, syntax), std::move(usable)});
}

const OtherAttribute *OtherAttributes::find(std::string_view name) const {
    std::string wanted = lower(name);
    wanted.erase(std::remove(wanted.begin(), wanted.end(), '_'), wanted.end());
    auto found = found_.find(wanted);
    return found == found_.end() ? nullptr : &found->second;
}
