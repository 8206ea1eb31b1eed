// The wire below libldap: a connection made within a deadline, and a watch over every byte that is read. libldap's own
// time-outs end with the first byte of an answer, and it takes whatever length an answer claims; here a peer that is
// silent, drips, claims too much or sends something else is recognised and cut off in time.
#ifndef PLATFORM_CLIENT_LDAP_STREAM_H
#define PLATFORM_CLIENT_LDAP_STREAM_H

#include <ldap.h>
#include <memory>
#include <string>
#include <vector>

#include "platform/client/core/trouble.h"
#include "platform/client/ldap/framing.h"
#include "platform/client/ldap/uri.h"

// Watches one LDAP handle. Must outlive it.
class LdapWatch {
  public:
    enum Event { Nothing, TimedOut, Closed, Malformed, TooLarge };

    // A request begins: reading and writing for it end at the deadline.
    void begin(LdapDeadline until);
    void attach(LDAP *ld);

    Event event() const { return happened_; }
    bool inAnswer() const { return framing_.inMessage(); }
    LdapDeadline deadline() const { return until_; }

    // For the layers of the stream.
    void note(Event event);
    bool waitFor(int descriptor, short events);
    bool takeBytes(const unsigned char *bytes, size_t count);
    // Reads what there is, 0 at the end, -1 with errno; waits for the first byte.
    ber_slen_t read(int descriptor, unsigned char *buffer, size_t size);
    bool hasReadAhead() const { return aheadAt_ < ahead_.size(); }

  private:
    ber_slen_t receive(int descriptor, unsigned char *buffer, size_t size);
    size_t takeAhead(unsigned char *buffer, size_t size);

    LdapDeadline until_;
    Event happened_ = Nothing;
    LdapFraming framing_;
    size_t received_ = 0;
    std::vector<unsigned char> ahead_; // read from the socket and not yet returned, from aheadAt on
    size_t aheadAt_ = 0;
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
// which the caller closes. Throws LdapTrouble. `*loopback` is true when the peer is this machine. A local socket is
// only taken where root, the process's own user or `localOwner` (a name or a number) listens: whoever else can put one
// into the place of the server's would receive passwords.
int ldap_stream_connect(const LdapUri &uri, const std::string &localOwner, LdapDeadline deadline, bool *loopback);

#endif
