// What `qrtscript` can do, and which program does it.
#ifndef TOOLS_QRTSCRIPT_SUBCOMMANDS_H
#define TOOLS_QRTSCRIPT_SUBCOMMANDS_H

#include "platform/catalogue.h"

struct Subcommand {
    const char *name;
    const char *program; // its file name
    const char *summary; // marked for the catalogue
};

// Each program is given the subcommand's name as its first argument.
inline constexpr Subcommand subcommands[] = {
    {"check", "qrtscript-check", catalogue_mark("report every mistake and trap in scripts")},
    {"explain-code", "qrtscript-check", catalogue_mark("explain a finding of check by its code")},
    {"fmt", "qrtscript-check", catalogue_mark("indent scripts, and write their keywords in capitals")},
    {"plan", "qrtscript-plan", catalogue_mark("show what scripts would do for a user, without doing it")},
    {"run", "qrtscript-plan", catalogue_mark("run one script as a user, with a readable trace")},
    {"get", "qrtscript-object", catalogue_mark("print an object's login script")},
    {"put", "qrtscript-object", catalogue_mark("replace an object's login script")},
    {"edit", "qrtscript-object", catalogue_mark("edit an object's login script")},
    {"diff", "qrtscript-object", catalogue_mark("compare an object's login script with a file")},
    {"log", "qrtscript-object", catalogue_mark("show when an object's login script was changed")},
    {"export", "qrtscript-object", catalogue_mark("write all login scripts of a tree to files")},
    {"import", "qrtscript-object", catalogue_mark("make files the login scripts of a tree")},
    {"lsp", "qrtscript-check", catalogue_mark("serve editors that speak the language server protocol")},
};

#endif
