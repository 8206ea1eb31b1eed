// What a tree's servers say is held by others, asked for there when the configuration wants that. libldap's own way of
// following would know no limits: here each step is secured, verified and bounded like the first one. Whoever may write
// a referral object chooses where it leads: only a server that the configuration names learns who asks. A password goes
// there only over TLS, and only when the server that refers was trusted with it itself.
#ifndef PLATFORM_CLIENT_LDAP_REFERRALS_H
#define PLATFORM_CLIENT_LDAP_REFERRALS_H

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/client/ldap/connection.h"

// A place that a referral names. The parts that it leaves out are those of the search that was referred.
struct LdapPlace {
    std::string server; // "ldap://host:port"
    LdapSearch search;
};

// False for a text that is no URI of an LDAP server on the network. `continues`: the reference came among the entries
// of an answer; the place is then one of the search's own levels.
bool ldap_place_parse(const std::string &uri, const LdapSearch &referred, bool continues, LdapPlace *place);

// The number of the server among these URIs that a referral means, however it would have the server asked: by host and
// port, since another port of a machine may be anybody's, or by host where both ports are the usual ones of their
// schemes. Nothing where it means none of them, and for a text that is no URI of an LDAP server on the network.
std::optional<size_t> ldap_server_meant(const std::vector<std::string> &own, const std::string &referral);

class LdapReferrals {
  public:
    // How many servers after one another, and how many places for one answer.
    static constexpr size_t hop_limit = 8;
    static constexpr size_t place_limit = 32;

    // `config` must outlive the object.
    explicit LdapReferrals(const ConfigLdap &config);

    // Adds to the answer what is found where its referrals lead. A place that cannot be asked is reported in
    // `answer->missing`; the other places' entries are there nevertheless.
    void follow(const LdapConnection &from, const LdapSearch &search, const LdapIdentity &identity,
                LdapDeadline deadline, LdapAnswer *answer);

    // A login at the server that a referral has named as the one that has the user. Throws LdapTrouble when it cannot
    // be asked, and CodedError when the user must not be sent there: ZKE_REFERRAL_BROKEN for a server that the
    // configuration does not name, ZKE_TLS_REQUIRED when the password could be read on the way.
    LdapAnswer login(const LdapOrigin &origin, const LdapIdentity &identity, LdapDeadline deadline);

    // Somebody else asks from now on.
    void forget();

    // Was one of the servers that are left alone for now not certain to be the site's own?
    bool haveDistrusted() const;

  private:
    struct Down {
        LdapDeadline until;
        uint32_t code;
        std::string sentence;
        bool distrusted;
    };
    struct Step {
        std::vector<std::string> uris; // any of them will do
        bool continues;
        LdapSearch search;
        std::vector<std::string> way; // the places before it
        bool trusted;                 // may its server receive the password?
        LdapOrigin origin = {};       // who has answered
    };

    void add(const LdapAnswer &answer, const LdapSearch &search, const std::vector<std::string> &way, bool trusted,
             std::vector<Step> *steps) const;
    LdapAnswer take(const Step &step, const LdapIdentity &identity, LdapDeadline deadline, Step *next);
    LdapAnswer ask(const LdapPlace &place, bool trusted, const LdapIdentity &identity, LdapDeadline deadline,
                   bool *secured);
    LdapConnection &open(const std::string &server, bool trusted, const LdapIdentity &identity, LdapDeadline deadline);
    bool isNamed(const std::string &server) const;
    bool isSafe(const LdapConnection &connection, bool trusted) const;
    void remember(const std::string &server, const LdapTrouble &trouble);
    void refuseIfDown(const std::string &server) const;

    const ConfigLdap &config_;
    std::map<std::string, std::unique_ptr<LdapConnection>> connections_; // by server and by how far it is trusted
    std::map<std::string, Down> down_;
};

#endif
