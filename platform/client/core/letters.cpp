#include "platform/client/core/letters.h"

#include <unicase.h>
#include <unictype.h>
#include <uninorm.h>
#include <unistr.h>
#include <cstdlib>
#include <memory>
#include <new>
#include <stdexcept>

#include "platform/catalogue.h"
#include "platform/common/late_library.h"

template <typename Symbol>
static Symbol *function_of(const char *name) {
    return late_function<Symbol>(LIBUNISTRING_SONAME, name);
}

template <typename Symbol>
static Symbol &required(const char *name) {
    Symbol *symbol = function_of<Symbol>(name);
    if (symbol == nullptr) throw std::runtime_error(catalogue_format("cannot load a library: %s", dlerror()));
    return *symbol;
}

namespace {

struct Folding {
    decltype(u8_check) &check = required<decltype(u8_check)>("u8_check");
    decltype(u8_normalize) &normalize = required<decltype(u8_normalize)>("u8_normalize");
    const uninorm_t compatible = &required<const struct unicode_normalization_form>("uninorm_nfkc");
    decltype(u8_mbtouc_unsafe) &next = required<decltype(u8_mbtouc_unsafe)>("u8_mbtouc_unsafe");
    decltype(u8_uctomb) &spell = required<decltype(u8_uctomb)>("u8_uctomb");
    decltype(uc_tolower) &lower = required<decltype(uc_tolower)>("uc_tolower");
};

} // namespace

std::string letters_fold(std::string_view value) {
    static const Folding folding;
    const auto *bytes = reinterpret_cast<const uint8_t *>(value.data());
    if (folding.check(bytes, value.size()) != nullptr) return std::string(value);
    size_t length = 0;
    std::unique_ptr<uint8_t, decltype(&free)> normal(
        folding.normalize(folding.compatible, bytes, value.size(), nullptr, &length), &free);
    if (normal == nullptr) throw std::bad_alloc();
    std::string folded;
    for (size_t at = 0; at < length;) {
        ucs4_t letter = 0;
        at += static_cast<size_t>(folding.next(&letter, normal.get() + at, length - at));
        uint8_t small[4];
        const int size = folding.spell(small, folding.lower(letter), sizeof small);
        folded.append(reinterpret_cast<const char *>(small), static_cast<size_t>(size));
    }
    return folded;
}

bool letter_is_harmful(uint32_t letter) noexcept {
    if (letter < 0x80) return letter < 0x20 || letter == 0x7F;
    constexpr uint32_t harmful = UC_CATEGORY_MASK_C | UC_CATEGORY_MASK_Zl | UC_CATEGORY_MASK_Zp;
    const auto isOneOf = function_of<decltype(uc_is_general_category_withtable)>("uc_is_general_category_withtable");
    return isOneOf == nullptr || isOneOf(letter, harmful);
}
