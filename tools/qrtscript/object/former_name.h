// What the files of former scripts are called below the folder that keeps them. Two objects never have the same name
// there, nor two trees.
//
//     TREE/acme/sales/jdoe.qrt        the path of the object's script in a folder of scripts
//     TREE/_names/jdoe~HASH.qrt       where no file can have that path, or the path with a moment behind it
//
// A tree is called by its name, or by NAME~HASH where that is too long or has other characters than ASCII letters,
// digits, ".", "-" and "_". HASH is the SHA-256 of what is meant.
#ifndef TOOLS_QRTSCRIPT_OBJECT_FORMER_NAME_H
#define TOOLS_QRTSCRIPT_OBJECT_FORMER_NAME_H

#include <string>

#include "platform/client/interface/scripts.h"

struct FormerName {
    std::string path;      // a "." and the moment follow
    bool isHashed = false; // it does not tell the object's name
};

// Throws Failure when the library with the hash cannot be loaded.
FormerName former_name(const std::string &tree, const ScriptObject &object);

// "20261123T033201.123456Z": now, in UTC.
std::string former_moment();
bool former_is_moment(const std::string &text);

#endif
