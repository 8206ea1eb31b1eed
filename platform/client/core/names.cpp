#include "platform/client/core/names.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <optional>
#include <unordered_map>

#include "platform/client/core/letters.h"
#include "platform/common/hex.h"
#include "platform/common/skip.h"
#include "platform/zk.h"

static constexpr std::string_view root_part = "[Root]";
// A DN is longer than the dotted name it stands for: escapes take up to three bytes for one.
static constexpr size_t dn_length_limit = 4096;

// The other names that servers know for the attributes of the schema, in lower case.
using Synonyms = std::unordered_map<std::string_view, const char *>;
static const Synonyms &type_synonyms() {
    static const Synonyms synonyms = {
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
    return synonyms;
}

static char upper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

static bool is_ascii(char c) {
    return static_cast<signed char>(c) >= 0;
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

static bool parse_dn_value(std::string_view text, std::string *value) {
    text = skip_blanks(text);
    if (!text.empty() && text.front() == '#') return false;
    size_t keep = 0;
    for (size_t i = 0; i < text.size(); i++) {
        char c = text[i];
        bool escaped = c == '\\';
        if (escaped ? !take_dn_escape(text, &i, &c) : c == '\0' || strchr("\"+;<>", c) != nullptr) return false;
        *value += c;
        if (escaped || c != ' ') keep = value->size();
    }
    value->resize(keep);
    return keep > 0;
}

static bool parse_whole_dn(std::string_view dn, Name *name) {
    for (;;) {
        size_t comma = find_unescaped(dn, ',');
        std::string_view rdn = skip_blanks(dn.substr(0, comma));
        size_t equals = rdn.find('=');
        NamePart part;
        if (name->size() == 2 * name_depth_limit || equals == std::string_view::npos ||
            !normal_type(rdn.substr(0, equals), &part.type) || !parse_dn_value(rdn.substr(equals + 1), &part.value))
            return false;
        name->push_back(std::move(part));
        if (comma == std::string_view::npos) return true;
        dn.remove_prefix(comma + 1);
    }
}

static bool same_part(const NamePart &a, const NamePart &b) {
    return (a.type.empty() || b.type.empty() || a.type == b.type) && name_fold(a.value) == name_fold(b.value);
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

bool name_parse_dn(std::string_view dn, const Name &base, Name *name, bool *outside) {
    if (outside != nullptr) *outside = false;
    Name parsed;
    if (dn.size() > dn_length_limit || (!dn.empty() && !parse_whole_dn(dn, &parsed))) return false;
    if (parsed.size() < base.size() || !std::equal(base.rbegin(), base.rend(), parsed.rbegin(), same_part)) {
        if (outside != nullptr) *outside = true;
        return false;
    }
    parsed.resize(parsed.size() - base.size());
    if (parsed.size() > name_depth_limit) return false;
    *name = std::move(parsed);
    return true;
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
    auto synonym = type_synonyms().find(type);
    return synonym == type_synonyms().end() ? type : synonym->second;
}

bool name_may_be(const Name &wanted, const Name &object) {
    const auto fits = [](const NamePart &want, const NamePart &have) {
        return want.type.empty() ? std::find(std::begin(name_usual_types), std::end(name_usual_types), have.type) !=
                                       std::end(name_usual_types)
                                 : want.type == have.type;
    };
    return std::equal(wanted.begin(), wanted.end(), object.begin(), object.end(), fits);
}

std::string name_fold(std::string_view value) {
    // Nearly all names are in ASCII, and they are compared by the thousand.
    const bool ascii = std::all_of(value.begin(), value.end(), is_ascii);
    const std::string letters = ascii ? "" : letters_fold(value);
    value = ascii ? value : letters;
    std::string folded;
    folded.reserve(value.size());
    for (char c : value)
        if (c != ' ' || (!folded.empty() && folded.back() != ' ')) folded += lower_case(c);
    if (!folded.empty() && folded.back() == ' ') folded.pop_back();
    return folded;
}

std::string name_key(const Name &name) {
    std::string key;
    for (const NamePart &part : name) {
        key += name_fold(part.value);
        key += '\0'; // no value contains one
    }
    return key;
}

bool name_types_agree(const Name &a, const Name &b) {
    return std::equal(
        a.begin(), a.end(), b.begin(), b.end(),
        [](const NamePart &x, const NamePart &y) { return x.type.empty() || y.type.empty() || x.type == y.type; });
}

bool name_equal(const Name &a, const Name &b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(), same_part);
}
