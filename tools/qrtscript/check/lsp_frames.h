// The frames of the language server protocol: "Content-Length: N", an empty line, and N bytes.
#ifndef TOOLS_QRTSCRIPT_CHECK_LSP_FRAMES_H
#define TOOLS_QRTSCRIPT_CHECK_LSP_FRAMES_H

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

// What a client sent is not the protocol, and where the next message begins is unknown.
struct LspFramesBroken : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The messages in a stream of bytes that comes in pieces.
class LspFrames {
  public:
    static constexpr size_t longest_head = 8192;
    static constexpr size_t longest_message = 128 << 20;

    void add(std::string_view bytes) { bytes_ += bytes; }
    // The next message, if all of it has come. Throws LspFramesBroken, after which there is none.
    std::optional<std::string> next();
    // Whether the stream may end here: no message has begun.
    bool isBetween() const { return bytes_.empty() && !length_; }

  private:
    std::string bytes_;
    std::optional<size_t> length_; // of the message whose head has been read
};

// A message with its head.
std::string lsp_frame(std::string_view message);

#endif
