#include "platform/client/ldap/framing.h"

#include <algorithm>
#include <string_view>

namespace {

constexpr unsigned char sequence_tag = 0x30;
constexpr unsigned char number_tag = 0x02;

} // namespace

LdapBerLength::State LdapBerLength::take(unsigned char byte) {
    if (!begun) {
        begun = true;
        following = byte < 0x80 ? 0 : byte & 0x7Fu;
        value_ = byte < 0x80 ? byte : 0;
        if (byte == 0x80 || following > sizeof value_) return Malformed;
    } else {
        value_ = value_ << 8 | byte;
        following--;
    }
    return following == 0 ? Whole : Partial;
}

LdapFraming::Verdict LdapFraming::takeHead(unsigned char byte) {
    if (!inHead) {
        inHead = true;
        length = {};
        return byte == sequence_tag ? Fine : Malformed;
    }
    const LdapBerLength::State state = length.take(byte);
    if (state == LdapBerLength::Whole) {
        if (length.value() > ldap_message_limit) return TooLarge;
        rest = length.value();
        inHead = false;
        start = 0;
        numberEnd = 0;
        number = 0;
        answerLength = {};
        started = false;
    }
    return state == LdapBerLength::Malformed || (state == LdapBerLength::Whole && rest == 0) ? Malformed : Fine;
}

LdapFraming::Verdict LdapFraming::takeStart(unsigned char byte) {
    constexpr std::string_view answers = "\x61\x64\x65\x67\x69\x6B\x6D\x6F\x73\x78\x79";
    size_t at = start++;
    if (at == 0) return byte == number_tag ? Fine : Malformed;
    if (at == 1) {
        numberEnd = 2 + byte;
        return byte >= 1 && byte <= 4 ? Fine : Malformed;
    }
    if (at < numberEnd) {
        number |= byte;
        return Fine;
    }
    if (at == numberEnd) {
        if (number == 0) { // libldap would lose memory with it
            rest = 0;
            return Disconnected;
        }
        return answers.find(static_cast<char>(byte)) != std::string_view::npos ? Fine : Malformed;
    }
    const LdapBerLength::State state = answerLength.take(byte);
    started = state == LdapBerLength::Whole;
    // libldap loses memory with an answer that goes on behind its message, too.
    return state == LdapBerLength::Malformed || answerLength.value() > rest ? Malformed : Fine;
}

LdapFraming::Verdict LdapFraming::take(const unsigned char *bytes, size_t count) {
    for (size_t i = 0; i < count;) {
        if (rest > 0 && !started) {
            rest--;
            Verdict beginning = takeStart(bytes[i++]);
            if (beginning != Fine || (rest == 0 && !started))
                return beginning == Disconnected ? Disconnected : Malformed;
            continue;
        }
        if (rest > 0) {
            size_t step = static_cast<size_t>(std::min<uint64_t>(rest, count - i));
            rest -= step;
            i += step;
            continue;
        }
        Verdict verdict = takeHead(bytes[i++]);
        if (verdict != Fine) return verdict;
    }
    return Fine;
}
