#include "tools/qrtscript/check/lsp_document.h"

#include "tools/qrtscript/check/rules.h"

const Syntax &LspDocument::syntax() {
    if (!syntax_) syntax_ = syntax_read(text_.text());
    return *syntax_;
}

const Findings &LspDocument::findings() {
    if (!findings_) findings_ = check_script(syntax());
    return *findings_;
}

static size_t number_of(const Json &number) {
    if (!number.is_number_unsigned()) throw LspError(lsp_invalid_params, "a position needs a line and a character");
    return number.get<size_t>();
}

size_t LspDocument::offset(const Json &position) const {
    return text_.offset({number_of(position.at("line")), number_of(position.at("character"))});
}

void LspDocument::change(const Json &change) {
    const auto &text = change.at("text").get_ref<const std::string &>();
    if (change.contains("range")) {
        const Json &range = change.at("range");
        const size_t begin = offset(range.at("start")), end = offset(range.at("end"));
        if (begin > end) throw LspError(lsp_invalid_params, "a range ends before it begins");
        text_.replace(begin, end, text);
    } else {
        text_.replace(0, text_.text().size(), text);
    }
    syntax_.reset();
    findings_.reset();
    isUntold = true;
}

Json LspDocument::range(size_t begin, size_t end) const {
    const auto json = [](LspPosition position) {
        return Json{{"line", position.line}, {"character", position.character}};
    };
    // In this order: each is counted on from the one before.
    const LspPosition first = text_.position(begin), last = text_.position(end);
    return {{"start", json(first)}, {"end", json(last)}};
}

Json LspDocument::edit(size_t begin, size_t end, const std::string &text) const {
    return {{"range", range(begin, end)}, {"newText", text}};
}
