#include "platform/client/ldap/ticket.h"

#include <ldap.h>
#include <sasl/sasl.h>
#include <system_error>

#include "platform/catalogue.h"
#include "platform/client/core/bounded.h"
#include "platform/client/core/waiting.h"
#include "platform/zk.h"

// Nothing is left to ask: who logs in is in the ticket.
static int answer_nothing(LDAP *, unsigned, void *, void *questions) {
    for (auto *one = static_cast<sasl_interact_t *>(questions); one->id != SASL_CB_LIST_END; one++) {
        one->result = "";
        one->len = 0;
    }
    return LDAP_SUCCESS;
}

static std::string words_of(LDAP *ld, int result) {
    char *text = nullptr;
    ldap_get_option(ld, LDAP_OPT_DIAGNOSTIC_MESSAGE, &text);
    std::string words = result == LDAP_LOCAL_ERROR           ? catalogue_text("no ticket for this server")
                        : result == LDAP_INVALID_CREDENTIALS ? catalogue_text("the server rejected the ticket")
                                                             : ldap_err2string(result);
    if (text != nullptr && *text != '\0') words += std::string(": ") + text;
    ldap_memfree(text);
    return words;
}

static void bind(LDAP *ld, bool secured, LdapTicketResult *told) {
    // The server's name is the configured one: whoever could answer for the address's name could stand in for it.
    // TLS and a second encryption on top of it do not go together everywhere.
    const char *layers = secured ? "noanonymous,maxssf=0" : "noanonymous,minssf=56";
    if (ldap_set_option(ld, LDAP_OPT_X_SASL_NOCANON, LDAP_OPT_ON) != LDAP_OPT_SUCCESS ||
        ldap_set_option(ld, LDAP_OPT_X_SASL_SECPROPS, layers) != LDAP_OPT_SUCCESS) {
        *told = {LDAP_AUTH_METHOD_NOT_SUPPORTED, catalogue_text("libldap was built without SASL"), ""};
        return;
    }
    told->result =
        ldap_sasl_interactive_bind_s(ld, nullptr, "GSSAPI", nullptr, nullptr, LDAP_SASL_QUIET, answer_nothing, nullptr);
    told->words = words_of(ld, told->result);
    char *user = nullptr;
    if (told->result == LDAP_SUCCESS && ldap_get_option(ld, LDAP_OPT_X_SASL_USERNAME, &user) == LDAP_OPT_SUCCESS)
        told->user = user == nullptr ? "" : user;
    ldap_memfree(user);
}

bool ldap_ticket_bind(const std::shared_ptr<LdapWire> &wire, bool secured, LdapDeadline deadline,
                      LdapTicketResult *told) {
    auto shared = std::make_shared<LdapTicketResult>();
    shared->result = LDAP_NO_MEMORY;
    try {
        Bounded work([wire, secured, shared]() { bind(wire->handle.get(), secured, shared.get()); });
        if (!ldap_waiting_done(work, deadline)) return false;
    } catch (const std::system_error &error) {
        throw LdapTrouble(ZKE_DIRECTORY_UNREACHABLE, catalogue_format("cannot start a thread: %s", error.what()));
    }
    *told = *shared;
    return true;
}
