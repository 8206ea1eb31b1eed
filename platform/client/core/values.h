// The values of attributes: from the text in the directory's data to what a program is handed. The grammar of each text
// form is in README.md.
#ifndef PLATFORM_CLIENT_CORE_VALUES_H
#define PLATFORM_CLIENT_CORE_VALUES_H

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "platform/client/core/names.h"

// How names are returned.
struct NameForm {
    bool typed = true;
    bool complete = true; // otherwise abbreviated for `context`
    Name context;
};

std::string name_in_form(const Name &name, const NameForm &form);

struct Value {
    int32_t number = 0;             // counter, time, interval
    uint32_t type = 0;              // of a network address; the name space of a path
    Name name;                      // a DN; the object of a path's volume
    std::string text;               // every text; the path of a path; the bytes of a network address
    std::vector<std::string> lines; // of a postal address, at most six; a path's volume, where no object stands for it
};

// Takes one value of `syntax` from its text in the data. Throws DataError with a sentence that lacks file and line.
// `base` is the DN below which the tree lives.
Value value_parse(uint32_t syntax, std::string_view text, const Name &base);
// Throws as value_parse does, without making a value. A DN, also that of a path, is left in `dn`.
void value_check(uint32_t syntax, std::string_view text, const Name &base, DnView *dn);

// The block that a program is handed. value_write fills value_block_size bytes, the pointers in it point into it.
// Names must have been put into form by value_put_names: they are returned as text.
void value_put_names(uint32_t syntax, const NameForm &form, Value *value);
size_t value_block_size(uint32_t syntax, const Value &value);
void value_write(uint32_t syntax, const Value &value, void *block);

#endif
