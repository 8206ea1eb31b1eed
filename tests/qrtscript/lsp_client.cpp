#include "tests/qrtscript/lsp_client.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>
#include <csignal>
#include <cstdlib>
#include <stdexcept>

#include "platform/common/write_all.h"

using Json = LspClient::Json;

LspClient::LspClient(std::vector<std::string> options, const std::map<std::string, std::string> &variables,
                     const std::string &descriptor3) {
    signal(SIGPIPE, SIG_IGN);
    int to[2], from[2];
    errors_ = memfd_create("errors", MFD_CLOEXEC);
    if (pipe2(to, O_CLOEXEC) != 0 || pipe2(from, O_CLOEXEC) != 0 || errors_ < 0) throw std::runtime_error("pipe");
    const int given = memfd_create("given", MFD_CLOEXEC);
    write_all(given, descriptor3);
    lseek(given, 0, SEEK_SET);
    child_ = fork();
    if (child_ == 0) {
        dup2(to[0], STDIN_FILENO);
        dup2(from[1], STDOUT_FILENO);
        dup2(errors_, STDERR_FILENO);
        dup2(given, 3);
        for (const auto &[name, value] : variables) setenv(name.c_str(), value.c_str(), 1);
        options.insert(options.begin(), {"qrtscript", "lsp"});
        std::vector<char *> words;
        for (std::string &word : options) words.push_back(word.data());
        words.push_back(nullptr);
        execv(QRTSCRIPT_PATH, words.data());
        _exit(127);
    }
    if (child_ < 0) throw std::runtime_error("fork");
    close(given);
    close(to[0]);
    close(from[1]);
    to_ = to[1];
    from_ = from[0];
}

LspClient::~LspClient() {
    closeInput();
    closeOutput();
    if (child_ > 0) {
        kill(child_, SIGKILL);
        waitpid(child_, nullptr, 0);
    }
    close(errors_);
}

void LspClient::closeInput() {
    if (to_ >= 0) close(to_);
    to_ = -1;
}

void LspClient::closeOutput() {
    if (from_ >= 0) close(from_);
    from_ = -1;
}

int LspClient::finish() {
    int status = 0;
    waitpid(child_, &status, 0);
    child_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
}

std::string LspClient::errors() const {
    std::string text(4096, '\0');
    text.resize(static_cast<size_t>(std::max<ssize_t>(pread(errors_, text.data(), text.size(), 0), 0)));
    return text;
}

void LspClient::sendBytes(const std::string &bytes) {
    write_all(to_, bytes);
}

Json LspClient::receive() {
    for (;;) {
        if (const auto message = frames_.next()) return Json::parse(*message);
        char bytes[4096];
        const ssize_t got = read(from_, bytes, sizeof bytes);
        if (got <= 0) return nullptr;
        frames_.add({bytes, static_cast<size_t>(got)});
    }
}

void LspClient::notify(const std::string &method, const Json &params) {
    sendBytes(lsp_frame(Json{{"jsonrpc", "2.0"}, {"method", method}, {"params", params}}.dump()));
}

Json LspClient::request(const std::string &method, const Json &params) {
    const Json message = {{"jsonrpc", "2.0"}, {"id", ++id_}, {"method", method}, {"params", params}};
    sendBytes(lsp_frame(message.dump()));
    const Json answer = receive();
    if (answer.is_null() || answer.value("id", 0) != id_) throw std::runtime_error("no answer: " + answer.dump());
    return answer.contains("error") ? answer.at("error") : answer.at("result");
}

int LspClient::askLater(const std::string &method, size_t line, size_t character) {
    const Json params = {{"textDocument", {{"uri", uri_}}}, {"position", {{"line", line}, {"character", character}}}};
    const Json message = {{"jsonrpc", "2.0"}, {"id", ++id_}, {"method", "textDocument/" + method}, {"params", params}};
    sendBytes(lsp_frame(message.dump()));
    return id_;
}

Json LspClient::initialize(const Json &capabilities, const std::string &folder, const Json &options) {
    const Json folders = Json::array({{{"uri", "file://" + folder}, {"name", "x"}}});
    const Json result = request("initialize", {{"processId", nullptr},
                                               {"rootUri", nullptr},
                                               {"initializationOptions", options},
                                               {"capabilities", capabilities},
                                               {"workspaceFolders", folder.empty() ? Json() : folders}});
    notify("initialized", Json::object());
    return result;
}

static Json diagnostics_of(const Json &message) {
    if (message.is_null() || message.value("method", "") != "textDocument/publishDiagnostics")
        throw std::runtime_error("no diagnostics: " + message.dump());
    return message.at("params").at("diagnostics");
}

Json LspClient::open(const std::string &text, const std::string &uri) {
    uri_ = uri;
    const Json document = {{"uri", uri}, {"languageId", "qrtscript"}, {"version", version_}, {"text", text}};
    notify("textDocument/didOpen", {{"textDocument", document}});
    return diagnostics_of(receive());
}

Json LspClient::change(size_t line, size_t from, size_t to, const std::string &text) {
    const Json range = {{"start", {{"line", line}, {"character", from}}}, {"end", {{"line", line}, {"character", to}}}};
    notify("textDocument/didChange", {{"textDocument", {{"uri", uri_}, {"version", ++version_}}},
                                      {"contentChanges", Json::array({{{"range", range}, {"text", text}}})}});
    return diagnostics_of(receive());
}

Json LspClient::ask(const std::string &method, Json params) {
    params["textDocument"] = {{"uri", uri_}};
    return request("textDocument/" + method, params);
}

Json LspClient::askAt(const std::string &method, size_t line, size_t character, Json params) {
    params["position"] = {{"line", line}, {"character", character}};
    return ask(method, std::move(params));
}
