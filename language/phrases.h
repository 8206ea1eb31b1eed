// Operands: the text that words, quoted strings, identifier references and arithmetic in a statement yield.
//
// Everything happens while the statement is parsed, in skipped blocks too: the directory is read for a name whether its
// statement will act or not.
#ifndef LANGUAGE_PHRASES_H
#define LANGUAGE_PHRASES_H

#include "base/text.h"

OwnedText phrase_empty();
OwnedText phrase_sign(const char *sign);
// The parts one after the other, without a separator.
OwnedText phrase_join(OwnedText a, OwnedText b);
OwnedText phrase_join(OwnedText a, OwnedText b, OwnedText c);

// A quoted string: the identifier references in it are replaced.
OwnedText phrase_quoted(OwnedText text);
// %name: the identifier's or the attribute's value. An unknown name yields itself with its "%".
OwnedText phrase_identifier(OwnedText name);
// A bare word: the same value; a word without one yields itself, with a "%" before it when the directory knows no such
// attribute.
OwnedText phrase_word(OwnedText word);
// %<name> and <name>: the environment variable's value, empty when it is not set.
OwnedText phrase_environment(OwnedText name);

// MEMBER OF and NOT MEMBER OF: "0" (true) or "1". A failed lookup makes both "1".
OwnedText phrase_member(OwnedText group);
OwnedText phrase_not_member(OwnedText group);

// Arithmetic on the numbers that the texts begin with, 32 bits wide and wrapping; `operation` is one of + - * /. A
// division by zero yields 0.
OwnedText phrase_calculate(char operation, OwnedText left, OwnedText right);

#endif
