// The scripts' output as it may stand in a window: valid UTF-8, cut into lines, nothing in it that is obeyed.
#ifndef TOOLS_QRTLOGIN_WINDOW_OUTPUT_TEXT_H
#define TOOLS_QRTLOGIN_WINDOW_OUTPUT_TEXT_H

#include <deque>
#include <string>
#include <string_view>

struct OutputLine {
    std::string text;      // without its end
    bool isMarked = false; // a mistake, or something of qrtlogin's own
};

class OutputText {
  public:
    // So many lines are kept; what is older is cut. A longer line goes on in the next one.
    static constexpr size_t most_lines = 10000;
    static constexpr size_t longest_line = 2000; // bytes

    // The next piece of the output, cut anywhere.
    void add(std::string_view text);
    // A line of its own, which is marked.
    void addMarked(std::string_view line);

    // Takes the oldest of the complete lines; `most` at most.
    std::deque<OutputLine> take(size_t most);
    bool hasLines() const { return !lines_.empty(); }
    // The beginning of a line that is not complete yet.
    const std::string &open() const { return open_; }
    // How many lines were cut before they were taken.
    size_t cut() const { return cut_; }

  private:
    void end(bool isMarked);
    std::deque<OutputLine> lines_;
    std::string open_, kept_;
    size_t cut_ = 0;
};

#endif
