#include "platform/client/ldif/reader.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

#include "platform/catalogue.h"
#include "platform/client/core/descriptor.h"
#include "platform/client/core/errors.h"
#include "platform/common/hex.h"
#include "platform/common/nocase.h"
#include "platform/common/skip.h"

static constexpr size_t file_limit = size_t{1} << 30;
static constexpr size_t value_file_limit = size_t{16} * 1024 * 1024;
static constexpr size_t line_limit = size_t{24} * 1024 * 1024; // a value of the largest size in base64
static constexpr size_t include_limit = 8;

// The whole of a regular file. Throws DataError with a sentence without a place.
static std::string read_whole(const std::string &path, size_t limit) {
    // Without O_NONBLOCK a named pipe in the place of the file would hold the program.
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW));
    if (file.number < 0) throw DataError(catalogue_format("cannot open the file: %s", strerror(errno)));
    struct stat status;
    if (fstat(file.number, &status) != 0 || !S_ISREG(status.st_mode))
        throw DataError(catalogue_text("not a regular file"));
    if (static_cast<size_t>(status.st_size) > limit) throw DataError(catalogue_text("the file is too large"));
    std::string text(static_cast<size_t>(status.st_size), '\0');
    if (!descriptor_read(file, &text)) throw DataError(catalogue_format("cannot read the file: %s", strerror(errno)));
    return text;
}

// The path without symbolic links. Throws DataError when there is no such file.
static std::string real_path(const std::string &path) {
    std::unique_ptr<char, decltype(&free)> real(realpath(path.c_str(), nullptr), &free);
    if (real == nullptr) throw DataError(catalogue_format("cannot open %1$s: %2$s", path.c_str(), strerror(errno)));
    return real.get();
}

static int base64_digit(char c) {
    static constexpr std::string_view digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    size_t found = digits.find(c);
    return found == std::string_view::npos ? -1 : static_cast<int>(found);
}

static bool decode_base64(std::string_view text, std::string *bytes) {
    if (text.size() % 4 != 0) return false;
    size_t padding = 0;
    while (padding < 2 && !text.empty() && text.back() == '=') {
        text.remove_suffix(1);
        padding++;
    }
    unsigned bits = 0;
    unsigned count = 0;
    for (char c : text) {
        int digit = base64_digit(c);
        if (digit < 0) return false;
        bits = (bits << 6 | static_cast<unsigned>(digit)) & 0xFFFFFF;
        count += 6;
        if (count >= 8) {
            count -= 8;
            *bytes += static_cast<char>(bits >> count & 0xFF);
        }
    }
    return true;
}

static std::string_view skip_blanks(std::string_view text) {
    return skip_any(text, " \t");
}

static bool is_attribute_name(std::string_view name) {
    return !name.empty() && name.find_first_not_of(
                                "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-;."
                                "_") == std::string_view::npos;
}

// Undoes "%" and two hex digits; false for anything else after "%", and for a zero byte.
static bool decode_percent(std::string_view text, std::string *out) {
    for (size_t i = 0; i < text.size(); i++) {
        char c = text[i];
        if (c == '%') {
            c = hex_byte(text.substr(i + 1)).value_or('\0');
            i += 2;
        }
        if (c == '\0') return false;
        *out += c;
    }
    return true;
}

LdifReader::LdifReader(const std::string &path, const std::string &shown) {
    try {
        std::string real = real_path(path);
        folder_ = real.substr(0, real.rfind('/') + 1);
        open(real, shown);
    } catch (const DataError &error) {
        throw DataError(shown + ": " + error.what());
    }
}

LdifReader::LdifReader(LdifText text, const std::string &shown) {
    Source source;
    source.shown = shown;
    source.text = std::move(text.text);
    sources_.push_back(std::move(source));
}

void LdifReader::open(const std::string &path, const std::string &shown) {
    Source source;
    source.shown = shown;
    source.text = read_whole(path, file_limit);
    sources_.push_back(std::move(source));
}

void LdifReader::refuse(unsigned number, const std::string &why) const {
    throw DataError(sources_.back().shown + ":" + std::to_string(number) + ": " + why);
}

// The next line without its line break; false at the end of the file.
bool LdifReader::physicalLine(std::string_view *line) {
    Source &source = sources_.back();
    if (source.at >= source.text.size()) return false;
    size_t end = source.text.find('\n', source.at);
    size_t length = (end == std::string::npos ? source.text.size() : end) - source.at;
    *line = std::string_view(source.text).substr(source.at, length);
    source.at += length + 1;
    source.line++;
    if (!line->empty() && line->back() == '\r') line->remove_suffix(1);
    if (line->find('\0') != std::string_view::npos) refuse(source.line, catalogue_text("the line contains a NUL byte"));
    return true;
}

bool LdifReader::nextIsFolded() const {
    const Source &source = sources_.back();
    return source.at < source.text.size() && source.text[source.at] == ' ';
}

