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

#include <string>
#include <string_view>
#include <vector>

struct LdifAttribute {
    std::string name;
    std::string value;
    unsigned line;
};

struct LdifRecord {
    std::string file; // as messages show it
    unsigned line;
    std::string dn;
    std::vector<LdifAttribute> attributes;
};

// LDIF that has been read from somewhere already.
struct LdifText {
    std::string text;
};

class LdifReader {
  public:
    // Opens the file; messages call it `shown`. Throws DataError when it cannot be read.
    LdifReader(const std::string &path, const std::string &shown);
    // Reads the text, which cannot name files.
    LdifReader(LdifText text, const std::string &shown);

    // The next record, false after the last. Throws DataError, with file and line, for what is refused.
    bool next(LdifRecord *record);

  private:
    struct Source {
        std::string shown;
        std::string text;
        size_t at = 0;
        unsigned line = 0;    // of the physical line read last
        bool started = false; // a record or the version has been read
    };

    void open(const std::string &path, const std::string &shown);
    bool physicalLine(std::string_view *line);
    bool nextIsFolded() const;
    bool logicalLine(std::string *line, unsigned *number);
    LdifAttribute parseLine(const std::string &line, unsigned number) const;
    std::string parseValue(std::string_view text, unsigned number) const;
    std::string fileOfUrl(std::string_view url, unsigned number) const;
    void readHeader(LdifRecord *record, const LdifAttribute &first);
    bool readRecord(LdifRecord *record);
    [[noreturn]] void refuse(unsigned number, const std::string &why) const;

    std::string folder_; // of the first file, without symbolic links; empty for a text
    std::vector<Source> sources_;
};

#endif
