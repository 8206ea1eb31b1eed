#include "tools/qrtscript/check/lsp_frames.h"

#include <charconv>

#include "platform/catalogue.h"
#include "platform/common/nocase.h"

static std::string_view trimmed(std::string_view text) {
    const size_t first = text.find_first_not_of(" \t");
    if (first == text.npos) return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

static size_t length_in(std::string_view value) {
    size_t length = 0;
    const auto [stop, error] = std::from_chars(value.data(), value.data() + value.size(), length);
    if (error != std::errc() || stop != value.data() + value.size())
        throw LspFramesBroken(catalogue_text("the client sent a Content-Length that is not a number"));
    if (length > LspFrames::longest_message)
        throw LspFramesBroken(catalogue_text("the client sent a message of more than 128 MiB"));
    return length;
}

// The length that the lines of a head tell.
static size_t length_of_head(std::string_view head) {
    std::optional<size_t> length;
    while (!head.empty()) {
        const std::string_view line = head.substr(0, head.find("\r\n"));
        head.remove_prefix(std::min(head.size(), line.size() + 2));
        const size_t colon = line.find(':');
        if (colon == line.npos)
            throw LspFramesBroken(catalogue_text("the client sent something other than the language server protocol"));
        if (equal_nocase(line.substr(0, colon), "Content-Length")) length = length_in(trimmed(line.substr(colon + 1)));
    }
    if (!length) throw LspFramesBroken(catalogue_text("the client sent a message without Content-Length"));
    return *length;
}

std::optional<std::string> LspFrames::next() {
    if (!length_) {
        const size_t end = std::string_view(bytes_).substr(0, longest_head).find("\r\n\r\n");
        if (end == std::string::npos) {
            if (bytes_.size() < longest_head) return {};
            throw LspFramesBroken(catalogue_text("the client sent something other than the language server protocol"));
        }
        length_ = length_of_head(std::string_view(bytes_).substr(0, end));
        bytes_.erase(0, end + 4);
    }
    if (bytes_.size() < *length_) return {};
    std::string message = bytes_.substr(0, *length_);
    bytes_.erase(0, *length_);
    length_.reset();
    return message;
}

std::string lsp_frame(std::string_view message) {
    return "Content-Length: " + std::to_string(message.size()) + "\r\n\r\n" + std::string(message);
}
