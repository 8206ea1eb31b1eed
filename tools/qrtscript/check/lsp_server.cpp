#include "tools/qrtscript/check/lsp_server.h"

#include <algorithm>
#include <filesystem>
#include <new>

#include "tools/qrtscript/check/lsp_uri.h"

namespace fs = std::filesystem;

// ---- messages ----

void LspServer::send(Json message) {
    message["jsonrpc"] = "2.0";
    // What a script's bytes are not in UTF-8 is replaced.
    send_(message.dump(-1, ' ', false, Json::error_handler_t::replace));
}

void LspServer::sendError(const Json &id, int code, const std::string &message) {
    send({{"id", id}, {"error", {{"code", code}, {"message", message}}}});
}

// Discarded when it is not JSON, or has more levels than any message of the protocol: whoever goes through them calls
// itself for each.
static Json parsed(const std::string &message) {
    constexpr int most_levels = 100;
    bool isTooDeep = false;
    const auto isShallow = [&](int depth, Json::parse_event_t, const Json &) {
        isTooDeep = isTooDeep || depth >= most_levels;
        return !isTooDeep;
    };
    Json json = Json::parse(message, isShallow, false);
    return isTooDeep ? Json(Json::value_t::discarded) : json;
}

void LspServer::take(const std::string &message) {
    const Json json = parsed(message);
    if (json.is_discarded()) return sendError(nullptr, lsp_parse_error, "not JSON");
    if (!json.is_object()) return sendError(nullptr, lsp_invalid_request, "not a message");
    const Json id = json.value("id", Json());
    const auto method = json.find("method");
    if (method == json.end()) return; // an answer, and nothing has been asked
    const bool isRequest = json.contains("id");
    if (!method->is_string() || (isRequest && !id.is_string() && !id.is_number()))
        return sendError(nullptr, lsp_invalid_request, "not a message");
    const Json params = json.value("params", Json::object());
    if (isRequest)
        takeRequest(id, *method, params);
    else
        takeNotification(*method, params);
}

void LspServer::takeRequest(const Json &id, const std::string &method, const Json &params) {
    try {
        if (method == "textDocument/hover") return hover(id, params);
        send({{"id", id}, {"result", answer(method, params)}});
    } catch (const LspError &error) {
        sendError(id, error.code, error.what());
    } catch (const Json::exception &error) {
        sendError(id, lsp_invalid_params, error.what());
    } catch (const std::bad_alloc &) {
        sendError(id, lsp_internal_error, "out of memory");
    }
}

// A notification has no answer, not even one that it was wrong.
void LspServer::takeNotification(const std::string &method, const Json &params) {
    if (method == "exit") state_ = state_ == State::shut_down ? State::ended : State::ended_early;
    if (state_ != State::initialized) return;
    try {
        if (method == "textDocument/didOpen") open(params);
        if (method == "textDocument/didChange") change(params);
        if (method == "textDocument/didClose") close(params);
        if (method == "$/cancelRequest") cancel(params);
        if (method == "workspace/didChangeConfiguration") chooseUser(params.at("settings").at("qrtscript"));
    } catch (const LspError &) {
    } catch (const Json::exception &) {
    }
}

void LspServer::requireOpen() const {
    if (state_ == State::started) throw LspError(lsp_not_initialized, "initialize comes first");
    if (state_ != State::initialized) throw LspError(lsp_invalid_request, "the server has been shut down");
}

Json LspServer::answer(const std::string &method, const Json &params) {
    if (method == "initialize") return initialize(params);
    requireOpen();
    if (method == "shutdown") {
        if (values_ != nullptr) values_->cancelAll();
        state_ = State::shut_down;
        return nullptr;
    }
    return answerForDocument(method, params);
}

// ---- the beginning ----

static bool offers_utf8(const Json &params) {
    const Json::json_pointer place("/capabilities/general/positionEncodings");
    const Json none = Json::array();
    const Json &offered = params.contains(place) ? params.at(place) : none;
    return std::find(offered.begin(), offered.end(), Json("utf-8")) != offered.end();
}

