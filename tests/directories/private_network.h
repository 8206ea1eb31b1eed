// A network of the process's own, in which servers have the ports and names that they insist on: nothing but its own
// loopback, where dc1.ad.example.test, ad.example.test and ds1.example.test are 127.0.0.1 and a name server may listen.
// The process, and what it starts from then on, stays there. Needs root.
#ifndef TESTS_DIRECTORIES_PRIVATE_NETWORK_H
#define TESTS_DIRECTORIES_PRIVATE_NETWORK_H

#include "tests/support/process.h"

class PrivateNetwork {
  public:
    PrivateNetwork();

  private:
    TempFolder folder;
};

#endif
