#include "platform/client/ldap/srv.h"

#include <arpa/nameser.h>
#include <netdb.h>
#include <netinet/in.h>
#include <resolv.h>
#include <algorithm>
#include <cstdlib>
#include <iterator>
#include <memory>

#include "platform/catalogue.h"
#include "platform/client/core/names.h"
#include "platform/client/core/waiting.h"
#include "platform/client/ldap/resolver.h"
#include "platform/zk.h"

static constexpr size_t answer_limit = 65535;
static constexpr size_t servers_limit = 16;
static constexpr size_t name_limit = 253;
static constexpr int seconds_for_a_server = 1;
static constexpr int tries_for_a_server = 2;

namespace {

enum class Answer { records, nothing, failure, silence };

struct Service {
    std::string scheme;
    std::string name;
    Answer answer = Answer::failure;
    std::vector<LdapSrvRecord> records = {};
};

// Shared with a thread that may outlive the wait for it.
struct Lookup {
    Service services[2];
};

struct CloseState {
    void operator()(struct __res_state *state) const {
        res_nclose(state);
        delete state;
    }
};
using State = std::unique_ptr<struct __res_state, CloseState>;

} // namespace

// The root alone means that there is no such service. What has other signs could be more than a host in a URI.
static bool is_host(const std::string &name) {
    constexpr const char *letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_.";
    return !name.empty() && name.size() <= name_limit && name.front() != '.' && name.front() != '-' &&
           name.find_first_not_of(letters) == name.npos && name.find("..") == name.npos;
}

static bool read_record(const ns_msg &message, const ns_rr &record, LdapSrvRecord *read) {
    constexpr size_t numbers = 3 * sizeof(uint16_t);
    if (ns_rr_type(record) != ns_t_srv || ns_rr_class(record) != ns_c_in || ns_rr_rdlen(record) <= numbers)
        return false;
    const unsigned char *data = ns_rr_rdata(record);
    char host[NS_MAXDNAME];
    if (dn_expand(ns_msg_base(message), ns_msg_end(message), data + numbers, host, sizeof host) < 0) return false;
    const auto number = [data](size_t i) { return static_cast<uint16_t>(data[i] << 8 | data[i + 1]); };
    *read = {host, number(4), number(0), number(2)};
    return read->port != 0 && is_host(read->host);
}

std::vector<LdapSrvRecord> ldap_srv_read(const std::vector<unsigned char> &answer) {
    std::vector<LdapSrvRecord> records;
    ns_msg message;
    if (ns_initparse(answer.data(), static_cast<int>(answer.size()), &message) != 0) return records;
    const int count = ns_msg_count(message, ns_s_an);
    for (int i = 0; i < count; i++) {
        ns_rr record;
        LdapSrvRecord read;
        if (ns_parserr(&message, ns_s_an, i, &record) != 0) return {};
        if (read_record(message, record, &read)) records.push_back(std::move(read));
    }
    return records;
}

// The index of the next one of those from `first` to `end`, which have one priority.
static size_t choose(const std::vector<LdapSrvRecord> &records, size_t first, size_t end,
                     const std::function<uint32_t(uint32_t)> &below) {
    uint32_t all = 0;
    for (size_t i = first; i < end; i++) all += records[i].weight;
    uint32_t left = below(all + 1);
    for (size_t i = first; i < end; i++) {
        if (left <= records[i].weight) return i;
        left -= records[i].weight;
    }
    return first;
}

// Those without a weight are first in line for the smallest number: so they have a small chance.
void ldap_srv_order(std::vector<LdapSrvRecord> *records, const std::function<uint32_t(uint32_t)> &below) {
    std::stable_sort(records->begin(), records->end(), [](const LdapSrvRecord &a, const LdapSrvRecord &b) {
        return a.priority != b.priority ? a.priority < b.priority : a.weight == 0 && b.weight != 0;
    });
    for (size_t first = 0, end = 0; first < records->size(); first++) {
        while (end < records->size() && (*records)[end].priority == (*records)[first].priority) end++;
        const auto at = records->begin() + static_cast<std::ptrdiff_t>(first);
        const auto chosen = records->begin() + static_cast<std::ptrdiff_t>(choose(*records, first, end, below));
        std::rotate(at, chosen, chosen + 1);
    }
}