static void add_folder(const Json &uri, std::vector<std::string> *folders) {
    if (!uri.is_string()) return;
    std::error_code error;
    const fs::path folder = fs::canonical(uri_path(uri.get_ref<const std::string &>()), error);
    if (!error) folders->push_back(folder);
}

Json LspServer::initialize(const Json &params) {
    if (state_ != State::started) throw LspError(lsp_invalid_request, "initialized already");
    const auto options = params.find("initializationOptions");
    if (options != params.end() && options->is_object()) chooseUser(*options);
    if (offers_utf8(params)) encoding_ = LspEncoding::utf8;
    const auto folders = params.find("workspaceFolders");
    if (folders != params.end() && folders->is_array())
        for (const Json &folder : *folders) add_folder(folder.at("uri"), &folders_);
    else if (params.contains("rootUri"))
        add_folder(params.at("rootUri"), &folders_);
    state_ = State::initialized;
    constexpr int changes_incrementally = 2;
    return {{"capabilities",
             {{"positionEncoding", encoding_ == LspEncoding::utf8 ? "utf-8" : "utf-16"},
              {"textDocumentSync", {{"openClose", true}, {"change", changes_incrementally}}},
              {"codeActionProvider", {{"codeActionKinds", Json::array({"quickfix"})}}},
              {"completionProvider", {{"triggerCharacters", Json::array({"%", "<"})}}},
              {"definitionProvider", true},
              {"documentFormattingProvider", true},
              {"documentSymbolProvider", true},
              {"foldingRangeProvider", true},
              {"hoverProvider", true},
              {"referencesProvider", true},
              {"renameProvider", {{"prepareProvider", true}}}}},
            {"serverInfo", {{"name", "qrtscript"}}}};
}

// ---- the user whose values are shown ----

// What is not there stays as it is.
void LspServer::chooseUser(const Json &settings) {
    if (values_ == nullptr) return;
    LspUser user = values_->chosen();
    for (const auto &[name, place] :
         {std::pair("user", &user.user), std::pair("tree", &user.tree), std::pair("context", &user.context)}) {
        const auto found = settings.find(name);
        if (found == settings.end() || found->is_null()) continue;
        if (!found->is_string() || found->get_ref<const std::string &>().find('\0') != std::string::npos)
            throw LspError(lsp_invalid_params, std::string(name) + " is not a name");
        *place = *found;
    }
    values_->choose(std::move(user));
}

// Its answer may have to wait for a value, which goes behind what is known without a directory.
void LspServer::hover(const Json &id, const Json &params) {
    requireOpen();
    LspDocument &document = documentOf(params);
    std::string identifier;
    const Json found = lsp_hover(document, document.offset(params.at("position")), &identifier);
    const std::string asked = values_ != nullptr ? values_->askable(identifier) : "";
    const auto reply = [this, id, found](const std::string &sentence) {
        Json result = found;
        if (!sentence.empty()) result["contents"]["value"].get_ref<std::string &>() += "\n\n" + sentence;
        send({{"id", id}, {"result", std::move(result)}});
    };
    if (asked.empty()) return reply("");
    values_->ask(id.dump(-1, ' ', false, Json::error_handler_t::replace), asked, reply);
}

void LspServer::cancel(const Json &params) {
    const Json &id = params.at("id");
    const std::string key = id.dump(-1, ' ', false, Json::error_handler_t::replace);
    if (values_ != nullptr && values_->cancel(key)) sendError(id, lsp_cancelled, "cancelled");
}

// ---- texts ----

static std::optional<int64_t> version_of(const Json &document) {
    const auto found = document.find("version");
    if (found == document.end() || !found->is_number_integer()) return {};
    return found->get<int64_t>();
}

void LspServer::open(const Json &params) {
    const Json &document = params.at("textDocument");
    const std::string uri = document.at("uri"), text = document.at("text");
    LspDocument opened(uri, text, encoding_);
    opened.version = version_of(document);
    documents_.insert_or_assign(uri, std::move(opened));
}

LspDocument &LspServer::documentOf(const Json &params) {
    const auto found = documents_.find(params.at("textDocument").at("uri"));
    if (found == documents_.end()) throw LspError(lsp_invalid_params, "the text is not open");
    return found->second;
}

