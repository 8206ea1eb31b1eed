// A small client of the language server, which runs as a process.
#ifndef TESTS_QRTSCRIPT_LSP_CLIENT_H
#define TESTS_QRTSCRIPT_LSP_CLIENT_H

#include <sys/types.h>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tools/qrtscript/check/lsp_frames.h"

class LspClient {
  public:
    using Json = nlohmann::json;

    // The server's options, variables of its environment, and what it can read from descriptor 3.
    explicit LspClient(std::vector<std::string> options = {}, const std::map<std::string, std::string> &variables = {},
                       const std::string &descriptor3 = "");
    ~LspClient();
    LspClient(const LspClient &) = delete;
    LspClient &operator=(const LspClient &) = delete;

    // The handshake, with the client's capabilities and the workspace's folder.
    Json initialize(const Json &capabilities = Json::object(), const std::string &folder = "",
                    const Json &options = nullptr);
    // Opens the text as this client's one document, and returns the diagnostics.
    Json open(const std::string &text, const std::string &uri = "file:///tmp/script.qrt");
    // Replaces a range of it, and returns the diagnostics.
    Json change(size_t line, size_t from, size_t to, const std::string &text);
    // A request about the document; the answer's result, or its error.
    Json ask(const std::string &method, Json params = Json::object());
    Json askAt(const std::string &method, size_t line, size_t character, Json params = Json::object());

    Json request(const std::string &method, const Json &params);
    // Asks, and does not wait for the answer; returns the number that it will have.
    int askLater(const std::string &method, size_t line, size_t character);
    void notify(const std::string &method, const Json &params);
    void sendBytes(const std::string &bytes);
    // The next message; null when the server has ended.
    Json receive();
    void closeInput();
    void closeOutput();
    // Waits for the end, and returns the exit status, or 1000 + the signal.
    int finish();
    // Its standard error, behind its end.
    std::string errors() const;

  private:
    pid_t child_ = -1;
    int to_ = -1, from_ = -1, errors_ = -1;
    int id_ = 0;
    int64_t version_ = 1;
    std::string uri_;
    LspFrames frames_;
};

#endif
