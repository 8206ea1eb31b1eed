// The labels of a script and the jumps to them, for finding one's way and for renaming.
#ifndef TOOLS_QRTSCRIPT_CHECK_LABEL_MAP_H
#define TOOLS_QRTSCRIPT_CHECK_LABEL_MAP_H

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "tools/qrtscript/check/syntax.h"

// Places are byte offsets into the script's text.
struct LabelMap {
    struct Label {
        std::string name;
        size_t begin, end; // of the name
        size_t line;       // where its line starts
        bool isFound;      // a GOTO of its name goes there
    };
    struct Jump {
        std::string name;
        size_t begin, end;          // of the name
        std::optional<size_t> line; // where the line starts that it goes on in
    };
    std::vector<Label> labels; // by place, as those of the jumps
    std::vector<Jump> jumps;

    explicit LabelMap(const Syntax &syntax);
    // The one whose name the place is in or right behind; null when there is none.
    const Label *labelAt(size_t place) const;
    const Jump *jumpAt(size_t place) const;
    // The label that begins in the line.
    const Label *labelOf(size_t line) const;
    // The jumps that go on in the label's line; where none can, those that name it.
    std::vector<const Jump *> jumpsTo(const Label &label) const;
};

struct LabelEdit {
    size_t begin, end;
};

// The places where the label's name stands, to be replaced by `name`; or why that cannot be done, in a translated
// sentence: the name cannot be a label's, or a GOTO would go elsewhere than before.
std::variant<std::vector<LabelEdit>, std::string> label_rename(const Syntax &syntax, const LabelMap &map,
                                                               const LabelMap::Label &label, const std::string &name);

#endif
