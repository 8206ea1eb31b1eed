// The wire below libldap: a connection made within a deadline, and a watch over every byte that is read. libldap's own
// time-outs end with the first byte of an answer, and it takes whatever length an answer claims; here a peer that is
// silent, drips, claims too much or sends something else is told apart and cut off in time.
#ifndef PLATFORM_CLIENT_LDAP_STREAM_H
#define PLATFORM_CLIENT_LDAP_STREAM_H

#include <ldap.h>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/client/ldap/trouble.h"
#include "platform/client/ldap/uri.h"

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
    bool begun = false;
    size_t following = 0;
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
    bool inMessage() const { return inHead || rest > 0; }

  private:
    Verdict takeHead(unsigned char byte);
    Verdict takeStart(unsigned char byte);

    bool inHead = false;
    LdapBerLength length;
    uint64_t rest = 0;    // of the current message's body
    size_t start = 0;     // bytes of the body's start that have been seen
    size_t numberEnd = 0; // position of the answer's tag in the body, once its number's length is known
    unsigned number = 0;  // its bytes, put together: 0 when all are
    LdapBerLength answerLength;
    bool started = false;
};

// Watches one LDAP handle. Must outlive it.
class LdapWatch {
  public:
    enum Event { Nothing, TimedOut, Closed, Malformed, TooLarge };

    // A request begins: reading and writing for it end at the deadline.
    void begin(LdapDeadline until);
    void attach(LDAP *ld);

    Event event() const { return happened; }
    bool inAnswer() const { return framing.inMessage(); }
    LdapDeadline deadline() const { return until_; }

    // For the layers of the stream.
    void note(Event event);
    bool waitFor(int descriptor, short events);
    bool takeBytes(const unsigned char *bytes, size_t count);
    // Reads what there is, 0 at the end, -1 with errno; waits for the first byte.
    ber_slen_t read(int descriptor, unsigned char *buffer, size_t size);
    bool hasReadAhead() const { return aheadAt < ahead.size(); }

  private:
    ber_slen_t receive(int descriptor, unsigned char *buffer, size_t size);
    size_t takeAhead(unsigned char *buffer, size_t size);

    LdapDeadline until_;
    Event happened = Nothing;
    LdapFraming framing;
    size_t received = 0;
    std::vector<unsigned char> ahead; // read from the socket and not yet handed out, from aheadAt on
    size_t aheadAt = 0;
};

// A handle of libldap's and the watch over it, which has to outlive it.
struct LdapWire {
    struct Unbind {
        void operator()(LDAP *ld) const { ldap_unbind_ext(ld, nullptr, nullptr); }
    };
    LdapWatch watch;
    std::unique_ptr<LDAP, Unbind> handle;
};

// Connects to the first of the URI's addresses that takes the connection before the deadline. Returns the descriptor,
// which the caller closes. Throws LdapTrouble. `*loopback` tells whether the peer is this machine. A local socket is
// only taken where root, the process's own user or `localOwner` (a name or a number) listens: whoever else can put one
// into the place of the server's would be told passwords.
int ldap_stream_connect(const LdapUri &uri, const std::string &localOwner, LdapDeadline deadline, bool *loopback);

#endif
