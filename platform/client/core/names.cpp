#include "platform/client/core/names.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <optional>

#include "platform/client/core/letters.h"
#include "platform/common/hex.h"
#include "platform/common/skip.h"
#include "platform/zk.h"

static constexpr std::string_view root_part = "[Root]";
// A DN is longer than the dotted name it stands for: escapes take up to three bytes for one.
static constexpr size_t dn_length_limit = 4096;

// The other names that servers know for the attributes of the schema, in lower case.
static constexpr struct {
    std::string_view other;
    std::string_view usual;
} type_synonyms[] = {
    {"commonname", "cn"},
    {"surname", "sn"},
    {"organizationalunitname", "ou"},
    {"organizationname", "o"},
    {"countryname", "c"},
    {"localityname", "l"},
    {"stateorprovincename", "st"},
    {"streetaddress", "street"},
    {"domaincomponent", "dc"},
    {"userid", "uid"},
    {"gn", "givenname"},
    {"fax", "facsimiletelephonenumber"},
    {"rfc822mailbox", "mail"},
    {"hometelephonenumber", "homephone"},
    {"mobiletelephonenumber", "mobile"},
    {"aliasedentryname", "aliasedobjectname"},
};

// `type` itself when it is the usual name.
static std::string_view usual_type(std::string_view type) {
    for (const auto &synonym : type_synonyms)
        if (synonym.other == type) return synonym.usual;
    return type;
}

static char upper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

static bool is_letter(char c) {
    return lower_case(c) >= 'a' && lower_case(c) <= 'z';
}

static bool is_type_char(char c) {
    return is_letter(c) || (c >= '0' && c <= '9') || c == '-';
}

static bool normal_type(std::string_view written, std::string *type) {
    while (!written.empty() && written.back() == ' ') written.remove_suffix(1);
    if (written.empty() || !is_letter(written.front()) || !std::all_of(written.begin(), written.end(), is_type_char))
        return false;
    *type = name_type(written);
    return true;
}

static std::string_view skip_blanks(std::string_view text) {
    return skip_any(text, " ");
}

static bool parse_part(std::string_view text, NamePart *part) {
    size_t equals = find_unescaped(text, '=');
    if (equals != std::string_view::npos) {
        if (!normal_type(skip_blanks(text.substr(0, equals)), &part->type)) return false;
        text.remove_prefix(equals + 1);
    }
    text = skip_blanks(text);
    size_t keep = 0; // blanks after this length are trailing ones
    for (size_t i = 0; i < text.size(); i++) {
        bool escaped = text[i] == '\\';
        if (escaped && ++i == text.size()) return false;
        part->value += text[i];
        if (escaped || text[i] != ' ') keep = part->value.size();
    }
    part->value.resize(keep);
    return keep > 0;
}

// Splits at unescaped dots. An empty part is malformed.
static bool parse_parts(std::string_view text, Name *name) {
    for (;;) {
        size_t dot = find_unescaped(text, '.');
        NamePart part;
        if (name->size() == name_depth_limit || !parse_part(text.substr(0, dot), &part)) return false;
        name->push_back(std::move(part));
        if (dot == std::string_view::npos) return true;
        text.remove_prefix(dot + 1);
    }
}

static bool ends_in_root(std::string_view text) {
    if (text.size() < root_part.size() || !equal_nocase(text.substr(text.size() - root_part.size()), root_part))
        return false;
    text.remove_suffix(root_part.size());
    return text.empty() || (text.back() == '.' && (text.size() == 1 || text[text.size() - 2] != '\\'));
}

// The number of dots at the end that are not escaped; they are cut off.
static size_t take_trailing_dots(std::string_view *text) {
    size_t dots = 0;
    while (!text->empty() && text->back() == '.') {
        size_t backslashes = 0;
        while (backslashes + 1 < text->size() && (*text)[text->size() - 2 - backslashes] == '\\') backslashes++;
        if (backslashes % 2 == 1) break;
        text->remove_suffix(1);
        dots++;
    }
    return dots;
}

static bool is_among(char c, const char *special) {
    for (; *special != '\0'; special++)
        if (*special == c) return true;
    return false;
}

// libldap's ldap_str2dn would not do for DNs: it drops tabs and line ends around a value, by which a name that is held
// back for them would be handed out, keeps blanks after an escaped backslash at the end, and takes empty values and
// zero bytes.

// One escape of a DN value: a backslash and either two hex digits or a special character. Moves `*i` to its last
// character.
static bool take_dn_escape(std::string_view text, size_t *i, char *c) {
    if (*i + 1 >= text.size()) return false;
    if (hex_digit(text[*i + 1]) >= 0) {
        const std::optional<char> byte = hex_byte(text.substr(*i + 1));
        *c = byte.value_or('\0');
        *i += 2;
        return *c != '\0';
    }
    *c = text[++*i];
    return is_among(*c, " \"#+,;<=>\\"); // a zero byte is none of them
}

