// The language server: frames, and messages to a server with an open script.
//
//     input ::= script NUL stream
//     stream ::= a client's bytes, in which each line is also taken as a message
#include "tools/qrtscript/check/lsp_server.h"

#include <algorithm>

#include "tests/fuzz/fuzz.h"
#include "tools/qrtscript/check/lsp_frames.h"

static void read_frames(std::string_view stream) {
    constexpr size_t piece = 61;
    LspFrames frames;
    std::string_view rest = stream;
    size_t messages = 0;
    try {
        while (!rest.empty()) {
            frames.add(rest.substr(0, piece));
            rest.remove_prefix(std::min(rest.size(), piece));
            while (const auto message = frames.next()) {
                FUZZ_CHECK(message->size() < stream.size());
                ++messages;
            }
        }
    } catch (const LspFramesBroken &problem) {
        FUZZ_CHECK(*problem.what() != '\0');
    }
    FUZZ_CHECK(messages <= stream.size() / 18);
}

static void check_answer(const std::string &answer) {
    const Json json = Json::parse(answer, nullptr, false);
    FUZZ_CHECK(json.is_object() && json.at("jsonrpc") == "2.0");
    FUZZ_CHECK(json.contains("result") + json.contains("error") + json.contains("method") == 1);
}

static std::string opening(std::string_view script) {
    const Json document = {{"uri", "file:///s"}, {"version", 1}, {"text", script}};
    const Json message = {{"method", "textDocument/didOpen"}, {"params", {{"textDocument", document}}}};
    return message.dump(-1, ' ', false, Json::error_handler_t::replace);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::string_view stream = fuzz_view(data, size);
    const std::string_view script = fuzz_take(stream, '\0');
    read_frames(stream);
    LspServer server(check_answer);
    server.take(R"({"id":1,"method":"initialize","params":{"capabilities":{}}})");
    server.take(opening(script));
    while (!stream.empty() && !server.hasEnded()) {
        server.take(std::string(fuzz_take(stream, '\n')));
        server.tellFindings();
    }
    return 0;
}
