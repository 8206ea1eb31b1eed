// The login of an administrator whom --as names, as the subcommands that read or change the directory have it.
#ifndef TOOLS_QRTSCRIPT_LOGIN_AS_H
#define TOOLS_QRTSCRIPT_LOGIN_AS_H

#include <cstdint>
#include <string>

// Logs in to a tree, that of the context handle, as `user`: a name, or the DN of somebody who need not have an entry.
// The password comes from the descriptor, or, if that is negative, from the person, unless the tree needs none: it
// takes tickets, or the identity of a local socket's user. Throws Failure.
void login_as(uint32_t context, const std::string &tree, const std::string &user, int passwordDescriptor);

// The number that --password-fd takes; negative for a text that is none.
int login_descriptor(const char *text);

#endif