static Answer ask(struct __res_state *state, const std::string &name, std::vector<LdapSrvRecord> *records) {
    std::vector<unsigned char> answer(answer_limit);
    const int length =
        res_nquery(state, name.c_str(), ns_c_in, ns_t_srv, answer.data(), static_cast<int>(answer.size()));
    if (length >= 0) {
        answer.resize(std::min(static_cast<size_t>(length), answer.size()));
        *records = ldap_srv_read(answer);
        return records->empty() ? Answer::nothing : Answer::records;
    }
    if (state->res_h_errno == HOST_NOT_FOUND || state->res_h_errno == NO_DATA) return Answer::nothing;
    // After an answer that says no more than that there is none, the library waits for a better one until its time is
    // over: only what it has received tells this from silence.
    constexpr unsigned char is_answer = 0x80; // of the third byte
    return (answer[2] & is_answer) != 0 ? Answer::failure : Answer::silence;
}

// Name servers that do not answer at once are asked once more; the caller does not wait for longer than it has.
static void run(Lookup *lookup) {
    State state(new struct __res_state());
    if (res_ninit(state.get()) != 0) return;
    state->retrans = seconds_for_a_server;
    state->retry = tries_for_a_server;
    for (Service &service : lookup->services) {
        service.answer = ask(state.get(), service.name, &service.records);
        ldap_srv_order(&service.records, arc4random_uniform);
    }
}

// What follows the labels of services: "school.example" of "dc._msdcs.school.example".
static std::string domain_of(const std::string &name) {
    const size_t service = name.rfind('_');
    return service == name.npos ? name : name.substr(name.find('.', service) + 1);
}

static bool is_below(const std::string &host, const std::string &domain) {
    const size_t above = host.size() - std::min(host.size(), domain.size());
    return equal_nocase(std::string_view(host).substr(above), domain) && (above == 0 || host[above - 1] == '.');
}

// A certificate says who a server is, not whose: one with a name below the domain is the domain's, any other server
// has to show one with the name of the domain, unless the site's own authority has signed it.
static LdapSrvServer server_of(const ConfigLdap &config, const std::string &scheme, const LdapSrvRecord &record) {
    const std::string domain = domain_of(config.srvName);
    const bool itsName = config.ownAuthority || is_below(record.host, domain);
    return {scheme + "://" + record.host + ":" + std::to_string(record.port), itsName ? "" : domain};
}

static std::vector<LdapSrvServer> servers_in(const ConfigLdap &config, const Lookup &found) {
    std::vector<LdapSrvServer> servers;
    std::vector<std::string> secured; // hosts that need not be asked for StartTLS
    for (const Service &service : found.services) {
        for (const LdapSrvRecord &record : service.records) {
            const bool isKnown = std::any_of(secured.begin(), secured.end(),
                                             [&](const std::string &host) { return equal_nocase(host, record.host); });
            if (servers.size() == servers_limit || (isKnown && service.scheme == "ldap")) continue;
            servers.push_back(server_of(config, service.scheme, record));
            if (service.scheme == "ldaps") secured.push_back(record.host);
        }
    }
    return servers;
}

std::string ldap_srv_shown(const ConfigLdap &config) {
    return "srv:" + config.srvName;
}

[[noreturn]] static void fail_silent(const std::string &shown) {
    throw LdapTrouble(ZKE_HOST_LOOKUP_SILENT, shown + ": " + catalogue_text("timed out looking up the servers in DNS"));
}

[[noreturn]] static void fail(const std::string &shown, const Lookup &found) {
    const auto &services = found.services;
    const auto any = [&](Answer answer) {
        return std::any_of(std::begin(services), std::end(services),
                           [answer](const Service &service) { return service.answer == answer; });
    };
    if (any(Answer::silence)) fail_silent(shown);
    throw LdapTrouble(
        ZKE_DIRECTORY_UNREACHABLE,
        any(Answer::failure)
            ? shown + ": " + catalogue_text("cannot look up the servers in DNS: the name server failed")
            : catalogue_format("%1$s: DNS lists no server for %2$s", shown.c_str(), found.services[1].name.c_str()));
}

// An Active Directory lists its domain controllers apart from other servers of the domain.
static std::string ldap_service(const ConfigLdap &config) {
    const bool ofControllers =
        config.schema == SitePreset::activeDirectory && config.srvName.find('_') == std::string::npos;
    return (ofControllers ? "_ldap._tcp.dc._msdcs." : "_ldap._tcp.") + config.srvName;
}

std::vector<LdapSrvServer> ldap_srv_find(const ConfigLdap &config, LdapDeadline deadline) {
    const std::string shown = ldap_srv_shown(config);
    auto lookup = std::make_shared<Lookup>();
    lookup->services[0] = {"ldaps", "_ldaps._tcp." + config.srvName};
    lookup->services[1] = {"ldap", ldap_service(config)};
    if (!ldap_waiting_done(ldap_lookup_start(shown, [lookup]() { run(lookup.get()); }), deadline)) fail_silent(shown);
    std::vector<LdapSrvServer> servers = servers_in(config, *lookup);
    if (servers.empty()) fail(shown, *lookup);
    return servers;
}
