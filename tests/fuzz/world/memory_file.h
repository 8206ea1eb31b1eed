// A file for what opens files by itself, such as the C++ library's streams: it has a path, and is in memory only.
#ifndef FUZZ_WORLD_MEMORY_FILE_H
#define FUZZ_WORLD_MEMORY_FILE_H

#include <string>
#include <string_view>

class MemoryFile {
  public:
    MemoryFile();
    ~MemoryFile();
    MemoryFile(const MemoryFile &) = delete;
    MemoryFile &operator=(const MemoryFile &) = delete;

    const std::string &path() const { return path_; }
    void replace(std::string_view text) const;

  private:
    int descriptor_;
    std::string path_;
};

#endif
