// Starts a program that shows windows: away from the caller's terminal, folder, signals and descriptors, with an
// environment (window_environment.h) that lets nobody load code into it.
#ifndef PLATFORM_PROMPT_WINDOW_START_H
#define PLATFORM_PROMPT_WINDOW_START_H

#include <sys/types.h>
#include <string>

// The program's descriptor for the conversation.
constexpr int window_descriptor = 3;

// How often such a program sends that it is alive.
constexpr int window_beat_milliseconds = 1000;

// Starts the program of that path; `conversation` is the other side of its window_descriptor. Returns an errno, or 0.
int window_spawn(const std::string &path, int conversation, pid_t *child);

#endif
