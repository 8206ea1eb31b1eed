// What the tests over real directories share: a private network, and verbs over the login program as in LdapSite.
#ifndef TESTS_DIRECTORIES_REAL_DIRECTORY_H
#define TESTS_DIRECTORIES_REAL_DIRECTORY_H

#include "platform/client/core/errors.h"
#include "platform/client/session/trees.h"
#include "tests/directories/directory_servers.h"
#include "tests/directories/private_network.h"
#include "tests/ldap/ldap_site.h"

constexpr char who_logs_in[] = "WRITE \"%LOGIN_NAME %CN %LOGIN_CONTEXT %LOGIN_ALIAS_CONTEXT %FULL_NAME\"\n";

class RealDirectory : public LdapSite {
  protected:
    RealDirectory() { defaultServer.clear(); }
    // The tree, with more lines of its table.
    template <typename Server>
    void onDirectory(const Server &server, const std::string &more = "") {
        onStrictServers({server.uri()},
                        "base = \"" + server.base() + "\"\nca_file = \"" + server.caFile() + "\"\n" + more);
    }
    // The same tree as a store.
    template <typename Server>
    DirectoryStore *store(const Server &server) {
        if (opened != nullptr) return opened.get();
        tree.name = "ACME";
        tree.base = server.base();
        tree.ldap.uris = {server.uri()};
        tree.ldap.caFile = server.caFile();
        opened = tree_ldap_store(tree, baseName(server));
        return opened.get();
    }
    template <typename Server>
    static Name baseName(const Server &server) {
        Name base;
        name_parse_dn(server.base(), {}, &base, nullptr);
        return base;
    }

    // How a call fails: nothing, or the last digits of the code and the sentence.
    template <typename Call>
    static std::string outcomeOf(Call call) {
        try {
            call();
            return "";
        } catch (const CodedError &error) {
            char code[16];
            snprintf(code, sizeof code, "%04X ", error.code & 0xFFFF);
            return code + std::string(error.what());
        }
    }

    PrivateNetwork network;

  private:
    ConfigTree tree;
    std::unique_ptr<DirectoryStore> opened;
};

#endif
