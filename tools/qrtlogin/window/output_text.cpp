#include "tools/qrtlogin/window/output_text.h"

#include <utility>

#include "platform/prompt/window/safe_text.h"
#include "platform/terminal_text.h"

void OutputText::end(bool isMarked) {
    lines_.push_back({std::move(open_), isMarked});
    open_.clear();
    if (lines_.size() <= most_lines) return;
    lines_.pop_front();
    ++cut_;
}

// What may belong together with the next piece is kept back.
void OutputText::add(std::string_view text) {
    const std::string whole = std::exchange(kept_, "") + std::string(text);
    TerminalLetter letter;
    for (size_t at = 0; at < whole.size(); at += letter.bytes.size()) {
        const std::string_view rest = std::string_view(whole).substr(at);
        if (!terminal_letter(rest, &letter) || rest == "\r") {
            kept_ = rest;
            return;
        }
        if (letter.bytes == "\n") {
            end(false);
            continue;
        }
        if (letter.bytes == "\r" && rest[1] == '\n') continue;
        if (open_.size() >= longest_line) end(false);
        if (letter.valid && (letter.code == '\t' || (letter.code >= ' ' && letter.code < 0x7F)))
            open_ += letter.bytes;
        else
            open_ += window_safe_text(letter.bytes);
    }
}

void OutputText::addMarked(std::string_view line) {
    if (!open_.empty()) end(false);
    open_ = window_safe_text(line);
    end(true);
}

std::deque<OutputLine> OutputText::take(size_t most) {
    std::deque<OutputLine> taken;
    while (!lines_.empty() && taken.size() < most) {
        taken.push_back(std::move(lines_.front()));
        lines_.pop_front();
    }
    return taken;
}
