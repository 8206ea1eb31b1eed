// By whom the directory is read for a plan.
#ifndef TOOLS_QRTSCRIPT_PLAN_READER_H
#define TOOLS_QRTSCRIPT_PLAN_READER_H

#include <optional>
#include <string>

#include "platform/common/secret.h"

struct Reader {
    std::optional<std::string> name; // none: anonymously. A user's, as typed at a login, or any DN
    // Empty where the tree needs none. The session's process has a copy.
    Secret password{Secret::usual_capacity, Secret::Forked::copy};
};

// Logs in to the tree, so that the client of this process asks as the reader. Throws Failure.
void reader_log_in(const std::string &tree, const Reader &reader);

#endif
