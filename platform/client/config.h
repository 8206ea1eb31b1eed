// The client's configuration file; README.md lists the keys.
#ifndef PLATFORM_CLIENT_CONFIG_H
#define PLATFORM_CLIENT_CONFIG_H

#include <string>
#include <vector>

struct ConfigTree {
    std::string name;
    std::string ldif;  // path of the LDIF file
    std::string shown; // the same as the file spells it, for messages
    std::string base;  // DN, empty for none
    std::string defaultServer;
};

struct ConfigUser {
    std::string name;
    std::string password; // as userPassword
};

// A file server outside every tree.
struct ConfigServer {
    std::string name;
    bool anyVolume = true; // no list of volumes was given
    std::vector<std::string> volumes;
    std::vector<ConfigUser> users;
};

struct Config {
    std::string defaultTree;
    std::string linkDirectory = "%HOME";
    std::string mountPoint = "/mnt/brasca";
    std::vector<ConfigTree> trees;
    std::vector<ConfigServer> servers;
};

// The file that ZKCLIENT_CONF names, unless the process has more rights than its user; otherwise the system's.
std::string config_path();

// Reads the file. Throws DataError that tells file, line and column. A file that is not there is an empty configuration
// and a last error text.
Config config_load(const std::string &path);

#endif
