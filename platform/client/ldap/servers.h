// The servers of a tree, tried in turn. Whoever asks does not notice which one answers: a server that refuses, is
// silent, dies or talks nonsense is passed over for a while, and the request goes to the next one, as the same user.
#ifndef PLATFORM_CLIENT_LDAP_SERVERS_H
#define PLATFORM_CLIENT_LDAP_SERVERS_H

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/client/ldap/connection.h"
#include "platform/client/ldap/referrals.h"
#include "platform/client/ldap/script_change.h"

class LdapServers {
  public:
    // `config` must outlive the object.
    explicit LdapServers(const ConfigLdap &config);

    // Both throw LdapTrouble when no server gave an answer: with the code of the failure when all failed alike,
    // otherwise ZKE_DIRECTORY_UNREACHABLE, and a sentence about what each server did.
    // Where the configuration wants that, the answer holds what other servers have as well. All answers since the last
    // login or logout have a limit together, since most of them are kept: ZKE_ANSWER_TOO_LARGE.
    LdapAnswer search(const LdapSearch &search);
    // Asks whether the password is right; who is logged in stays so. `origin`: where the user's entry was found.
    LdapAnswer tryPassword(const LdapIdentity &identity, const LdapOrigin &origin);

    // From now on requests are made as this user, when the answer is LDAP_SUCCESS; otherwise who is logged in stays so.
    LdapAnswer login(LdapIdentity identity, const LdapOrigin &origin);
    // Replaces the password `before` of the entry with `after`, both for one login; where that is who is logged in,
    // requests are made with the new one from now on. The answer is that to a login with the old one if that was
    // refused. Once the new password has been sent, no other server is tried: what goes wrong then is a CodedError.
    // A server that has only a copy of the directory refers the change to another one: it is made there if that is one
    // of the tree's own, which is asked first from then on, since the copy gets the new password later. Otherwise a
    // CodedError says where it has to be made.
    LdapAnswer changePassword(const std::string &dn, const LdapIdentity &before, LdapIdentity after,
                              const LdapOrigin &origin);
    // Changes a script as the user who is logged in. Throws LdapTrouble and CodedError as ldap_script_change.
    void changeScript(const LdapScriptChange &change);
    // Replaces a value as the user who is logged in, if there is a connection, and lets the server do with that what it
    // will.
    void tell(const std::string &dn, const std::string &attribute, const std::string &value);
    // From now on requests are anonymous.
    void logout();

    // When no server gave an answer: was one of them, or of those referred to, not certain to be the site's own? The
    // code of servers that failed in different ways does not tell.
    bool haveDistrusted() const;

  private:
    struct Server {
        std::string uri;
        LdapDeadline downUntil = LdapDeadline::min();
        uint32_t code = 0;       // of its last failure
        std::string sentence;    // of its last failure
        bool distrusted = false; // as in LdapTrouble, of its last failure
        std::string certified;   // as for LdapConnection
    };
    using Request = std::function<LdapAnswer(LdapConnection &, LdapDeadline)>;

    // What a change of a password needs.
    struct Change {
        const std::string &dn;
        const LdapIdentity &before;
        const LdapIdentity &after;
        bool isOfSession; // of who is logged in at the tree's own servers
    };

    void bindAgain(LdapConnection *made, LdapDeadline deadline);
    LdapDeadline deadlineFromNow() const;
    void findServers(LdapDeadline deadline);
    LdapAnswer run(const Request &request, LdapDeadline deadline);
    // Logs in on an anonymous connection, and returns it.
    LdapAnswer bindAsNobody(const Request &bind, std::unique_ptr<LdapConnection> *bound, size_t *where);
    LdapAnswer changeElsewhere(LdapAnswer answer, size_t asked, const Change &change, LdapDeadline deadline);
    LdapAnswer followChange(const LdapAnswer &referring, const Change &change, LdapDeadline deadline,
                            std::vector<size_t> *way);
    std::vector<size_t> ownServers(const std::vector<std::string> &referral) const;
    LdapAnswer changeAt(size_t number, const Change &change, LdapDeadline deadline);
    // The servers that are not left alone for now, in the order in which they are asked.
    std::vector<size_t> usableServers() const;
    std::optional<LdapAnswer> runOnCurrent(const Request &request, LdapDeadline deadline);
    std::optional<LdapAnswer> runOn(size_t number, const Request &request, LdapDeadline deadline);
    void count(const LdapAnswer &answer);
    void markDown(Server *server, const LdapTrouble &trouble) const;
    [[noreturn]] void giveUp() const;

    const ConfigLdap &config_;
    std::vector<Server> servers_;                // where DNS lists them, none before they are asked
    Server lookup_;                              // the name servers, which may fail like a server
    std::unique_ptr<LdapConnection> connection_; // to `current`; null: none is open
    size_t current_ = 0;
    size_t first_ = 0; // is asked before all others
    LdapIdentity identity_;
    bool identityIsElsewhere_ = false; // the tree's own servers do not know the user
    bool identityIsRejected_ = false;  // by a server, after another one had accepted it
    LdapReferrals referrals_;
    size_t counted_ = 0; // bytes of memory of the answers since the last login or logout
};

#endif