// The next line with its continuations, comments left out; false at the end of the file.
bool LdifReader::logicalLine(std::string *line, unsigned *number) {
    std::string_view part;
    while (physicalLine(&part)) {
        bool comment = !part.empty() && part.front() == '#';
        *number = sources_.back().line;
        if (!part.empty() && part.front() == ' ') refuse(*number, catalogue_text("unexpected continuation line"));
        line->assign(part);
        bool empty = part.empty();
        while (!empty && nextIsFolded() && physicalLine(&part))
            if (!comment) line->append(part.substr(1));
        if (line->size() > line_limit) refuse(*number, catalogue_text("the line is too long"));
        if (!comment) return true;
    }
    return false;
}

// The file that a URL names, without symbolic links, and certain to be below the folder.
std::string LdifReader::fileOfUrl(std::string_view url, unsigned number) const {
    if (!equal_nocase(url.substr(0, 5), "file:")) refuse(number, catalogue_text("only file: URLs are supported"));
    url.remove_prefix(5);
    if (url.substr(0, 2) == "//") {
        url.remove_prefix(2); // no host: an absolute name follows
        if (url.empty() || url.front() != '/') refuse(number, catalogue_text("a file: URL must not have a host name"));
    }
    std::string name;
    if (!decode_percent(url, &name) || name.empty()) refuse(number, catalogue_text("malformed URL"));
    if (folder_.empty())
        refuse(number, catalogue_format("%s is not below the directory of the LDIF file", name.c_str()));
    std::string real;
    try {
        real = real_path(name.front() == '/' ? name : folder_ + name);
    } catch (const DataError &error) {
        refuse(number, error.what());
    }
    if (real.compare(0, folder_.size(), folder_) != 0)
        refuse(number, catalogue_format("%s is outside the directory of the LDIF file", name.c_str()));
    return real;
}

// `text` is what follows the first ":" of a line.
std::string LdifReader::parseValue(std::string_view text, unsigned number) const {
    if (!text.empty() && text.front() == ':') {
        std::string bytes;
        text = skip_blanks(text.substr(1));
        while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
        if (!decode_base64(text, &bytes)) refuse(number, catalogue_text("malformed base64"));
        return bytes;
    }
    if (!text.empty() && text.front() == '<') {
        std::string path = fileOfUrl(skip_blanks(text.substr(1)), number);
        try {
            return read_whole(path, value_file_limit);
        } catch (const DataError &error) {
            refuse(number, path + ": " + error.what());
        }
    }
    return std::string(skip_blanks(text));
}

LdifAttribute LdifReader::parseLine(const std::string &line, unsigned number) const {
    size_t colon = line.find(':');
    if (colon == std::string::npos) refuse(number, catalogue_text("the line has no \":\""));
    LdifAttribute attribute = {line.substr(0, colon), "", number};
    if (!is_attribute_name(attribute.name)) refuse(number, catalogue_text("malformed attribute name"));
    std::string_view rest = std::string_view(line).substr(colon + 1);
    if (equal_nocase(attribute.name, "include"))
        attribute.value = fileOfUrl(skip_blanks(rest), number);
    else
        attribute.value = parseValue(rest, number);
    return attribute;
}

void LdifReader::readHeader(LdifRecord *record, const LdifAttribute &first) {
    if (!equal_nocase(first.name, "dn")) refuse(first.line, catalogue_text("a record must begin with dn:"));
    record->file = sources_.back().shown;
    record->line = first.line;
    record->dn = first.value;
    record->attributes.clear();
}

// The rest of a record, up to an empty line.
bool LdifReader::readRecord(LdifRecord *record) {
    std::string line;
    unsigned number;
    while (logicalLine(&line, &number) && !line.empty()) {
        LdifAttribute attribute = parseLine(line, number);
        if (equal_nocase(attribute.name, "changetype")) {
            if (!equal_nocase(attribute.value, "add") || !record->attributes.empty())
                refuse(number, catalogue_text("only changetype: add is supported, directly after dn:"));
        } else if (equal_nocase(attribute.name, "control") || equal_nocase(attribute.name, "dn") ||
                   equal_nocase(attribute.name, "include")) {
            refuse(number, catalogue_format("%s: not allowed inside a record", attribute.name.c_str()));
        } else {
            record->attributes.push_back(std::move(attribute));
        }
    }
    if (record->attributes.empty()) refuse(record->line, catalogue_text("the record has no attributes"));
    return true;
}

bool LdifReader::next(LdifRecord *record) {
    std::string line;
    unsigned number;
    while (!sources_.empty()) {
        if (!logicalLine(&line, &number)) {
            sources_.pop_back();
            continue;
        }
        if (line.empty()) continue;
        LdifAttribute first = parseLine(line, number);
        bool atStart = !sources_.back().started;
        sources_.back().started = true;
        if (equal_nocase(first.name, "version")) {
            if (!atStart || first.value != "1")
                refuse(number, catalogue_text("only version: 1 is supported, at the beginning of a file"));
        } else if (equal_nocase(first.name, "include")) {
            if (sources_.size() == include_limit) refuse(number, catalogue_text("include files are nested too deeply"));
            try {
                open(first.value, first.value.substr(folder_.size()));
            } catch (const DataError &error) {
                refuse(number, error.what());
            }
        } else {
            readHeader(record, first);
            return readRecord(record);
        }
    }
    return false;
}
