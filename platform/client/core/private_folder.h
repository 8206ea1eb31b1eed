// A folder of the user's own with files that nobody else can have written or read. Everything is done relative to the
// open folder, and what is checked is what has been opened: a path may name another file by the time it is used.
#ifndef PLATFORM_CLIENT_CORE_PRIVATE_FOLDER_H
#define PLATFORM_CLIENT_CORE_PRIVATE_FOLDER_H

#include <string>

class PrivateFolder {
  public:
    enum Missing { Leave, Make };

    // Opens the folder; with Make, it and those above it are made where they are missing. A folder that is not the
    // user's own, that a group or others can write, or that is a symbolic link is not opened.
    explicit PrivateFolder(const std::string &path, Missing missing = Leave);
    PrivateFolder(const PrivateFolder &) = delete;
    PrivateFolder &operator=(const PrivateFolder &) = delete;
    ~PrivateFolder();

    bool isOpen() const { return folder_ >= 0; }

    // All are false for a folder that is not open. `name` has no "/".

    // The whole of a regular file of at most `limit` bytes that is the user's own and has no rights for a group or
    // others.
    bool read(const std::string &name, size_t limit, std::string *text) const;
    // Replaces the file, with mode 0600; a reader finds the old one or the new one.
    bool replace(const std::string &name, const std::string &text) const;
    bool remove(const std::string &name) const;

  private:
    int folder_ = -1;
};

#endif