// A type and the "=" after it. `made` has room for all of the DN, so that views of it stay valid.
static bool take_dn_type(std::string_view *dn, std::string *made, std::string_view *type) {
    size_t length = 0;
    while (length < dn->size() && is_type_char((*dn)[length])) length++;
    *type = dn->substr(0, length);
    *dn = skip_blanks(dn->substr(type->size()));
    if (type->empty() || !is_letter(type->front()) || dn->empty() || dn->front() != '=') return false;
    dn->remove_prefix(1);
    if (std::any_of(type->begin(), type->end(), [](char c) { return c != lower_case(c); })) {
        const size_t start = made->size();
        for (char c : *type) *made += lower_case(c);
        *type = std::string_view(*made).substr(start);
    }
    *type = usual_type(*type);
    return true;
}

static bool must_be_escaped(char c) {
    return c == '"' || c == '+' || c == ';' || c == '<' || c == '>' || c == '\0';
}

// A value up to the next ",".
static bool take_dn_value(std::string_view *dn, std::string *made, std::string_view *value) {
    const std::string_view text = skip_blanks(*dn);
    if (!text.empty() && text.front() == '#') return false;
    const size_t start = made->size();
    bool copied = false; // since the first escape
    size_t keep = 0;     // blanks after this length are trailing ones
    size_t i = 0;
    for (; i < text.size() && text[i] != ','; i++) {
        char c = text[i];
        const bool escaped = c == '\\';
        if (escaped && !copied) made->append(text.substr(0, i));
        copied = copied || escaped;
        if (escaped ? !take_dn_escape(text, &i, &c) : must_be_escaped(c)) return false;
        if (copied) *made += c;
        if (escaped || c != ' ') keep = copied ? made->size() - start : i + 1;
    }
    *value = (copied ? std::string_view(*made).substr(start) : text).substr(0, keep);
    *dn = text.substr(i);
    return keep > 0;
}

static bool view_whole_dn(std::string_view dn, DnView *view) {
    view->made.reserve(dn.size());
    for (;;) {
        dn = skip_blanks(dn);
        NamePartView part;
        if (view->parts.size() == 2 * name_depth_limit || !take_dn_type(&dn, &view->made, &part.type) ||
            !take_dn_value(&dn, &view->made, &part.value))
            return false;
        view->parts.push_back(part);
        if (dn.empty()) return true;
        dn.remove_prefix(1);
    }
}

static bool same_value(std::string_view a, std::string_view b) {
    return a == b || name_fold(a) == name_fold(b);
}

static bool same_part(const NamePart &a, const NamePart &b) {
    return (a.type.empty() || b.type.empty() || a.type == b.type) && same_value(a.value, b.value);
}

static void append_escaped(std::string *out, std::string_view value, const char *special) {
    bool plain = !value.empty() && value.front() != ' ' && value.back() != ' ' &&
                 std::none_of(value.begin(), value.end(), [&](char c) { return is_among(c, special); });
    if (plain) { // nearly all values are, and names are made by the thousand
        out->append(value);
        return;
    }
    for (size_t i = 0; i < value.size(); i++) {
        bool blankAtEdge = value[i] == ' ' && (i == 0 || i + 1 == value.size());
        if (blankAtEdge || is_among(value[i], special)) *out += '\\';
        *out += value[i];
    }
}

static void append_dotted(std::string *out, const Name &name, size_t count, bool typed) {
    for (size_t i = 0; i < count; i++) {
        if (i > 0) *out += '.';
        if (typed && !name[i].type.empty()) {
            std::transform(name[i].type.begin(), name[i].type.end(), std::back_inserter(*out), upper);
            *out += '=';
        }
        // "[Root]" is a name of its own only as the last part: its first bracket is escaped where it is a value.
        if (equal_nocase(name[i].value, root_part)) *out += '\\';
        append_escaped(out, name[i].value, ".=\\");
    }
}

bool name_parse_dotted(std::string_view text, const Name &context, Name *name) {
    if (text.empty() || text.size() > ZK_MAX_NAME) return false;
    bool complete = text.front() == '.';
    if (complete) text.remove_prefix(1);
    Name parsed;
    if (ends_in_root(text)) {
        complete = true;
        text.remove_suffix(root_part.size());
        if (text.empty()) {
            name->clear();
            return true;
        }
        text.remove_suffix(1);
    }
    size_t climbs = complete ? 0 : take_trailing_dots(&text);
    if (text.empty() || climbs > context.size() || !parse_parts(text, &parsed)) return false;
    if (!complete) parsed.insert(parsed.end(), context.begin() + static_cast<std::ptrdiff_t>(climbs), context.end());
    if (parsed.size() > name_depth_limit) return false;
    *name = std::move(parsed);
    return true;
}

bool name_view_dn(std::string_view dn, const Name &base, DnView *view, bool *outside) {
    if (outside != nullptr) *outside = false;
    NameView &parts = view->parts;
    parts.clear();
    view->made.clear();
    if (dn.size() > dn_length_limit || (!dn.empty() && !view_whole_dn(dn, view))) return false;
    const auto same = [](const NamePart &a, const NamePartView &b) {
        return (a.type.empty() || a.type == b.type) && same_value(a.value, b.value);
    };
    if (parts.size() < base.size() || !std::equal(base.rbegin(), base.rend(), parts.rbegin(), same)) {
        if (outside != nullptr) *outside = true;
        return false;
    }
    parts.resize(parts.size() - base.size());
    return parts.size() <= name_depth_limit;
}

