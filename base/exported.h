// The exported names of this folder that only callers of the library use. They are defined in exports.cpp.
#ifndef BASE_EXPORTED_H
#define BASE_EXPORTED_H

#pragma GCC visibility push(default)
extern "C" {

// The three joiners: a + separator + b in new heap text. With a null, b itself is returned and the other way round:
// a caller that owns its arguments compares before it frees. Null when memory runs out.
char *util_concat_filespec(char *a, char *b);    // separator "/"
char *util_concat_strings(char *a, char *b);     // separator " "
char *util_concat_strings_nos(char *a, char *b); // no separator

// Replaces the first occurrence of `find` in the heap text `s`, freeing it. Returns `s` itself when there is nothing to
// replace, null (and `s` untouched) when memory runs out.
char *util_parse_replace_string(char *s, const char *find, const char *repl);

// words_find_quote and words_hide_blanks (base/words.h). A null `str` is reported on standard output.
char *getQuote(char *str);
char prescanForQuotedStrings(char *str);

// Overwrites every `ch` in `str` (which may be null) with a blank.
void replaceChar(char *str, char ch);
}
#pragma GCC visibility pop

#endif
