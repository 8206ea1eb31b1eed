#include "tools/qrtscript/object/action.h"

#include <algorithm>
#include <cstdio>

#include "platform/catalogue.h"
#include "platform/terminal_text.h"
#include "tools/columns.h"

// In the order of Action.
static constexpr const char *words[] = {catalogue_mark("add"), catalogue_mark("change"), catalogue_mark("remove"),
                                        catalogue_mark("stale")};

static size_t width() {
    size_t widest = 7;
    for (const char *word : words) widest = std::max(widest, columns_of(catalogue_text(word)));
    return widest;
}

void action_show(Action action, const std::string &what) {
    const char *word = catalogue_text(words[static_cast<size_t>(action)]);
    printf("%s %s\n", columns_padded(word, width()).c_str(), terminal_text(what).c_str());
}
