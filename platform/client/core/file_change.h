// A file that is replaced as a whole while others may read it or change it: whoever reads gets what was there before or
// what is there afterwards, also when the program is ended at any moment. Two changes of one file wait for each other.
#ifndef PLATFORM_CLIENT_CORE_FILE_CHANGE_H
#define PLATFORM_CLIENT_CORE_FILE_CHANGE_H

#include <sys/stat.h>
#include <string>
#include <string_view>

#include "platform/client/core/descriptor.h"

class FileChange {
  public:
    // Opens the file `name` of a folder, which is no symbolic link, and locks it for as long as the object lives;
    // messages call it `shown`. `folder` must outlive the object. Throws CodedError: ZKE_NO_ACCESS where the process
    // may not write, ZKE_NO_SUCH_VALUE when there is no such file; DataError when it cannot be read, is not a regular
    // file, has more than `limit` bytes, or another program does not end its change.
    FileChange(const Descriptor &folder, std::string name, std::string shown, size_t limit);

    const std::string &text() const { return text_; } // as it was when it was locked

    // The file has this content from now on, with the same owner, mode and further attributes. Throws CodedError, and
    // the old content stays: ZKE_SCRIPT_CHANGED when somebody has changed the file without the lock.
    void replace(std::string_view text);
    void remove();

  private:
    bool isInPlace() const;
    bool isUnchanged() const;
    void requireUnchanged() const;
    void copyRights(const Descriptor &made) const;

    const Descriptor &folder_;
    std::string name_;
    std::string shown_;
    Descriptor file_{-1};
    struct stat status_ = {};
    std::string text_;
};

// Makes the file, which everybody may read. Throws as above, and CodedError, ZKE_SCRIPT_CHANGED, when it is there.
void file_create(const Descriptor &folder, const std::string &name, const std::string &shown, std::string_view text);

#endif
