// Where LDAP messages begin and end in a stream of bytes.
#ifndef PLATFORM_CLIENT_LDAP_FRAMING_H
#define PLATFORM_CLIENT_LDAP_FRAMING_H

#include <cstddef>
#include <cstdint>

// The largest single message, and all messages of one request together.
constexpr size_t ldap_message_limit = size_t{20} * 1024 * 1024;
constexpr size_t ldap_answer_limit = size_t{256} * 1024 * 1024;

// A length as BER writes it: one byte, or how many follow and those.
class LdapBerLength {
  public:
    enum State { Partial, Whole, Malformed };

    State take(unsigned char byte);
    uint64_t value() const { return value_; }

  private:
    bool begun_ = false;
    size_t following_ = 0;
    uint64_t value_ = 0;
};

// Splits a byte stream into LDAP messages by their outermost tag and length, without keeping any of it, and looks at
// how each begins: a number, then one of the answers that there are, which ends within its message.
//
//     message ::= 30 length 02 (01|02|03|04) byte+ answer-tag length ...
class LdapFraming {
  public:
    // Disconnected: a message of no request's, number 0, by which a server says that it closes the connection.
    enum Verdict { Fine, Malformed, TooLarge, Disconnected };

    // Once a verdict is not Fine the stream is of no more use.
    Verdict take(const unsigned char *bytes, size_t count);
    bool inMessage() const { return inHead_ || rest_ > 0; }

  private:
    Verdict takeHead(unsigned char byte);
    Verdict takeStart(unsigned char byte);

    bool inHead_ = false;
    LdapBerLength length_;
    uint64_t rest_ = 0;    // of the current message's body
    size_t start_ = 0;     // bytes of the body's start that have been seen
    size_t numberEnd_ = 0; // position of the answer's tag in the body, once its number's length is known
    unsigned number_ = 0;  // its bytes, put together: 0 when all are
    LdapBerLength answerLength_;
    bool started_ = false;
};

#endif