void LspServer::change(const Json &params) {
    LspDocument &document = documentOf(params);
    document.version = version_of(params.at("textDocument"));
    for (const Json &one : params.at("contentChanges")) document.change(one);
}

void LspServer::close(const Json &params) {
    const std::string uri = documentOf(params).uri();
    documents_.erase(uri);
    send({{"method", "textDocument/publishDiagnostics"}, {"params", {{"uri", uri}, {"diagnostics", Json::array()}}}});
}

void LspServer::tellFindings() {
    for (auto &[uri, document] : documents_) {
        if (!document.isUntold) continue;
        document.isUntold = false;
        Json params = {{"uri", uri}, {"diagnostics", lsp_diagnostics(document)}};
        if (document.version) params["version"] = *document.version;
        send({{"method", "textDocument/publishDiagnostics"}, {"params", std::move(params)}});
    }
}

// ---- requests ----

static bool is_below(const fs::path &file, const fs::path &folder) {
    return std::mismatch(folder.begin(), folder.end(), file.begin(), file.end()).first == folder.end();
}

// Looks at files of the workspace alone: a script of somebody else's must not find out what there is elsewhere.
std::string LspServer::includedFile(const LspDocument &document, const std::string &name) const {
    std::vector<fs::path> places = {fs::path(uri_path(document.uri())).parent_path() / name};
    for (const std::string &folder : folders_) places.push_back(fs::path(folder) / name);
    for (const fs::path &place : places) {
        std::error_code error;
        const fs::path file = fs::canonical(place, error);
        if (error || !fs::is_regular_file(file, error)) continue;
        const auto holds = [&](const std::string &folder) { return is_below(file, folder); };
        if (std::any_of(folders_.begin(), folders_.end(), holds)) return file;
    }
    return "";
}

Json LspServer::definition(LspDocument &document, const Json &params) {
    const size_t place = document.offset(params.at("position"));
    const Json label = lsp_label_definition(document, place);
    if (!label.is_null()) return label;
    const std::string name = lsp_included_name(document, place);
    const std::string file = name.empty() ? "" : includedFile(document, name);
    if (file.empty()) return nullptr;
    const Json start = {{"line", 0}, {"character", 0}};
    return {{"uri", uri_of_path(file)}, {"range", {{"start", start}, {"end", start}}}};
}

Json LspServer::answerForDocument(const std::string &method, const Json &params) {
    using Answer = Json (*)(LspDocument & document, size_t place, const Json &params);
    struct Row {
        const char *method;
        bool hasPosition;
        Answer answer;
    };
    static constexpr Row rows[] = {
        {"codeAction", false, [](LspDocument &text, size_t, const Json &more) { return lsp_code_actions(text, more); }},
        {"completion", true, [](LspDocument &text, size_t place, const Json &) { return lsp_completion(text, place); }},
        {"documentSymbol", false, [](LspDocument &text, size_t, const Json &) { return lsp_symbols(text); }},
        {"foldingRange", false, [](LspDocument &text, size_t, const Json &) { return lsp_folding_ranges(text); }},
        {"formatting", false, [](LspDocument &text, size_t, const Json &) { return lsp_formatting(text); }},
        {"prepareRename", true,
         [](LspDocument &text, size_t place, const Json &) { return lsp_rename_range(text, place); }},
        {"references", true,
         [](LspDocument &text, size_t place, const Json &more) {
             return lsp_references(text, place, more.at("context").at("includeDeclaration").get<bool>());
         }},
        {"rename", true,
         [](LspDocument &text, size_t place, const Json &more) { return lsp_rename(text, place, more.at("newName")); }},
    };
    constexpr std::string_view prefix = "textDocument/";
    const std::string_view name = std::string_view(method).substr(std::min(prefix.size(), method.size()));
    const bool isKnownPrefix = method.compare(0, prefix.size(), prefix) == 0;
    if (isKnownPrefix && name == "definition") return definition(documentOf(params), params);
    for (const Row &row : rows) {
        if (!isKnownPrefix || name != row.method) continue;
        LspDocument &document = documentOf(params);
        return row.answer(document, row.hasPosition ? document.offset(params.at("position")) : 0, params);
    }
    throw LspError(lsp_unknown_method, "no such method: " + method);
}
