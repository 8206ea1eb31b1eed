// Where the replaced world takes its answers from: the part of the input behind the text that is run. It is made of
// single bytes, one for each decision, so that a changed byte changes one answer. When it is used up every answer is
// the ordinary one, and so a bare script meets a directory in good health.
//
//     code     A to T: the call fails with one of world_codes; anything else: it succeeds
//     number   0 to 9: that number; h, m, n: the largest ones; anything else: the ordinary one
//     text     " or a byte from 0xA0 on: what follows up to the line feed; 0 to 9: a text of a length near a limit;
//              anything else: the ordinary one
#ifndef FUZZ_WORLD_ANSWERS_H
#define FUZZ_WORLD_ANSWERS_H

#include <cstddef>
#include <cstdint>
#include <string_view>

// Starts a new input: its answers, and a new allowance of calls.
void answers_start(std::string_view bytes);

uint8_t answers_byte();
uint32_t answers_number(uint32_t ordinary);
// At most `limit` bytes. Valid until the next input.
std::string_view answers_text(std::string_view ordinary, size_t limit);

// The code of a call of the client. Once the allowance is used up all calls fail, so that nothing goes on for ever.
uint32_t answers_code();
// True when the allowance is used up; each question takes one from it.
bool answers_exhausted();

#endif
