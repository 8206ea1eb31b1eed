// `qrtscript lsp`: the language server over standard input and output.
#ifndef TOOLS_QRTSCRIPT_CHECK_LSP_H
#define TOOLS_QRTSCRIPT_CHECK_LSP_H

// Reads the arguments behind the subcommand's name, and serves until the client ends it. Returns the exit status.
int lsp_run(int argc, char **argv);

#endif
