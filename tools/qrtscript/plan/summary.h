// The plans of many users, put together: who would see mistakes, and what everybody, each group, those who are not in
// it and single users get.
#ifndef TOOLS_QRTSCRIPT_PLAN_SUMMARY_H
#define TOOLS_QRTSCRIPT_PLAN_SUMMARY_H

#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "tools/qrtscript/plan/recorder.h"
#include "tools/qrtscript/plan/sharing.h"

class Summary {
  public:
    // The plan of one user; or why there is none.
    void add(const Json &plan);
    void addFailure(const std::string &user, const std::string &reason);

    size_t mistakes() const { return mistakes_; }
    size_t failures() const { return failures_; }

    // {"users": [...], "mistakes": [...], "everybody": [...], ...}; see docs/plan-format.md. `secrets`, those of all
    // plans, are hidden in it.
    Json result(const Secrets &secrets) const;

  private:
    using Sections = std::map<std::string, UserNumbers>;
    void explain(Sharing *sharing) const;
    Json groupsOf(const Json &everybody, Sharing *sharing) const;
    Json scriptsOf(const Json &everybody, Sharing *sharing) const;
    Json mistakesOf() const;
    Json namesOf(const Json &numbers) const;

    Json users_ = Json::array();
    std::vector<Gets> gets_;         // of the users who could be planned
    std::vector<std::string> names_; // theirs
    Sections groups_, scripts_;
    std::map<std::tuple<std::string, int, std::string>, UserNumbers> mistakesByPlace_;
    std::string localeMissing_;
    size_t mistakes_ = 0, failures_ = 0;
};

// A result for people, which stays short: what is left out of a list is counted in its last line.
std::string summary_text(const Json &summary);

#endif
