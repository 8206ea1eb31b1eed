// The login scripts of objects for the programs that administer them (tools/qrtscript/object). They are built and
// installed together with the client, so that these are C++ and no part of platform/zk.h.
#ifndef PLATFORM_CLIENT_INTERFACE_SCRIPTS_H
#define PLATFORM_CLIENT_INTERFACE_SCRIPTS_H

#include <optional>
#include <string>
#include <vector>

#include "platform/client/core/directory_store.h"

// An object that may have a script.
struct ScriptObject {
    std::string name;      // complete, typeless and without a leading period: "jdoe.sales.acme"; "[Root]" for the base
    std::string typed;     // the same with all types
    const char *kind = ""; // "User", "Organizational Unit", ...
    bool isContainer = false;
    std::optional<std::string> file; // where its script is in a folder of scripts; nothing: no file can have the name
    EntryPtr entry;
};

// All of the following are about the tree of a context handle, and throw CodedError; its sentence may be empty.

// The object that a name means, from the name context and with aliases followed. ZKE_NO_SUCH_ENTRY, ZKE_MALFORMED_NAME.
ScriptObject script_object(uint32_t context, const std::string &name);
// The one that a file of a folder of scripts means; nothing when the tree has no such object.
std::optional<ScriptObject> script_object_of_file(uint32_t context, const std::string &file);

// The path by which the object of such a file is written; nothing for one that can be no object's.
std::optional<std::string> script_file_path(const std::string &file);

// As DirectoryStore::readScript and writeScript. A text with a NUL byte or of more than 16 MiB is DataError.
StoredScript script_read(uint32_t context, const ScriptObject &object);
void script_write(uint32_t context, const ScriptObject &object, const ScriptText &before, const ScriptText &after);

// Is the script in a file that not everybody may read? A copy of it must not be for more people.
bool script_is_private(uint32_t context, const ScriptObject &object);

// All objects that have a script, and these.
struct ScriptOfObject {
    ScriptObject object;
    std::string text;
};
std::vector<ScriptOfObject> script_list(uint32_t context);

// Is the tree on servers, which may show more to somebody who has logged in?
bool script_tree_has_servers(uint32_t context);

// Logs in by a DN of which there need not be an entry. Throws what ZKDSLoginEx returns.
void script_login_as(uint32_t context, const std::string &dn, const char *password);
// Is it a DN: a name with a type behind each comma?
bool script_name_is_dn(const std::string &name);

#endif
