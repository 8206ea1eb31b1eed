// An open script of an editor, and what the language server answers about it. All answers are JSON as the protocol,
// version 3.17, has it.
#ifndef TOOLS_QRTSCRIPT_CHECK_LSP_DOCUMENT_H
#define TOOLS_QRTSCRIPT_CHECK_LSP_DOCUMENT_H

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "tools/qrtscript/check/finding.h"
#include "tools/qrtscript/check/lsp_text.h"
#include "tools/qrtscript/check/syntax.h"

using Json = nlohmann::json;

// An answer that is an error, with the protocol's code.
struct LspError : std::runtime_error {
    LspError(int number, const std::string &message) : std::runtime_error(message), code(number) {}
    int code;
};
constexpr int lsp_parse_error = -32700, lsp_invalid_request = -32600, lsp_unknown_method = -32601,
              lsp_invalid_params = -32602, lsp_internal_error = -32603, lsp_not_initialized = -32002,
              lsp_request_failed = -32803, lsp_cancelled = -32800;

class LspDocument {
  public:
    LspDocument(std::string uri, std::string text, LspEncoding encoding)
        : uri_(std::move(uri)), text_(std::move(text), encoding) {}
    const std::string &uri() const { return uri_; }
    const LspText &text() const { return text_; }
    // The script as it is now; both are made when they are asked for.
    const Syntax &syntax();
    const Findings &findings();

    // A change as the client describes it: a text in place of a range, or a whole text.
    void change(const Json &change);
    size_t offset(const Json &position) const;
    Json range(size_t begin, size_t end) const;
    Json edit(size_t begin, size_t end, const std::string &text) const;

    // What a client may be told and has not been yet.
    bool isUntold = true;
    std::optional<int64_t> version;

  private:
    std::string uri_;
    LspText text_;
    std::optional<Syntax> syntax_;
    std::optional<Findings> findings_;
};

Json lsp_diagnostics(LspDocument &document);
Json lsp_code_actions(LspDocument &document, const Json &params);
Json lsp_formatting(LspDocument &document);
Json lsp_folding_ranges(LspDocument &document);
Json lsp_symbols(LspDocument &document);
Json lsp_references(LspDocument &document, size_t place, bool withLabel);
// The place of a label that a GOTO goes to, or that of the label there; null elsewhere.
Json lsp_label_definition(LspDocument &document, size_t place);
// The local file that an INCLUDE or DISPLAY at the place names, as it is written; empty elsewhere, and for a file whose
// name is not known before a login.
std::string lsp_included_name(LspDocument &document, size_t place);
Json lsp_rename_range(LspDocument &document, size_t place);
Json lsp_rename(LspDocument &document, size_t place, const std::string &name);
// `identifier`: the name of the identifier or attribute there, if it is one.
Json lsp_hover(LspDocument &document, size_t place, std::string *identifier);
Json lsp_completion(LspDocument &document, size_t place);

#endif
