// One planned login: the run sequence for a user, in a process of its own, so that nothing of it reaches the next one
// or the calling program.
#ifndef TOOLS_QRTSCRIPT_PLAN_SESSION_H
#define TOOLS_QRTSCRIPT_PLAN_SESSION_H

#include <array>
#include <ctime>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/qrtscript/plan/reader.h"
#include "tools/qrtscript/plan/recorder.h"

using Variables = std::vector<std::pair<std::string, std::string>>;

struct SessionRequest {
    std::string user; // as typed at a login
    std::string tree;
    std::optional<std::string> context;
    std::optional<std::string> server;
    std::optional<std::string> script; // a file in the place of the container's and the user's script
    std::optional<std::string> profileScript;
    std::array<std::optional<std::string>, 4> variables; // %2 to %5
    time_t now = 0;
    std::optional<Variables> environment; // else a bare one
};

// The plan of the user's login (docs/plan-format.md). What it hides is added to `secrets`, for what is shown beside it.
// Throws Failure: the user or the directory cannot be read, the process ended before its time.
Json session_plan(const SessionRequest &request, const Reader &reader, Secrets *secrets);

// The names of the users in a container and below, or of all without one, as `SessionRequest::user` takes them. Throws
// the same.
std::vector<std::string> session_users(const SessionRequest &request, const Reader &reader,
                                       const std::string &container);

#endif
