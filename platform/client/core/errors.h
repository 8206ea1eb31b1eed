// How the client's functions fail: with an exception that carries the code for the caller, which interface/boundary.h
// hands out. The last failure is kept as a sentence too: codes cannot tell which line of which file was wrong.
#ifndef PLATFORM_CLIENT_CORE_ERRORS_H
#define PLATFORM_CLIENT_CORE_ERRORS_H

#include <cstdint>
#include <stdexcept>
#include <string>

#include "platform/zk.h"

// `code` is what the caller gets; the text is the whole sentence for the administrator. Without one the sentence
// that was kept before stays.
class CodedError : public std::runtime_error {
  public:
    explicit CodedError(uint32_t resultCode, const std::string &sentence = "")
        : std::runtime_error(sentence), code(resultCode) {}
    const uint32_t code;
};

// A file of the configuration or of a tree that cannot be taken as it is. The sentence includes the place:
// "acme.ldif:17: the entry has no parent".
class DataError : public CodedError {
  public:
    explicit DataError(const std::string &sentence) : CodedError(ZKE_BAD_DIRECTORY_DATA, sentence) {}
};

// Throws CodedError, without a sentence, unless the condition is true.
inline void error_unless(bool condition, uint32_t code) {
    if (!condition) throw CodedError(code);
}

// Keeps the sentence for ZKGetLastErrorText, what cannot be printed as "\x1B"; never throws (without memory the old
// sentence stays).
void error_keep(const char *sentence) noexcept;

const std::string &error_kept();

#endif
