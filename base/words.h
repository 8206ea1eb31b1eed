// Splitting a command line into words. There is no shell: words stand between blanks, and the only grouping is a
// section between two double quotes, whose quote characters stay part of the word.
//
//     line := { " " } word { " " { " " } word } { " " }
//     word := { character | '"' { character | " " } '"' | '\"' }
//
// While a line is being split, the blanks of a quoted section are hidden under a placeholder, a character that the line
// does not hold.
#ifndef BASE_WORDS_H
#define BASE_WORDS_H

#include <string>
#include <vector>

// The words of a line. The first word, the program's name, keeps the placeholders of a quoted section; in all others
// they are blanks again. A backslash before a double quote is taken away, and that quote neither opens nor closes a
// section. Empty for a line of blanks.
std::vector<std::string> words_split(std::string line);

// The first double quote in `text` without a backslash before it (a quote at the very start has none), or null. The
// backslash of every quote passed on the way is removed, and a blank put at the end instead: `text` keeps its length.
char *words_find_quote(char *text);

// Writes a placeholder over every blank between a pair of double quotes. Returns the placeholder, or 0 when there is no
// quote or no free character is left: nothing is hidden then.
char words_hide_blanks(char *text);

#endif
