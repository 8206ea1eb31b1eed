// The embedded directory: one LDIF file, read into memory when the tree is first used.
#ifndef PLATFORM_CLIENT_LDIF_STORE_H
#define PLATFORM_CLIENT_LDIF_STORE_H

#include <memory>
#include <string>

#include "platform/client/core/directory_store.h"
#include "platform/client/ldif/reader.h"

struct LdifOptions {
    bool anyName = false;      // entries with control characters in their names are found, too
    bool nestedGroups = false; // groups of groups count as their members'
    double timeLimit = 0;      // in seconds, for each file, as FileAccess has it
    std::vector<std::string> loginAttributes = {"cn", "uid", "mail"}; // name users; all of them in the schema
};

// Reads the whole file. Throws DataError, with file and line, for anything that a directory could not take: an entry
// twice, without its parent or outside `base`, a value that is not of its attribute's syntax. Messages call the file
// `shown`. `*objects`, where it is wanted, becomes their number.
std::unique_ptr<DirectoryStore> ldif_store_load(const std::string &path, const std::string &shown, const Name &base,
                                                size_t *objects = nullptr, const LdifOptions &options = {});
// The same from the text of a copy, of which every entry is found. It may lack what servers need not show: an entry its
// class and the value in its name, an alias what it stands for.
std::unique_ptr<DirectoryStore> ldif_store_load(LdifText text, const std::string &shown, const Name &base);
// The same from a text that adds to another directory: the entries' parents may be there, so may the entries themselves
// and with them their classes (overlay/). It can have no passwords and no aliases.
std::unique_ptr<DirectoryStore> ldif_store_load_addition(LdifText text, const std::string &shown, const Name &base,
                                                         const LdifOptions &options);

#endif
