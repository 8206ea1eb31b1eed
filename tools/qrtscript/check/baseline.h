// Findings that are known and not shown again: a file names them by script, code and text of the line, with how many
// there are, so that they stay known when lines are inserted above them. As JSON:
//
//     {"version": 1, "findings": [{"script": "a.qrt", "code": "QS1008", "line": "GOTO END", "count": 1}]}
#ifndef TOOLS_QRTSCRIPT_CHECK_BASELINE_H
#define TOOLS_QRTSCRIPT_CHECK_BASELINE_H

#include <map>
#include <stdexcept>
#include <tuple>

#include "tools/qrtscript/check/report.h"

class BaselineError : public std::runtime_error {
  public:
    using runtime_error::runtime_error;
};

class Baseline {
  public:
    // For a baseline in the file `path`, which need not exist: scripts are named from its folder on.
    explicit Baseline(const std::string &path);
    // Throws BaselineError for what is no baseline.
    void read(std::string_view json);
    std::string json() const;
    void add(const CheckedScript &script);
    // Takes away what is known.
    void hide(CheckedScript *script) const;
    // How many findings it has.
    size_t count() const;

  private:
    using Key = std::tuple<std::string, std::string, std::string>; // script, code, line
    static Key key(const std::string &script, const Lines &lines, const Finding &finding);
    std::string scriptName(const std::string &name) const;

    std::string folder_;
    std::map<Key, size_t> counts_;
};

#endif
