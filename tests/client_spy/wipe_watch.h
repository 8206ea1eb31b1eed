// Reports a test which secrets have been wiped: in the test program explicit_bzero is one that remembers what it
// overwrites.
#ifndef WIPE_WATCH_H
#define WIPE_WATCH_H

#include <string>
#include <vector>

namespace wipe_watch {

void forget();
// The texts overwritten since, without the zero bytes at their ends; what was zero already is not listed.
std::vector<std::string> wiped();

} // namespace wipe_watch

#endif
