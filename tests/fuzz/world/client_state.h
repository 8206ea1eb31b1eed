// What the files of the replaced client share.
#ifndef FUZZ_WORLD_CLIENT_STATE_H
#define FUZZ_WORLD_CLIENT_STATE_H

#include <cstddef>
#include <cstdint>
#include <string_view>

// Fails when the handle has been given back. A handle that never was one is the client's to refuse.
void client_context_used(uint32_t context);
// The same, and the code of the call.
uint32_t client_code(uint32_t context);
// Writes an answered name of at most ZK_MAX_NAME bytes and its NUL; `out` may be null.
void client_name_out(char *out, std::string_view ordinary);
// Reads the text to its end, so that one without its NUL is noticed.
size_t client_text_in(const char *text);

void client_buffers_start();
void client_buffers_check_end();

// The longest text of a prompt, its NUL included.
constexpr size_t client_text_size = 1026;
// Is there room for so many?
bool client_may_lend(int count);
void client_prompts_start();
void client_prompts_check_end();

#endif
