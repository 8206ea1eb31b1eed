// A folder of the user's own for texts that other programs work on, gone with the object and on an interrupt, unless a
// file of it is to stay.
#ifndef TOOLS_QRTSCRIPT_OBJECT_PRIVATE_FOLDER_H
#define TOOLS_QRTSCRIPT_OBJECT_PRIVATE_FOLDER_H

#include <string>
#include <string_view>

class PrivateFolder {
  public:
    // Made in $TMPDIR, or /tmp. There is one at a time. All throw Failure.
    PrivateFolder();
    ~PrivateFolder();
    PrivateFolder(const PrivateFolder &) = delete;
    PrivateFolder &operator=(const PrivateFolder &) = delete;

    // Writes a file, and returns its path. It stays until the end, or until it is removed.
    std::string write(const std::string &name, std::string_view text) const;
    void remove(const std::string &name) const;
    // Is there anything beside this file?
    bool hasOthers(const std::string &name) const;
    std::string path(const std::string &name) const { return path_ + "/" + name; }
    // From now on everything stays, and an interrupt says where `file` is. An empty one takes that back.
    void keep(const std::string &file);
    bool isKept() const { return kept_; }

  private:
    std::string path_;
    bool kept_ = false;
};

// A file's whole text; "-" is standard input. Throws Failure with exit_no_script.
std::string text_of_file(const std::string &path);

// A name for a file with an object's script: its name, without what means something elsewhere.
std::string file_name_of(const std::string &object);

#endif
