// What all fuzz targets share. A target is one file of targets/ with LLVMFuzzerTestOneInput: it takes one input apart,
// hands it to the code under test and checks what can be said about the outcome. Everything that it may reach outside
// of the process is replaced by world/, so that an input costs microseconds, starts nothing and writes nothing.
//
// No input may leave anything behind: the next one has to run as if it were the first.
#ifndef FUZZ_FUZZ_H
#define FUZZ_FUZZ_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

// Says what did not hold and aborts, so that the input is kept.
[[noreturn]] void fuzz_failed(const char *file, int line, const char *condition);

#define FUZZ_CHECK(condition)                                          \
    do {                                                               \
        if (!(condition)) fuzz_failed(__FILE__, __LINE__, #condition); \
    } while (0)

inline std::string_view fuzz_view(const uint8_t *data, size_t size) {
    return {reinterpret_cast<const char *>(data), size};
}

// Takes what stands before the first `separator` off the front of `rest`, the separator too.
inline std::string_view fuzz_take(std::string_view &rest, char separator) {
    const size_t end = rest.find(separator);
    const std::string_view part = rest.substr(0, end);
    rest.remove_prefix(end == rest.npos ? rest.size() : end + 1);
    return part;
}

// A NUL-terminated copy in a heap block of exactly its size, so that a step beyond it is noticed.
class ExactText {
  public:
    explicit ExactText(std::string_view text) : data_(static_cast<char *>(malloc(text.size() + 1))) {
        FUZZ_CHECK(data_);
        if (!text.empty()) memcpy(data_, text.data(), text.size());
        data_[text.size()] = '\0';
    }
    ~ExactText() { free(data_); }
    ExactText(const ExactText &) = delete;
    ExactText &operator=(const ExactText &) = delete;
    char *data() { return data_; }

  private:
    char *data_;
};

// Bytes in a block that ends where they end, so that a step beyond them is noticed.
class ExactBytes {
  public:
    explicit ExactBytes(std::string_view bytes) : block_(static_cast<char *>(malloc(bytes.size() + 1))) {
        FUZZ_CHECK(block_);
        if (!bytes.empty()) memcpy(block_ + 1, bytes.data(), bytes.size());
        view_ = {block_ + 1, bytes.size()};
    }
    ~ExactBytes() { free(block_); }
    ExactBytes(const ExactBytes &) = delete;
    ExactBytes &operator=(const ExactBytes &) = delete;
    std::string_view view() const { return view_; }

  private:
    char *block_;
    std::string_view view_;
};

#endif
