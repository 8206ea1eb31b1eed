// Names: the client's dotted names and DNs, and the library's splitting and shortening of them.
//
//     input ::= name [ NUL context [ NUL base ] ]        context: dotted, base: a DN
#include "platform/client/core/names.h"

#include <algorithm>

#include "platform/zk.h"
#include "qrtscript.h"
#include "tests/fuzz/fuzz.h"

static bool identical(const Name &a, const Name &b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](const NamePart &x, const NamePart &y) { return x.type == y.type && x.value == y.value; });
}

static bool same_values(const Name &a, const Name &b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](const NamePart &x, const NamePart &y) { return x.value == y.value; });
}

static void check_parts(const Name &name) {
    FUZZ_CHECK(name.size() <= name_depth_limit);
    for (const NamePart &part : name) {
        FUZZ_CHECK(!part.value.empty());
        for (const char c : part.type) FUZZ_CHECK((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-');
    }
    FUZZ_CHECK(name_equal(name, name) && name_types_agree(name, name));
}

// Every written form that is short enough to be read is read as the same name.
static void check_dotted(const Name &name, const Name &context) {
    Name again;
    const std::string typed = "." + name_to_dotted(name, true);
    if (typed.size() <= ZK_MAX_NAME) {
        FUZZ_CHECK(name_parse_dotted(typed, context, &again));
        FUZZ_CHECK(identical(name, again));
    }
    const std::string typeless = "." + name_to_dotted(name, false);
    if (typeless.size() <= ZK_MAX_NAME) {
        FUZZ_CHECK(name_parse_dotted(typeless, context, &again));
        FUZZ_CHECK(same_values(name, again) && name_equal(name, again));
    }
    for (const bool types : {true, false}) {
        const std::string shortest = name_abbreviate(name, context, types);
        FUZZ_CHECK(shortest.size() <= (types ? typed : typeless).size());
        if (shortest.size() > ZK_MAX_NAME) continue;
        FUZZ_CHECK(name_parse_dotted(shortest, context, &again));
        FUZZ_CHECK(name_equal(name, again) && name_key(name) == name_key(again));
    }
}

static void check_dn(Name name, const Name &base) {
    name_type_by_place(&name);
    Name again;
    bool outside = false;
    const std::string dn = name_to_dn(name, base);
    if (dn.size() > 4096) return;
    FUZZ_CHECK(name_parse_dn(dn, base, &again, &outside) && !outside);
    FUZZ_CHECK(identical(name, again));
}

static void check_name(const Name &name, const Name &context, const Name &base) {
    check_parts(name);
    check_dotted(name, context);
    check_dn(name, base);
}

// The three parts may each be as long as the name, which has at least the length of "[Root]".
static void check_splitting(std::string_view text) {
    ExactText name(text);
    const std::string room(std::max<size_t>(text.size(), 6), 'x');
    ExactText parent(room), leaf(room), typed(room);
    FUZZ_CHECK(qrt_DSRemoveNameFromFullName(name.data(), parent.data(), leaf.data(), typed.data()) == leaf.data());
    const std::string_view whole_leaf = typed.data(), bare = leaf.data();
    FUZZ_CHECK(text.find(whole_leaf) != text.npos);
    FUZZ_CHECK(std::string_view(parent.data()) == "[Root]" || text.find(parent.data()) != text.npos);
    FUZZ_CHECK(whole_leaf.substr(whole_leaf.size() - bare.size()) == bare);
    const char *dot = qrt_DSFindDelimiter(name.data(), ".");
    FUZZ_CHECK(!dot || (*dot == '.' && (dot == name.data() || dot[-1] != '\\')));
}

static void check_shortening(std::string_view text) {
    ExactText name(text);
    for (const size_t limit : {text.size(), text.size() / 2, size_t{256}}) {
        ExactText out(std::string(limit, 'x'));
        const int copied = qrt_abbrivateName(name.data(), out.data(), static_cast<int>(limit));
        FUZZ_CHECK(copied >= 0 && static_cast<size_t>(copied) <= limit);
        FUZZ_CHECK(strlen(out.data()) == static_cast<size_t>(copied));
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::string_view rest = fuzz_view(data, size);
    const std::string_view text = fuzz_take(rest, '\0');
    Name context, base, name;
    if (!name_parse_dotted("." + std::string(fuzz_take(rest, '\0')), {}, &context)) context.clear();
    if (!name_parse_dn(rest, {}, &base, nullptr)) base.clear();
    if (name_parse_dotted(text, context, &name)) check_name(name, context, base);
    if (name_parse_dn(text, base, &name, nullptr)) check_name(name, context, base);
    check_splitting(text);
    check_shortening(text);
    return 0;
}
