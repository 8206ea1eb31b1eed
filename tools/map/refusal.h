// Why map does not do what it was told: one plain sentence for the person, without its final period.
#ifndef TOOLS_MAP_REFUSAL_H
#define TOOLS_MAP_REFUSAL_H

#include <stdexcept>

class Refusal : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

#endif
