// The attributes of a user that the client's own schema does not have, by the names that their directory gives them.
#ifndef PLATFORM_CLIENT_CORE_OTHER_ATTRIBUTES_H
#define PLATFORM_CLIENT_CORE_OTHER_ATTRIBUTES_H

#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/client/core/directory_store.h"

class OtherAttributes {
  public:
    // Takes those of the values that are of the syntax, one of the text, name, time or number syntaxes of the schema.
    // What is never handed out is left out: what is called a password, a key or a hash, names that no request can have,
    // and whatever has another syntax.
    void add(const std::string &name, const std::vector<std::string> &values, uint32_t syntax, const Name &base);

    // In any letter case, "_" standing for nothing. Null for one that is not there. The attribute's row lives as long
    // as this object, the rest until `forget`.
    const OtherAttribute *find(std::string_view name) const;

    // Another user has others.
    void forget() { found_.clear(); }

  private:
    const SchemaAttribute *rowOf(const std::string &name, uint32_t syntax);

    struct Row {
        std::string name;
        SchemaAttribute row;
    };
    std::deque<Row> rows_;                                  // never fewer: replies to reads name them
    std::unordered_map<std::string, OtherAttribute> found_; // by the name without letter case
};

#endif
