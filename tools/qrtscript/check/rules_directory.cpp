// What a script names and the directory has not.

#include <unistd.h>
#include <algorithm>
#include <cctype>
#include <optional>
#include <string>

#include "language/grammar.tab.h"
#include "platform/catalogue.h"
#include "platform/common/nearest_name.h"
#include "platform/common/nocase.h"
#include "tools/qrtscript/check/directory.h"
#include "tools/qrtscript/check/forms.h"
#include "tools/qrtscript/check/known_names.h"
#include "tools/qrtscript/check/references.h"
#include "tools/qrtscript/check/rules.h"

// What an operand says when it is the same in every login; none when it has references.
static std::optional<std::string> literal(const Syntax &syntax, size_t phrase) {
    if (!references_in(syntax, phrase).empty()) return {};
    std::string text;
    const TokenRange tokens = syntax.phrases[phrase].tokens;
    for (size_t token = tokens.first; token < tokens.end; ++token) text += syntax.spelling(syntax.tokens[token]);
    return text;
}

namespace {

// Where names without a leading period are looked up, which CONTEXT and TREE change on the way through a script.
struct Place {
    bool isKnown = true;              // else such names are left alone
    bool isThisTree = true;           // else all names are
    std::optional<std::string> moved; // the context of the last CONTEXT; none: where the login begins
};

} // namespace

// The name as it is looked up; none where it cannot be.
static std::optional<std::string> name_at(const Place &place, const std::string &name) {
    if (!place.isThisTree || name.empty()) return {};
    if (name[0] == '.') return name;
    if (!place.isKnown) return {};
    if (!place.moved) return name;
    return "." + name + (place.moved->empty() ? "" : "." + *place.moved);
}

static Finding missing_object(const Syntax &syntax, const char *code, TokenRange tokens, const std::string &name) {
    return finding_at(syntax, code, tokens, catalogue_format("the directory has no object %s", name.c_str()));
}

static void check_object(const Syntax &syntax, size_t phrase, const CheckDirectory &directory, const Place &place,
                         Findings *findings) {
    const std::optional<std::string> name = literal(syntax, phrase);
    const std::optional<std::string> whole = name ? name_at(place, *name) : std::nullopt;
    if (whole && !directory.classOf(*whole))
        findings->push_back(missing_object(syntax, "QS4002", syntax.phrases[phrase].tokens, *name));
}

// DISPLAY and INCLUDE of an object; of a local file where there is no such object.
static void check_script_of(const Syntax &syntax, size_t phrase, const CheckDirectory &directory, const Place &place,
                            Findings *findings) {
    const std::optional<std::string> name = literal(syntax, phrase);
    if (name && access(name->c_str(), F_OK) != 0) check_object(syntax, phrase, directory, place, findings);
}

static void check_group(const Syntax &syntax, const Phrase &phrase, const CheckDirectory &directory, const Place &place,
                        Findings *findings) {
    if (phrase.kind != Phrase::Kind::member && phrase.kind != Phrase::Kind::not_member) return;
    const Phrase &token = quoted_token(syntax, phrase);
    if (token.text.find_first_of("%<") != std::string::npos) return;
    const std::optional<std::string> whole = name_at(place, token.text);
    if (!whole) return;
    const std::optional<std::string> found = directory.classOf(*whole);
    if (!found)
        findings->push_back(finding_at(
            syntax, "QS2013", phrase.tokens,
            catalogue_format("the directory has no group %s: nobody is a member of it", token.text.c_str())));
    else if (!equal_nocase(*found, "Group"))
        findings->push_back(
            finding_at(syntax, "QS2013", phrase.tokens,
                       catalogue_format("%s is no group: nobody is a member of it", token.text.c_str())));
}

static void check_profile(const Syntax &syntax, size_t phrase, const CheckDirectory &directory, const Place &place,
                          Findings *findings) {
    const std::optional<std::string> name = literal(syntax, phrase);
    const std::optional<std::string> whole = name ? name_at(place, *name) : std::nullopt;
    // A name that is none is the usual way to switch the profile off.
    if (!whole || !directory.hasValue(*whole, "Profile")) return;
    findings->push_back(
        finding_at(syntax, "QS2014", syntax.phrases[phrase].tokens,
                   catalogue_format("%s has a profile, and its script cannot be run by PROFILE", name->c_str())));
}

static void check_server(const Syntax &syntax, size_t phrase, const CheckDirectory &directory, Findings *findings) {
    const std::optional<std::string> name = literal(syntax, phrase);
    if (name && !directory.hasServer(*name))
        findings->push_back(finding_at(syntax, "QS4003", syntax.phrases[phrase].tokens,
                                       catalogue_format("there is no server %s", name->c_str())));
}

static void check_tree(const Syntax &syntax, size_t phrase, const CheckDirectory &directory, Findings *findings) {
    const std::optional<std::string> name = literal(syntax, phrase);
    if (name && !directory.hasTree(*name))
        findings->push_back(finding_at(syntax, "QS4004", syntax.phrases[phrase].tokens,
                                       catalogue_format("there is no tree %s", name->c_str())));
}

