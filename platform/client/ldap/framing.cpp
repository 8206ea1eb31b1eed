#include "platform/client/ldap/framing.h"

#include <algorithm>
#include <string_view>

static constexpr unsigned char sequence_tag = 0x30;
static constexpr unsigned char number_tag = 0x02;

LdapBerLength::State LdapBerLength::take(unsigned char byte) {
    if (!begun_) {
        begun_ = true;
        following_ = byte < 0x80 ? 0 : byte & 0x7Fu;
        value_ = byte < 0x80 ? byte : 0;
        if (byte == 0x80 || following_ > sizeof value_) return Malformed;
    } else {
        value_ = value_ << 8 | byte;
        following_--;
    }
    return following_ == 0 ? Whole : Partial;
}

LdapFraming::Verdict LdapFraming::takeHead(unsigned char byte) {
    if (!inHead_) {
        inHead_ = true;
        length_ = {};
        return byte == sequence_tag ? Fine : Malformed;
    }
    const LdapBerLength::State state = length_.take(byte);
    if (state == LdapBerLength::Whole) {
        if (length_.value() > ldap_message_limit) return TooLarge;
        rest_ = length_.value();
        inHead_ = false;
        start_ = 0;
        numberEnd_ = 0;
        number_ = 0;
        answerLength_ = {};
        started_ = false;
    }
    return state == LdapBerLength::Malformed || (state == LdapBerLength::Whole && rest_ == 0) ? Malformed : Fine;
}

LdapFraming::Verdict LdapFraming::takeStart(unsigned char byte) {
    constexpr std::string_view answers = "\x61\x64\x65\x67\x69\x6B\x6D\x6F\x73\x78\x79";
    size_t at = start_++;
    if (at == 0) return byte == number_tag ? Fine : Malformed;
    if (at == 1) {
        numberEnd_ = 2 + byte;
        return byte >= 1 && byte <= 4 ? Fine : Malformed;
    }
    if (at < numberEnd_) {
        number_ |= byte;
        return Fine;
    }
    if (at == numberEnd_) {
        if (number_ == 0) { // libldap would lose memory with it
            rest_ = 0;
            return Disconnected;
        }
        return answers.find(static_cast<char>(byte)) != std::string_view::npos ? Fine : Malformed;
    }
    const LdapBerLength::State state = answerLength_.take(byte);
    started_ = state == LdapBerLength::Whole;
    // libldap loses memory with an answer that goes on behind its message, too.
    return state == LdapBerLength::Malformed || answerLength_.value() > rest_ ? Malformed : Fine;
}

LdapFraming::Verdict LdapFraming::take(const unsigned char *bytes, size_t count) {
    for (size_t i = 0; i < count;) {
        if (rest_ > 0 && !started_) {
            rest_--;
            Verdict beginning = takeStart(bytes[i++]);
            if (beginning != Fine || (rest_ == 0 && !started_))
                return beginning == Disconnected ? Disconnected : Malformed;
            continue;
        }
        if (rest_ > 0) {
            size_t step = static_cast<size_t>(std::min<uint64_t>(rest_, count - i));
            rest_ -= step;
            i += step;
            continue;
        }
        Verdict verdict = takeHead(bytes[i++]);
        if (verdict != Fine) return verdict;
    }
    return Fine;
}
