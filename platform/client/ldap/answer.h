// What is asked of a server, and what it answers.
#ifndef PLATFORM_CLIENT_LDAP_ANSWER_H
#define PLATFORM_CLIENT_LDAP_ANSWER_H

#include <ldap.h>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

// The server that a referral led to, and whether everybody on the way there may see a password. Empty: the tree's own.
struct LdapOrigin {
    std::string server;
    bool trusted = false;
};

struct LdapEntry {
    std::string dn;
    std::vector<std::pair<std::string, std::vector<std::string>>> attributes; // name without options, values
    LdapOrigin origin = {};
};

// The first value of an attribute, in any letter case; empty when there is none.
std::string ldap_first_value(const LdapEntry &entry, const char *attribute);

struct LdapSearch {
    std::string base;
    int scope;
    std::string filter;
    std::vector<std::string> attributes;
    int sizeLimit = 0;  // 0: the server's own
    bool paged = false; // in pages, where the server knows them (RFC 2696): its limit is for each of them
};

// A change of one attribute of an entry.
struct LdapModification {
    int operation; // LDAP_MOD_ADD, LDAP_MOD_REPLACE, ...
    std::string attribute;
    std::vector<std::string> values;
};

// A part of an attribute's values: the server gives no more at once.
struct LdapRange {
    size_t entry;          // its number in the answer
    std::string attribute; // without the range
    size_t next;           // the number of the first value that is missing
};

// What the controls of an answer say of a password.
struct LdapPasswordControls {
    int error = 65535;        // as LDAPPasswordPolicyError
    int64_t expiresIn = -1;   // seconds; -1: not said
    int64_t graceLogins = -1; // -1: not said
    bool hasPolicy = false;   // there was one of draft-behera-ldap-password-policy
    bool hasExpired = false;  // the older control that says so, also of one that has been reset
};

struct LdapAnswer {
    int result = 0; // LDAP's result code
    std::string text;
    LdapPasswordControls password;
    std::vector<LdapEntry> entries; // also those before a limit was hit

    // Where the rest is: URIs of which any will do, instead of the answer (LDAP_REFERRAL) and beside the entries.
    std::vector<std::string> referral;
    std::vector<std::vector<std::string>> references;
    // Not empty: something of the rest could not be had, and why.
    std::string missing;
    uint32_t missingCode = 0;

    // What the server has more of, for whoever reads the answer of one request.
    std::string who;    // of a bind: whom the server takes the connection for, as far as it says so
    std::string cookie; // of the next page (RFC 2696); empty: there is none
    std::vector<LdapRange> ranges;
};

// About what the answer takes in memory: many small values take more than their bytes.
size_t ldap_answer_memory(const LdapAnswer &answer);

struct LdapFreeMessage {
    void operator()(LDAPMessage *message) const { ldap_msgfree(message); }
};
using LdapMessage = std::unique_ptr<LDAPMessage, LdapFreeMessage>;

// Takes the messages of an answer apart. Returns LDAP_SUCCESS, or libldap's result for what is not LDAP.
int ldap_answer_read(LDAP *ld, LDAPMessage *messages, LdapAnswer *answer);

#endif
