// Checks passwords against what the directory keeps of them. What needs a hash throws DataError when libcrypt cannot be
// loaded.
#ifndef PLATFORM_CLIENT_CORE_PASSWORD_H
#define PLATFORM_CLIENT_CORE_PASSWORD_H

#include <string>
#include <string_view>

// Is it of the only form that a password ever matches, "{CRYPT}" and a hash?
bool password_is_hash(std::string_view stored);

// Does `password` belong to the stored form "{CRYPT}hash"? Any other form never matches, nor does an empty password.
// The time taken does not tell how much of the hash agreed.
bool password_matches(std::string_view stored, const char *password);

// "{CRYPT}hash", with a new salt, by the method that libcrypt knows by this prefix; 0 rounds: as many as it thinks
// right. Empty when there is no such method, or for a password that libcrypt does not take: one of 512 bytes or more.
std::string password_hash(const char *method, unsigned long rounds, const char *password);

#endif
