#include "tests/support/manual.h"

#include <stdexcept>

#include "tests/support/process.h"

std::string manual_block(const std::string &document, const std::string &name, const std::string &language) {
    const std::string manual = file_text(SOURCE_DIR "/docs/" + document), start = "```" + language + "\n";
    const size_t mark = manual.find("<!-- tried: " + name + " -->");
    const size_t from = manual.find(start, mark), to = manual.find("```\n", from + start.size());
    if (mark == std::string::npos || to == std::string::npos) throw std::runtime_error("no block: " + name);
    return manual.substr(from + start.size(), to - from - start.size());
}

std::string replaced_once(std::string text, const std::string &from, const std::string &to) {
    const size_t at = text.find(from);
    if (at == std::string::npos) throw std::runtime_error("not there: " + from);
    return text.replace(at, from.size(), to);
}
