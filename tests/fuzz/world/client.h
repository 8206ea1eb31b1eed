// The directory client and the prompts as the fuzz targets' library sees them: every function of platform/zk.h and
// platform/treelogin.h, answered from answers.h. Within their contract they are as hostile as they can be: lengths up
// to the limit, texts without their NUL where a size is given, counts and sizes that lie, pointers that lead nowhere.
//
// There are two clients: this one costs nothing and lies as the input says, tests/client_spy records calls and answers
// what a test has put into its tables; they share no code, since a record and tables would slow every input down.
//
// What the library must not do is checked: a handle, a buffer or a file used after it was given back, one left open,
// a password that was not wiped.
#ifndef FUZZ_WORLD_CLIENT_H
#define FUZZ_WORLD_CLIENT_H

#include <cstdint>
#include <string_view>

// A new session: one context handle is open, which is returned.
uint32_t client_start();
// After the run: no buffer and no file is open, every password is wiped. Texts of prompts may be kept (ATTACH).
void client_check_end();

// Hands out a text of a prompt, outside the heap: whoever frees it calls fuzz_free. A secret must be wiped by the end.
char *client_lend(std::string_view text, bool secret);

#endif
