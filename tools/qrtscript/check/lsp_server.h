// A language server: what a client's messages are answered with.
#ifndef TOOLS_QRTSCRIPT_CHECK_LSP_SERVER_H
#define TOOLS_QRTSCRIPT_CHECK_LSP_SERVER_H

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tools/qrtscript/check/lsp_document.h"
#include "tools/qrtscript/check/lsp_values.h"

class LspServer {
  public:
    // `send` takes each message for the client. `values` tells what identifiers stand for, and answers some requests
    // later; null: nobody does.
    explicit LspServer(std::function<void(const std::string &)> send, LspValues *values = nullptr)
        : send_(std::move(send)), values_(values) {}

    // Takes a message, whatever it is, and answers it.
    void take(const std::string &message);
    // Tells the client the findings of the texts that have changed. To be called when no message is waiting, so that
    // one who types fast is told of the last letter alone.
    void tellFindings();
    // Whether the client has asked the server to end, and whether it has done so in the right order.
    bool hasEnded() const { return state_ == State::ended || state_ == State::ended_early; }
    bool hasEndedWell() const { return state_ == State::ended; }

  private:
    enum class State { started, initialized, shut_down, ended, ended_early };

    void takeRequest(const Json &id, const std::string &method, const Json &params);
    void takeNotification(const std::string &method, const Json &params);
    Json answer(const std::string &method, const Json &params);
    Json answerForDocument(const std::string &method, const Json &params);
    void hover(const Json &id, const Json &params);
    void cancel(const Json &params);
    void chooseUser(const Json &settings);
    void requireOpen() const;
    Json initialize(const Json &params);
    Json definition(LspDocument &document, const Json &params);
    std::string includedFile(const LspDocument &document, const std::string &name) const;
    void send(Json message);
    void sendError(const Json &id, int code, const std::string &message);
    void open(const Json &params);
    void change(const Json &params);
    void close(const Json &params);
    LspDocument &documentOf(const Json &params);

    std::function<void(const std::string &)> send_;
    LspValues *values_;
    State state_ = State::started;
    LspEncoding encoding_ = LspEncoding::utf16;
    std::vector<std::string> folders_; // of the workspace, without symbolic links
    std::map<std::string, LspDocument> documents_;
};

#endif
