// A session on the sample tree in this process, as tests of whole scripts need it: a home directory and the sample's
// volumes of its own, and jdoe logged in.
#ifndef TESTS_SUPPORT_SAMPLE_SESSION_H
#define TESTS_SUPPORT_SAMPLE_SESSION_H

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>

// Makes `folder` the process's: home directory, search path, locale, sample tree, volumes. These stand where the
// network file system would have them, at the fixed place in a mount namespace of the process's own, so that the links
// that map makes lead there. False where the kernel forbids that: the library alone is pointed elsewhere then.
bool sample_prepare(const std::filesystem::path &folder);

// Copies the sample tree to `folder` with passwords that are quick to check, and makes it the process's tree.
void sample_use_quick_passwords(const std::filesystem::path &folder);

// Starts a session that writes to `output` and logs jdoe in. The context's handle, or 0.
uint32_t sample_log_in(FILE *output);

// Ends the session, but leaves the library's own end to the caller.
void sample_log_out(uint32_t handle);

// Closes the output's pipe once the session has ended, as a login program has to: the library has closed the stream's
// descriptor, whose number is given something harmless first, and leaves the rest to its caller. Does nothing without a
// pipe.
void sample_close_pipe();

std::string sample_read_file(const std::filesystem::path &path);

#endif
