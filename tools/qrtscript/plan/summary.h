// The plans of many users, put together: who would see mistakes, and what everybody and each group gets.
#ifndef TOOLS_QRTSCRIPT_PLAN_SUMMARY_H
#define TOOLS_QRTSCRIPT_PLAN_SUMMARY_H

#include <map>
#include <string>
#include <vector>

#include "tools/qrtscript/plan/recorder.h"

class Summary {
  public:
    // The plan of one user; or why there is none.
    void add(const Json &plan);
    void addFailure(const std::string &user, const std::string &reason);

    size_t mistakes() const { return mistakes_; }
    size_t failures() const { return failures_; }

    // {"users": [...], "everybody": [...], "groups": [...]}; see docs/plan-format.md.
    Json result() const;

  private:
    // What a user gets, by what it is called ("maps H:") with its value ("SRV1/SYS:public").
    using Gets = std::map<std::string, std::string>;
    static Gets getsOf(const Json &plan);
    Json common(const std::vector<size_t> &users, const Json &without) const;

    Json users_ = Json::array();
    std::vector<Gets> gets_;
    std::map<std::string, std::vector<size_t>> groups_;
    size_t mistakes_ = 0, failures_ = 0;
};

std::string summary_text(const Json &summary);

#endif