static void check_map(const Syntax &syntax, const Statement &statement, const CheckDirectory &directory,
                      Findings *findings) {
    const Phrase &line = syntax.phrases[statement.operands.front()];
    if (line.text.find_first_of("%<") != std::string::npos) return;
    std::string command = line.text;
    std::replace(command.begin(), command.end(), ';', ',');
    std::replace(command.begin(), command.end(), '\\', '/');
    const size_t start = command.find_first_not_of(" \t");
    if (start == std::string::npos) return;
    // What is refused everywhere is told already.
    const auto isTold = [&](const Finding &finding) {
        return finding.place == syntax.begin(line.tokens) && std::string_view(finding.code->name) == "QS3001";
    };
    if (std::any_of(findings->begin(), findings->end(), isTold)) return;
    const std::string refusal = directory.mapRefusal(command.substr(start));
    if (!refusal.empty()) findings->push_back(finding_at(syntax, "QS3004", line.tokens, refusal));
}

static std::string unknown_name(const std::string &name) {
    std::vector<std::string_view> names = known_names();
    const std::string nearest(nearest_name(name, names));
    return nearest.empty() ? catalogue_format("neither the language nor the directory knows %s", name.c_str())
                           : catalogue_format("neither the language nor the directory knows %1$s; did you mean %2$s?",
                                              name.c_str(), nearest.c_str());
}

static void check_reference(const ScriptReference &reference, const CheckDirectory &directory, Findings *findings) {
    const auto isNameSign = [](char c) { return isalnum(static_cast<unsigned char>(c)) != 0 || c == '_'; };
    const bool isName =
        !reference.name.empty() && std::all_of(reference.name.begin(), reference.name.end(), isNameSign);
    // One with another sign in it is QS2001.
    if (reference.isVariable || !isName || name_is_known(reference.name)) return;
    if (directory.knowsAttribute(reference.name)) return;
    findings->push_back(finding_at("QS4001", reference.place, reference.length, unknown_name(reference.name)));
}

// CONTEXT takes a complete name, with or without a leading period.
static void enter_context(const Syntax &syntax, size_t phrase, const CheckDirectory &directory, Place *place,
                          Findings *findings) {
    const std::optional<std::string> name = literal(syntax, phrase);
    place->isKnown = place->isKnown && name.has_value();
    if (!name || !place->isThisTree) return;
    const std::string whole = name->substr(!name->empty() && (*name)[0] == '.' ? 1 : 0);
    place->moved = whole;
    if (!whole.empty() && !directory.classOf("." + whole))
        findings->push_back(missing_object(syntax, "QS4002", syntax.phrases[phrase].tokens, *name));
}

static void check_operands(const Syntax &syntax, const Statement &statement, const CheckDirectory &directory,
                           Place *place, Findings *findings) {
    switch (statement.kind) {
        case Statement::Kind::context:
            enter_context(syntax, statement.operands.front(), directory, place, findings);
            break;
        case Statement::Kind::display_object:
        case Statement::Kind::include_object:
            check_script_of(syntax, statement.operands.front(), directory, *place, findings);
            break;
        case Statement::Kind::profile:
            check_profile(syntax, statement.operands.front(), directory, *place, findings);
            break;
        case Statement::Kind::attach:
            check_server(syntax, statement.operands.front(), directory, findings);
            break;
        case Statement::Kind::tree:
            check_tree(syntax, statement.operands.front(), directory, findings);
            place->isThisTree = false;
            break;
        case Statement::Kind::map:
            check_map(syntax, statement, directory, findings);
            break;
        default:
            break;
    }
}

// Whether a jump may lead to lines behind another CONTEXT than the one above them.
static bool has_jumps(const Syntax &syntax) {
    const auto jumps = [](const Statement &statement) { return statement.kind == Statement::Kind::go_to; };
    return std::any_of(syntax.statements.begin(), syntax.statements.end(), jumps);
}

void check_with_directory(const Syntax &syntax, const CheckDirectory &directory, Findings *findings) {
    const std::vector<size_t> branches = syntax_branches(syntax);
    const bool jumps = has_jumps(syntax);
    Place place;
    for (size_t number = 0; number < syntax.statements.size(); ++number) {
        const Statement &statement = syntax.statements[number];
        check_operands(syntax, statement, directory, &place, findings);
        const bool moves = statement.kind == Statement::Kind::context;
        if (moves && (jumps || branches[number] != 0)) place.isKnown = false;
        visit_statement(syntax, statement,
                        [&](const Phrase &phrase) { check_group(syntax, phrase, directory, place, findings); });
        if (!place.isThisTree) continue;
        for (const ScriptReference &reference : statement_references(syntax, statement))
            check_reference(reference, directory, findings);
    }
    // A word that the directory knows is an attribute.
    const auto isKnown = [&](const Finding &finding) {
        return std::string_view(finding.code->name) == "QS2010" &&
               directory.knowsAttribute(syntax.text.substr(finding.place, finding.length));
    };
    findings->erase(std::remove_if(findings->begin(), findings->end(), isKnown), findings->end());
}
