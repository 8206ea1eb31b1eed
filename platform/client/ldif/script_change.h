// The login scripts of a tree in an LDIF file, for who changes them: the file as it is now, whatever a store has read.
// A script that the file takes from another one (":<") is changed there.
#ifndef PLATFORM_CLIENT_LDIF_SCRIPT_CHANGE_H
#define PLATFORM_CLIENT_LDIF_SCRIPT_CHANGE_H

#include <string>

#include "platform/client/core/directory_store.h"

struct LdifFile {
    std::string path;
    std::string shown; // for messages
    Name base;
    double timeLimit; // in seconds for reading it, as FileAccess has it
};

// As DirectoryStore::readScript and writeScript; CodedError, ZKE_NO_SUCH_ENTRY, when the entry is no longer in the
// file.
StoredScript ldif_script_read(const LdifFile &file, const Name &name);
void ldif_script_write(const LdifFile &file, const Name &name, const ScriptText &before, const ScriptText &after);

#endif
