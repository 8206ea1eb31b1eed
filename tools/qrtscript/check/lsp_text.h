// A text as an editor counts in it: lines that LF, CR LF or CR ends, and columns in units of UTF-16 or in bytes.
#ifndef TOOLS_QRTSCRIPT_CHECK_LSP_TEXT_H
#define TOOLS_QRTSCRIPT_CHECK_LSP_TEXT_H

#include <string>
#include <string_view>
#include <vector>

enum class LspEncoding { utf8, utf16 };

// Both counted from 0.
struct LspPosition {
    size_t line, character;
};

class LspText {
  public:
    LspText(std::string text, LspEncoding encoding) : text_(std::move(text)), encoding_(encoding) { findLines(); }
    const std::string &text() const { return text_; }
    // The byte at a position; one behind the end of a line is the line's end, one behind the last line the text's.
    size_t offset(LspPosition position) const;
    LspPosition position(size_t offset) const;
    void replace(size_t begin, size_t end, std::string_view text);

  private:
    struct Line {
        size_t start;
        bool isAscii;
    };
    void findLines();
    std::string_view content(size_t line) const; // without its end

    std::string text_;
    LspEncoding encoding_;
    std::vector<Line> lines_;
    // Of the last answer: positions are mostly asked for from the top down.
    mutable size_t knownOffset_ = 0, knownUnits_ = 0, knownLine_ = 0;
};

#endif
