// Remarks of a script that switch codes off:
//
//     directive ::= remark "qrtscript" item+ [ "#" comment ]
//     item      ::= ( "disable" | "disable-block" | "disable-file" ) "=" ( code { "," code } | "all" )
//
// "disable" is for the next line that is neither empty nor a remark; "disable-block" for what follows up to the END of
// the block that the directive stands in, or to the end of the script; "disable-file" for the whole script, if no
// statement stands above it. Letter case does not matter. A remark whose second word does not begin with "disable" is
// an ordinary one.
#ifndef TOOLS_QRTSCRIPT_CHECK_DIRECTIVES_H
#define TOOLS_QRTSCRIPT_CHECK_DIRECTIVES_H

#include <map>

#include "tools/qrtscript/check/finding.h"

class Directives {
  public:
    // `syntax` has to outlive the object.
    explicit Directives(const Syntax &syntax);
    bool hide(const Finding &finding) const;
    // Directives that cannot be read.
    const Findings &findings() const { return findings_; }

  private:
    struct Range {
        size_t begin, end;
    };
    struct Item {
        std::string_view name; // of what is switched off
        size_t place;          // of the whole item in the text
        std::string_view text;
        std::vector<const Code *> codes; // null for all of them
    };
    void readRemark(size_t statement, std::vector<std::vector<Item>> *blocks, std::vector<Item> *next);
    void readItem(size_t place, std::string_view text, std::vector<Item> *items);
    void readCodes(size_t place, std::string_view list, Item *item);
    void add(const Item &item, Range range);
    Range line(size_t statement) const;
    void join();

    const Syntax &syntax_;
    bool begun_ = false;                                // a statement has been seen
    std::map<const Code *, std::vector<Range>> hidden_; // sorted, without overlaps; null: all codes
    Findings findings_;
};

#endif
