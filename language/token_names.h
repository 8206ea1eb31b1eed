// The parser's own table of token names, which is the tokenizer's keyword table too: there is no second list that could
// differ. The grammar defines it.
#ifndef LANGUAGE_TOKEN_NAMES_H
#define LANGUAGE_TOKEN_NAMES_H

// Indexed by the parser's internal symbol number; keywords stand in double quotes. The named tokens come first,
// numbered without a gap from 256 (the error token, index 1) up to yacc_EOF; those behind them are single characters.
extern const char *const *const lex_token_names;

constexpr int lex_token_number(int index) {
    return index + 255;
}

#endif
