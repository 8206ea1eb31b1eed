// An authority and certificates of the test's own.
#ifndef TESTS_SUPPORT_CERTIFICATES_H
#define TESTS_SUPPORT_CERTIFICATES_H

#include <string>

#include "tests/support/process.h"

class Certificates {
  public:
    Certificates();

    // Lines for a server's configuration with a certificate for this name and this time.
    std::string serverLines(const std::string &name = "IP:127.0.0.1", const std::string &end = "20490101000000Z",
                            const std::string &start = "20200101000000Z");

    std::string path(const std::string &name = "") const { return folder.path(name); }

  private:
    static void openssl(Words words);
    TempFolder folder;
};

#endif
