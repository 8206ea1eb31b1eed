// The last failure as a sentence: codes cannot tell which line of which file was wrong.
#ifndef PLATFORM_CLIENT_CORE_ERRORS_H
#define PLATFORM_CLIENT_CORE_ERRORS_H

#include <cstdint>
#include <stdexcept>
#include <string>

// A file of the configuration or of a tree that cannot be taken as it is. The text is the whole sentence for the
// administrator, place included: "acme.ldif:17: the entry has no parent".
class DataError : public std::runtime_error {
  public:
    explicit DataError(const std::string &sentence) : std::runtime_error(sentence) {}
};

// A request that failed for a reason of its own: `code` is what the caller is told, the text is the whole sentence.
class CodedError : public std::runtime_error {
  public:
    CodedError(uint32_t resultCode, const std::string &sentence) : std::runtime_error(sentence), code(resultCode) {}
    const uint32_t code;
};

// Keeps the sentence for ZKGetLastErrorText, what cannot be printed as "\x1B"; never throws (without memory the old
// sentence stays).
void error_keep(const char *sentence) noexcept;

const std::string &error_kept();

#endif
