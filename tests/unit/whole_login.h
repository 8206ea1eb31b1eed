// One whole login whose scripts contain every kind of statement, over the recording client. A test runs it again and
// again with something failing; whatever fails, the session comes to its end: nothing crashes, hangs or leaks, no
// buffer, file or descriptor stays open, and the session keeps no password, neither in its globals nor in what it
// frees.
#ifndef WHOLE_LOGIN_H
#define WHOLE_LOGIN_H

#include <utility>
#include <vector>

#include "tests/unit/run_sequence_fixture.h"

class WholeLoginTest : public RunSequenceTest {
  protected:
    WholeLoginTest();
    ~WholeLoginTest() override;

    // What a login's failing calls may take away from what is checked afterwards.
    struct Failing {
        bool gives_back = false; // a call that gives a buffer or a file back may be among them
        bool hollow = false;     // they succeed without filling anything in: handles may be used that nobody made
    };

    // One login with what `fail` arranges, and the checks that pass whatever happened.
    void log_in(const std::function<void()> &fail, Failing failing);
    // One login with nothing failing: it has to print what the first one printed.
    void log_in_plainly();
    // Whether a call gives something back.
    static bool gives_back(const std::string &call) { return call == "ZKCloseFile" || call == "ZKDSFreeBuf"; }

  private:
    void declare();
    // The end of a session that was left open.
    static void end_session();

    int logins_ = 0;
    std::string first_; // what the first plain login printed
};

#endif
