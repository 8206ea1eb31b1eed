// Checks passwords against what the directory keeps of them.
#ifndef PLATFORM_CLIENT_PASSWORD_H
#define PLATFORM_CLIENT_PASSWORD_H

#include <string_view>

// Is it of the only form that a password ever matches, "{CRYPT}" and a hash?
bool password_is_hash(std::string_view stored);

// Does `password` belong to the stored form "{CRYPT}hash"? Any other form never matches, nor does
// an empty password. The time taken does not tell
// how much of the hash agreed.
bool password_matches(std::string_view stored, const char *password);

#endif
