// The client's configuration file; README.md lists the keys.
#ifndef PLATFORM_CLIENT_CORE_CONFIG_H
#define PLATFORM_CLIENT_CORE_CONFIG_H

#include <sys/types.h>
#include <map>
#include <string>
#include <vector>

#include "platform/client/core/presets.h"

// A tree on LDAP servers.
struct ConfigLdap {
    std::vector<std::string> uris; // tried in this order; empty for a tree in an LDIF file, and with srvName
    std::string srvName;           // below which DNS lists the servers; empty for none
    std::string searchBase;        // DN below which searches are made; empty: the base, or what the server names
    std::string caFile = "/etc/ssl/certs/ca-certificates.crt";
    bool ownAuthority = false;           // the configuration names the CA file
    std::string localOwner = "openldap"; // who may be behind an ldapi socket, beside root and the process's own user
    bool startTls = false;
    bool cleartextLoopback = false; // passwords may cross a loopback connection in the clear
    bool external = false;          // ldapi: the user is whom the server takes the process's user for
    bool gssapi = false;            // the user is whom the ticket in the credential cache is for
    bool saslMechanisms = false;    // some tree has gssapi: libldap loads SASL's mechanisms; no key of the file
    double timeLimit = 5;           // seconds for the first answer to a request, all servers together
    double retryAfter = 30;         // seconds for which a server that failed is passed over
    bool referrals = false;         // ask the servers that those of the tree refer to
    std::vector<std::string> referralServers; // URIs of those that may receive the user's identity, beside `uris`
    size_t loginLimit = size_t{512} << 20;    // bytes of memory for all answers of a login together; no key of the file
    bool offline = false;
    double offlineDays = 30; // a copy that is older serves no login
    bool needsPassword() const { return !gssapi && !external; }
    bool hasServers() const { return !uris.empty() || !srvName.empty(); } // otherwise the tree is in an LDIF file
    SitePreset schema = SitePreset::brasca;
    std::map<std::string, std::string> attributes; // the README's LDAP attribute -> its name in this tree
    std::map<std::string, std::string> classes;    // the README's LDAP class -> its name in this tree
    std::vector<std::string> loginAttributes;      // ConfigTree::loginAttributes; no key of its own
    std::string homeVolume; // "SRV1/HOME": the volume of the home directories that name no server
    std::string homePrefix; // what is left out of these before the volume's part begins
    bool trace = false;     // Config::trace; no key of the tree
};

struct ConfigTree {
    std::string name;
    std::string ldif;  // path of the LDIF file, empty for a tree on LDAP servers
    std::string shown; // the same as the file spells it, for messages
    std::string base;  // DN, empty for none
    std::string defaultServer;
    std::string scripts;          // path of the folder with what the site adds to the directory, empty for none
    uid_t configurationOwner = 0; // whose the configuration file is; no key of the file
    double warnDays = 14;         // a password is said to expire from so many days before that on
    bool sharePassword = false;   // scripts may try the password of another tree's login here
    bool anyText = false;         // hand out texts with control characters
    bool anyPath = false;         // return paths with control characters, or with what map takes for the end of an item
    std::string defaultContext;   // dotted: where the user of a name without containers is looked for first
    std::vector<std::string> loginAttributes; // a user may be named by any of them; empty: those of the schema
    bool nestedGroups = true;                 // who is in a group is in the groups that this one is in
    bool flatGroups = false;                  // groups are handed out as the user's container's, too
    bool allAttributes = false;               // the user's attributes can be read by their own names
    ConfigLdap ldap;
};

struct ConfigUser {
    std::string name;
    std::string password; // as userPassword
};

// A file server outside every tree.
struct ConfigServer {
    std::string name;
    bool anyVolume = true;   // no list of volumes was given
    bool listedHost = false; // a host of the automounter's list: names are in capitals, as its users see them
    std::vector<std::string> volumes;
    std::vector<ConfigUser> users;
};

// What a volume is mounted from, whether an object of a tree stands for it or not.
struct ConfigVolume {
    std::string server, name;
    std::string source, options; // checked: platform/common/volume_source.h
};

// For the automounter (tools/automount).
struct ConfigAutomount {
    std::vector<std::string> hosts;   // that volume objects and UNC paths may name
    std::vector<std::string> folders; // below which volume objects may name a folder of the machine
    std::string smbOptions;           // of UNC paths
    double timeLimit = 15;            // seconds for one mount
    double refresh = 300;             // seconds after which the directories are asked again
    bool credentials = false;         // the login's password is kept for SMB until the logout
};

struct Config {
    std::string defaultTree;
    bool trace = false; // tell on standard error what a login waits for
    std::vector<ConfigTree> trees;
    std::vector<ConfigServer> servers; // those that only a volume names included
    std::vector<ConfigVolume> volumes;
    bool mountByLink = false; // drives of local folders lead there themselves, and nothing is mounted
    ConfigAutomount automount;
};

// The file that ZKCLIENT_CONF names, unless the process has more rights than its user; otherwise the system's.
std::string config_path();

// Reads the file. Throws DataError with file, line and column. A file that is not there is an empty configuration
// and a last error text; a file without trees leaves such a text too.
Config config_load(const std::string &path);

#endif
