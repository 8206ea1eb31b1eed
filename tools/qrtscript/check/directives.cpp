#include "tools/qrtscript/check/directives.h"

#include <algorithm>

#include "platform/catalogue.h"
#include "platform/common/nearest_name.h"
#include "platform/common/nocase.h"

static constexpr std::string_view blanks = " \t\r\n";

// Takes the next word off the front of a text; empty at its end.
static std::string_view take_word(std::string_view *text) {
    const size_t begin = std::min(text->find_first_not_of(blanks), text->size());
    const size_t end = std::min(text->find_first_of(blanks, begin), text->size());
    const std::string_view word = text->substr(begin, end - begin);
    text->remove_prefix(end);
    return word;
}

static bool begins_nocase(std::string_view text, std::string_view with) {
    return equal_nocase(text.substr(0, with.size()), with);
}

Directives::Directives(const Syntax &syntax) : syntax_(syntax) {
    std::vector<std::vector<Item>> blocks(1); // the items that hold to the end of each block that is open
    std::vector<Item> next;
    const auto close = [&](size_t end) {
        for (const Item &item : blocks.back()) add(item, {item.place, end});
        blocks.pop_back();
    };
    for (size_t place = 0; place < syntax.statements.size(); ++place) {
        const Statement &statement = syntax.statements[place];
        if (statement.kind == Statement::Kind::remark) {
            readRemark(place, &blocks, &next);
            continue;
        }
        if (statement.kind == Statement::Kind::blank) continue;
        begun_ = true;
        for (const Item &item : next) add(item, line(place));
        next.clear();
        const bool opens = statement.kind == Statement::Kind::if_block || statement.kind == Statement::Kind::if_broken;
        if (opens) blocks.emplace_back();
        const bool closes = statement.kind == Statement::Kind::end && !statement.single && blocks.size() > 1;
        if (closes) close(syntax.end(statement.tokens));
    }
    while (!blocks.empty()) close(syntax.text.size() + 1);
    join();
}

// The line of a statement, with what an IF in it has for its only statement.
Directives::Range Directives::line(size_t statement) const {
    const size_t begin = syntax_.begin(syntax_.body(syntax_.statements[statement]));
    const size_t lineEnd = begin == 0 ? syntax_.text.npos : syntax_.text.rfind('\n', begin - 1);
    size_t last = statement;
    while (last + 1 < syntax_.statements.size() && syntax_.statements[last + 1].single) ++last;
    // A mistake may be at the end of the script, behind the last token.
    const bool isLast = last + 1 == syntax_.statements.size();
    return {lineEnd == syntax_.text.npos ? 0 : lineEnd + 1,
            isLast ? syntax_.text.size() + 1 : syntax_.end(syntax_.statements[last].tokens)};
}

void Directives::readRemark(size_t statement, std::vector<std::vector<Item>> *blocks, std::vector<Item> *next) {
    const TokenRange body = syntax_.body(syntax_.statements[statement]);
    const size_t begin = syntax_.tokens[body.first].end;
    std::string_view rest = std::string_view(syntax_.text).substr(begin, syntax_.end(body) - begin);
    if (!equal_nocase(take_word(&rest), "qrtscript")) return;
    std::vector<Item> items;
    for (bool first = true;; first = false) {
        std::string_view word = take_word(&rest);
        if (first && !begins_nocase(word, "disable")) return;
        if (word.empty() || word.front() == '#') break;
        // "QS1008, QS2010" is one list.
        for (std::string_view behind = rest; word.back() == ','; rest = behind) {
            const std::string_view more = take_word(&behind);
            if (more.empty() || more.front() == '#') break;
            word = {word.data(), static_cast<size_t>(more.data() + more.size() - word.data())};
        }
        readItem(static_cast<size_t>(word.data() - syntax_.text.data()), word, &items);
    }
    for (Item &item : items)
        if (equal_nocase(item.name, "disable"))
            next->push_back(std::move(item));
        else if (equal_nocase(item.name, "disable-block"))
            blocks->back().push_back(std::move(item));
        else if (!begun_)
            add(item, {0, syntax_.text.size() + 1});
        else
            findings_.push_back(finding_at("QS0003", item.place, item.text.size(),
                                           catalogue_text("disable-file has to stand above the first statement")));
}

void Directives::readItem(size_t place, std::string_view text, std::vector<Item> *items) {
    const size_t sign = text.find('=');
    const std::string_view name = text.substr(0, sign);
    Item item = {name, place, text, {}};
    const bool isKnown =
        equal_nocase(name, "disable") || equal_nocase(name, "disable-block") || equal_nocase(name, "disable-file");
    if (!isKnown || sign == text.npos || sign + 1 == text.size()) {
        findings_.push_back(
            finding_at("QS0002", place, text.size(),
                       catalogue_format("unexpected %s; expected: disable=, disable-block= or disable-file= and codes",
                                        std::string(text).c_str())));
        return;
    }
    readCodes(place + sign + 1, text.substr(sign + 1), &item);
    if (!item.codes.empty()) items->push_back(std::move(item));
}

void Directives::readCodes(size_t place, std::string_view list, Item *item) {
    std::vector<std::string_view> names;
    for (size_t code = 0; code < code_count; ++code) names.push_back(codes[code].name);
    for (size_t at = 0; at <= list.size();) {
        at = std::min(list.find_first_not_of(blanks, at), list.size());
        const size_t end = std::min(list.find(',', at), list.size());
        const std::string name(list.substr(at, end - at));
        const Code *code = code_named(name);
        if (code != nullptr || equal_nocase(name, "all")) {
            item->codes.push_back(code);
        } else if (name.empty()) {
            findings_.push_back(finding_at("QS0001", place + std::min(at, list.size() - 1), 1,
                                           catalogue_text("a code is missing beside the comma")));
        } else {
            const std::string nearest(nearest_name(name, names));
            findings_.push_back(finding_at(
                "QS0001", place + at, name.size(),
                nearest.empty()
                    ? catalogue_format("there is no code %s", name.c_str())
                    : catalogue_format("there is no code %1$s; did you mean %2$s?", name.c_str(), nearest.c_str())));
        }
        at = end + 1;
    }
}

void Directives::add(const Item &item, Range range) {
    for (const Code *code : item.codes) hidden_[code].push_back(range);
}

void Directives::join() {
    for (auto &[code, ranges] : hidden_) {
        std::sort(ranges.begin(), ranges.end(), [](const Range &a, const Range &b) { return a.begin < b.begin; });
        std::vector<Range> joined;
        for (const Range &range : ranges)
            if (joined.empty() || range.begin > joined.back().end)
                joined.push_back(range);
            else
                joined.back().end = std::max(joined.back().end, range.end);
        ranges = std::move(joined);
    }
}

bool Directives::hide(const Finding &finding) const {
    for (const Code *code : {finding.code, static_cast<const Code *>(nullptr)}) {
        const auto found = hidden_.find(code);
        if (found == hidden_.end()) continue;
        const auto behind = std::partition_point(found->second.begin(), found->second.end(),
                                                 [&](const Range &range) { return range.end <= finding.place; });
        if (behind != found->second.end() && behind->begin <= finding.place) return true;
    }
    return false;
}
