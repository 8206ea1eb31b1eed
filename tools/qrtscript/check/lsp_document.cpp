#include "tools/qrtscript/check/lsp_document.h"

#include "tools/qrtscript/check/lsp_uri.h"
#include "tools/qrtscript/check/selection.h"

const Syntax &LspDocument::syntax() {
    if (!syntax_) syntax_ = syntax_read(text_.text());
    return *syntax_;
}

const Findings &LspDocument::findings() {
    // With the directives of the text, and without the settings of a folder: no other file is read.
    if (!findings_) findings_ = script_checked(uri_path(uri_), syntax(), Settings(), Selection()).findings;
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
    const auto &added = change.at("text").get_ref<const std::string &>();
    size_t begin = 0, end = text_.text().size();
    if (change.contains("range")) {
        begin = offset(change.at("range").at("start"));
        end = offset(change.at("range").at("end"));
        if (begin > end) throw LspError(lsp_invalid_params, "a range ends before it begins");
    }
    text_.replace(begin, end, added);
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
