// A folder at the head of the search path, for tests that let statements run programs.
#ifndef PROGRAM_FOLDER_H
#define PROGRAM_FOLDER_H

#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

class ProgramFolder {
  public:
    ProgramFolder() {
        char name[] = "/tmp/programs_XXXXXX";
        folder_ = mkdtemp(name);
        setenv("PATH", (folder_ + ":/usr/bin:/bin").c_str(), 1);
    }
    ~ProgramFolder() { std::filesystem::remove_all(folder_); }
    ProgramFolder(const ProgramFolder &) = delete;
    ProgramFolder &operator=(const ProgramFolder &) = delete;

    std::string path(const std::string &name) const { return folder_ + "/" + name; }

    void file(const std::string &name, const std::string &text) { std::ofstream(path(name)) << text; }

    // A program whose body is shell text.
    void script(const std::string &name, const std::string &body) {
        file(name, "#!/bin/sh\n" + body + "\n");
        chmod(path(name).c_str(), 0755);
    }

  private:
    std::string folder_;
};

#endif
