// Names of directory objects: dotted names as scripts write them, DNs as they are in the directory's data, and the
// relation between the two. Purely textual, nothing here looks into a tree.
//
//     dotted name ::= "." parts | parts "."* | parts ".[Root]" | "[Root]"
//     parts       ::= part ( "." part )*                             leaf first
//     part        ::= [ type "=" ] value                             CN=jdoe, or jdoe
//
// A leading "." or a last part "[Root]" makes a name complete; otherwise it continues with the name context, and each
// trailing "." leaves out one more level of the context. A backslash takes the special meaning from the character
// after it, blanks around a part do not count.
#ifndef PLATFORM_CLIENT_CORE_NAMES_H
#define PLATFORM_CLIENT_CORE_NAMES_H

#include <string>
#include <string_view>
#include <vector>

#include "platform/common/nocase.h"

struct NamePart {
    std::string type;  // lower case ("cn"), empty when the name was written without types
    std::string value; // spelled as written, without escapes
};

// Leaf first, relative to the tree's base; empty means the root.
using Name = std::vector<NamePart>;

// A name in the text that it was read from: the parts are views of it.
struct NamePartView {
    std::string_view type;
    std::string_view value;
};
using NameView = std::vector<NamePartView>;

// A DN that is taken apart where it stands. The views live as long as its text and this object; an object that is used
// again needs no further memory.
struct DnView {
    DnView() = default;
    DnView(const DnView &) = delete;
    DnView &operator=(const DnView &) = delete;

    NameView parts;
    std::string made; // the parts that are not in the text as they are: escapes undone, types in lower case
};

// Deeper names are malformed.
constexpr size_t name_depth_limit = 64;

// Each returns false, and leaves `name` alone, for a malformed text, one that climbs above the root, and one over the
// length and depth limits.
bool name_parse_dotted(std::string_view text, const Name &context, Name *name);
// An RFC 4514 DN at or below `base`; multi-valued RDNs, "#" values and numeric types are malformed here. `outside` (may
// be null) reports a well-formed DN that is not below `base`.
bool name_parse_dn(std::string_view dn, const Name &base, Name *name, bool *outside);
// The same without a copy of its parts. For a malformed text the view's parts are undefined.
bool name_view_dn(std::string_view dn, const Name &base, DnView *view, bool *outside);

NameView name_view(const Name &name);
Name name_of_view(const NameView &view);

std::string name_to_dn(const Name &name, const Name &base);

// "CN=jdoe.OU=sales.O=acme", or without the types "jdoe.sales.acme"; "[Root]" for the root.
std::string name_to_dotted(const Name &name, bool typed);

// The shortest dotted form from which name_parse_dotted makes the name again in this context; of two equally long ones
// the relative one.
std::string name_abbreviate(const Name &name, const Name &context, bool typed);

// Is its typed dotted form longer than ZK_MAX_NAME?
bool name_is_too_long(const NameView &name);

// The object's name `levels` above; `levels` is at most the name's depth.
Name name_above(const Name &name, size_t levels);

// Gives types to parts without one by their place: the leaf is a CN, the topmost an O, those between are OUs.
void name_type_by_place(Name *name);

// The types of objects that may be meant where a name is written without types: servers can only be asked for a value
// together with a type.
inline constexpr const char *name_usual_types[] = {"cn", "uid", "ou", "o", "c", "l", "st", "dc"};

// An attribute type in lower case, by its usual name where servers know several: "cn" for "commonName".
std::string name_type(std::string_view written);

// Comparison forms: letters without regard to case, runs of blanks as one. The key of a name leaves its types out: the
// values, leaf first, each with a NUL after it.
std::string name_fold(std::string_view value);
std::string name_key(const Name &name);
// The same with the types, each with a "," after it, behind the values.
std::string name_typed_key(const Name &name);
void name_view_key(const NameView &name, std::string *key);

// Equal keys taken for granted: do the types agree wherever both names have them?
bool name_types_agree(const Name &a, const Name &b);
bool name_equal(const Name &a, const Name &b);

// Equal keys taken for granted: may `wanted`, whose parts may lack their types, mean the object?
bool name_may_be(const Name &wanted, const Name &object);
bool name_type_may_be(std::string_view wanted, std::string_view object);

#endif
