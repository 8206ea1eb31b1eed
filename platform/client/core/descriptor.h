// File descriptors that close themselves.
#ifndef PLATFORM_CLIENT_CORE_DESCRIPTOR_H
#define PLATFORM_CLIENT_CORE_DESCRIPTOR_H

#include <atomic>
#include <cstddef>
#include <string>

struct Descriptor {
    int number; // -1: none

    explicit Descriptor(int open) : number(open) {}
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    ~Descriptor();

    int release(); // the caller closes it
};

// Fills `text` from the file's position and cuts it where the file ends. False with errno when a read fails. `parts`,
// where it is wanted, counts what has been read.
bool descriptor_read(const Descriptor &file, std::string *text, std::atomic<size_t> *parts = nullptr);

// May everybody read the file? False when that cannot be found out.
bool descriptor_is_for_all(const Descriptor &file);

#endif