bool name_parse_dn(std::string_view dn, const Name &base, Name *name, bool *outside) {
    DnView view;
    if (!name_view_dn(dn, base, &view, outside)) return false;
    *name = name_of_view(view.parts);
    return true;
}

NameView name_view(const Name &name) {
    NameView view;
    view.reserve(name.size());
    for (const NamePart &part : name) view.push_back({part.type, part.value});
    return view;
}

Name name_of_view(const NameView &view) {
    Name name;
    name.reserve(view.size());
    for (const NamePartView &part : view) name.push_back({std::string(part.type), std::string(part.value)});
    return name;
}

std::string name_to_dn(const Name &name, const Name &base) {
    std::string dn;
    for (const Name *half : {&name, &base}) {
        for (const NamePart &part : *half) {
            dn += dn.empty() ? "" : ",";
            dn += part.type + "=";
            if (part.value.front() == '#') dn += '\\';
            append_escaped(&dn, part.value, "\"+,;<=>\\");
        }
    }
    return dn;
}

std::string name_to_dotted(const Name &name, bool typed) {
    std::string dotted;
    append_dotted(&dotted, name, name.size(), typed);
    return name.empty() ? std::string(root_part) : dotted;
}

std::string name_abbreviate(const Name &name, const Name &context, bool typed) {
    if (name.empty() || context.empty()) return name_to_dotted(name, typed);
    // At least the leaf stays, even when the name is the context itself or stands above it.
    size_t common = 0;
    while (common + 1 < name.size() && common < context.size() &&
           same_part(name[name.size() - 1 - common], context[context.size() - 1 - common]))
        common++;
    std::string relative;
    append_dotted(&relative, name, name.size() - common, typed);
    relative.append(context.size() - common, '.');
    std::string complete = "." + name_to_dotted(name, typed);
    return complete.size() < relative.size() ? complete : relative;
}

bool name_is_too_long(const NameView &name) {
    size_t most = 0; // when each byte has to be escaped
    for (const NamePartView &part : name) most += part.type.size() + 2 * part.value.size() + strlen("\\=.");
    return most > ZK_MAX_NAME && name_to_dotted(name_of_view(name), true).size() > ZK_MAX_NAME;
}

Name name_above(const Name &name, size_t levels) {
    return Name(name.begin() + static_cast<std::ptrdiff_t>(levels), name.end());
}

void name_type_by_place(Name *name) {
    for (size_t i = 0; i < name->size(); i++)
        if ((*name)[i].type.empty()) (*name)[i].type = i == 0 ? "cn" : i + 1 == name->size() ? "o" : "ou";
}

std::string name_type(std::string_view written) {
    std::string type(written);
    std::transform(type.begin(), type.end(), type.begin(), lower_case);
    return std::string(usual_type(type));
}

bool name_type_may_be(std::string_view wanted, std::string_view object) {
    return wanted.empty() ? std::find(std::begin(name_usual_types), std::end(name_usual_types), object) !=
                                std::end(name_usual_types)
                          : wanted == object;
}

bool name_may_be(const Name &wanted, const Name &object) {
    return std::equal(
        wanted.begin(), wanted.end(), object.begin(), object.end(),
        [](const NamePart &want, const NamePart &have) { return name_type_may_be(want.type, have.type); });
}

static void append_folded(std::string_view value, std::string *to) {
    // Nearly all names are in ASCII, and they are compared by the thousand.
    const bool ascii = std::all_of(value.begin(), value.end(), [](char c) { return static_cast<signed char>(c) >= 0; });
    const std::string letters = ascii ? "" : letters_fold(value);
    value = ascii ? value : letters;
    const size_t start = to->size();
    to->resize(start + value.size());
    char *const begin = to->data() + start;
    char *end = begin;
    for (char c : value)
        if (c != ' ' || (end > begin && end[-1] != ' ')) *end++ = lower_case(c);
    if (end > begin && end[-1] == ' ') end--;
    to->resize(static_cast<size_t>(end - to->data()));
}

std::string name_fold(std::string_view value) {
    std::string folded;
    append_folded(value, &folded);
    return folded;
}

template <typename AnyName>
static void append_key(const AnyName &name, std::string *key) {
    for (const auto &part : name) {
        append_folded(part.value, key);
        *key += '\0'; // no value contains one
    }
}

std::string name_key(const Name &name) {
    std::string key;
    append_key(name, &key);
    return key;
}

std::string name_typed_key(const Name &name) {
    std::string key = name_key(name);
    for (const NamePart &part : name) key += part.type + ",";
    return key;
}

void name_view_key(const NameView &name, std::string *key) {
    key->clear();
    append_key(name, key);
}

bool name_types_agree(const Name &a, const Name &b) {
    return std::equal(
        a.begin(), a.end(), b.begin(), b.end(),
        [](const NamePart &x, const NamePart &y) { return x.type.empty() || y.type.empty() || x.type == y.type; });
}

bool name_equal(const Name &a, const Name &b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), same_part);
}
