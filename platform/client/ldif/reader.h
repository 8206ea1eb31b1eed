// Reads LDIF content records, one after the other. The file may come from anywhere: what is not an added entry is
// refused with file and line, and values and further files are only read from the folder of the file.
//
//     file      ::= [ "version: 1" ] record*
//     record    ::= "dn:" text [ "changetype: add" ] line+ empty-line
//                 | "include:" url
//     line      ::= attribute ( ":" text | "::" base64 | ":<" url )      folded with a line break and one blank
//     url       ::= "file:" name                                       "%" and two hex digits stand for a byte
#ifndef PLATFORM_CLIENT_LDIF_READER_H
#define PLATFORM_CLIENT_LDIF_READER_H

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "platform/client/core/file_access.h"

struct LdifAttribute {
    std::string_view name;
    std::string_view value;
    unsigned line;
    std::string_view file = {}; // that has the value (":<"), without symbolic links; empty: the value is in the line
};

// Where a record begins.
struct LdifPlace {
    uint32_t source;
    uint32_t at; // bytes
    unsigned line;
};

// Views of the text that the reader keeps, and of `made`. A record that is read into again needs no further memory.
struct LdifRecord {
    LdifRecord() = default;
    LdifRecord(const LdifRecord &) = delete;
    LdifRecord &operator=(const LdifRecord &) = delete;

    LdifPlace place = {};
    std::string_view file; // as messages show it
    unsigned line = 0;
    std::string_view dn;
    std::vector<LdifAttribute> attributes;
    bool ofOtherFiles = false;    // a value has been read from another file
    std::deque<std::string> made; // what is not in the text as it is: folded, in base64 or of another file
};

// LDIF that has been read from somewhere already.
struct LdifText {
    std::string text;
};

class LdifReader {
  public:
    // Opens the file; messages call it `shown`. This one and those that it names are given up after `timeLimit`, in
    // seconds as FileAccess has it. Throws DataError when it cannot be read.
    LdifReader(const std::string &path, const std::string &shown, double timeLimit = 0);
    // Reads the text, which cannot name files.
    LdifReader(LdifText text, const std::string &shown);

    // The next record, false after the last. Throws DataError, with file and line, for what is refused.
    bool next(LdifRecord *record);
    // A record that `next` has read, from the text as it was then. Only one whose values are in other files may read
    // differently now.
    void again(LdifPlace place, LdifRecord *record);

    // The file that a record is in, without symbolic links, and its text when it was read; empty for a text.
    const std::string &pathOf(LdifPlace place) const { return sources_[place.source].path; }
    const std::string &textOf(LdifPlace place) const { return sources_[place.source].text; }

  private:
    // Kept as long as the reader where a record is in it.
    struct Source {
        std::string shown;
        std::string path;
        std::string text;
        size_t nul; // the first NUL byte
        bool hasRecords = false;
    };
    struct Position {
        uint32_t source;
        size_t at = 0;
        unsigned line = 0;    // of the physical line read last
        bool started = false; // a record or the version has been read
    };
    struct Line {
        std::string_view text;
        unsigned number;
        size_t at;
    };

    void open(std::string text, const std::string &shown, const std::string &path = "");
    void close();
    const Source &current() const { return sources_[open_.back().source]; }
    bool physicalLine(std::string_view *line);
    bool nextIsFolded() const;
    void unfold(bool comment, LdifRecord *record, std::string_view *line);
    bool logicalLine(LdifRecord *record, Line *line);
    LdifAttribute parseLine(const Line &line, LdifRecord *record);
    void parseValue(std::string_view text, LdifRecord *record, LdifAttribute *attribute);
    std::string fileOfUrl(std::string_view url, unsigned number);
    std::string realPath(const std::string &path);
    std::string readWhole(const std::string &path, size_t limit);
    void readAttributes(LdifRecord *record);
    void readRecord(const LdifAttribute &first, size_t at, LdifRecord *record);
    void include(const LdifAttribute &line);
    [[noreturn]] void refuse(unsigned number, const std::string &why) const;

    FileAccess access_;
    std::string folder_; // of the first file, without symbolic links; empty for a text
    std::deque<Source> sources_;
    std::vector<Position> open_; // each included by the one before it
    size_t included_ = 0;        // in all
};

#endif
