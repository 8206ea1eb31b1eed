#include "language/phrases.h"

#include <string>

#include "base/output.h"
#include "directory/attribute_compare.h"
#include "directory/identifiers.h"
#include "directory/session.h"
#include "directory/substitution.h"
#include "platform/zk.h"
#include "qrtscript.h"
#include "script/parser.h"

OwnedText phrase_empty() {
    return text_copy("");
}

OwnedText phrase_sign(const char *sign) {
    return text_copy(sign);
}

OwnedText phrase_join(OwnedText a, OwnedText b) {
    return text_copy(std::string(a.get()) + b.get());
}

OwnedText phrase_join(OwnedText a, OwnedText b, OwnedText c) {
    return text_copy(std::string(a.get()) + b.get() + c.get());
}

OwnedText phrase_quoted(OwnedText text) {
    return substitution_in(ctx, std::move(text));
}

// The value of an identifier, else of an attribute of the current object. `value` is set for 0 only.
static uint32_t look_up(const char *name, OwnedText &value) {
    const uint32_t code = identifiers_look_up(ctx, session_object(), name, value);
    if (code != 0 && code != ZKE_NO_SUCH_ATTRIBUTE && code != ZKE_NO_SUCH_VALUE)
        TRACE(yyparse, 1, "Error Invalid Identifier:%s(%X)", name, code);
    return code;
}

static OwnedText with_percent(const OwnedText &name) {
    return text_copy(std::string("%") + name.get());
}

static OwnedText traced(OwnedText value) {
    TRACE(yyparse, 5, "Identifier value:%s", value.get());
    return value;
}

OwnedText phrase_identifier(OwnedText name) {
    OwnedText value;
    const uint32_t code = look_up(name.get(), value);
    if (code == ZKE_NO_SUCH_ATTRIBUTE) value = with_percent(name);
    return traced(value ? std::move(value) : phrase_empty());
}

// A word that the directory has no attribute for gets a "%" that it was not written with: required, as is the
// difference to the "%" form for every other code.
OwnedText phrase_word(OwnedText word) {
    OwnedText value;
    const uint32_t code = look_up(word.get(), value);
    if (code == ZKE_NO_SUCH_ATTRIBUTE) value = with_percent(word);
    return traced(value ? std::move(value) : std::move(word));
}

OwnedText phrase_environment(OwnedText name) {
    const char *value = identifiers_variable(name.get());
    return text_copy(value != nullptr ? value : "");
}

// The flag of the membership lookup: 0 member, 1 no member, anything else when the lookup did not get that far.
static uint32_t membership(OwnedText group) {
    const OwnedText name = phrase_quoted(std::move(group));
    const std::optional<std::string> object = session_object();
    uint32_t flag = 2;
    if (object) attribute_compare(ctx, object->c_str(), "Group_Membership", name.get(), flag);
    return flag;
}

OwnedText phrase_member(OwnedText group) {
    return text_copy(membership(std::move(group)) == 0 ? "0" : "1");
}

OwnedText phrase_not_member(OwnedText group) {
    return text_copy(membership(std::move(group)) == 1 ? "0" : "1");
}

static int32_t calculate(char operation, int64_t a, int64_t b) {
    switch (operation) {
        case '+':
            return static_cast<int32_t>(a + b);
        case '-':
            return static_cast<int32_t>(a - b);
        case '*':
            return static_cast<int32_t>(a * b);
        default:
            return b == 0 ? 0 : static_cast<int32_t>(a / b);
    }
}

OwnedText phrase_calculate(char operation, OwnedText left, OwnedText right) {
    return text_copy(std::to_string(calculate(operation, text_number(left.get()), text_number(right.get()))));
}
