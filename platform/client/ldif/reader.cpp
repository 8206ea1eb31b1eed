#include "platform/client/ldif/reader.h"

#include <fcntl.h>
#include <unistd.h>
#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <memory>
#include <utility>

#include "platform/catalogue.h"
#include "platform/client/core/descriptor.h"
#include "platform/client/core/errors.h"
#include "platform/common/hex.h"
#include "platform/common/nocase.h"
#include "platform/common/skip.h"

static constexpr size_t file_limit = size_t{1} << 30; // places are 32 bits
static constexpr size_t value_file_limit = size_t{16} * 1024 * 1024;
static constexpr size_t line_limit = size_t{24} * 1024 * 1024; // a value of the largest size in base64
static constexpr size_t include_depth_limit = 8;
static constexpr size_t include_limit = 1000; // files that include several grow as a power

// The whole of a regular file. Throws FileTrouble without a path.
static std::string read_whole(const std::string &path, size_t limit, FileSteps *steps) {
    // Without O_NONBLOCK a named pipe in the place of the file would hold the program.
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW));
    if (file.number < 0) throw FileTrouble{FileTrouble::Kind::unopened, "", errno};
    return file_read(file, limit, "", steps);
}

// The path without symbolic links. Throws FileTrouble when there is no such file.
static std::string real_path(const std::string &path) {
    const std::unique_ptr<char, decltype(&free)> real(realpath(path.c_str(), nullptr), &free);
    if (real == nullptr) throw FileTrouble{FileTrouble::Kind::unopened, path, errno};
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

static bool is_attribute_character(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == ';' ||
           c == '.' || c == '_';
}

static bool is_attribute_name(std::string_view name) {
    return !name.empty() && std::all_of(
                                name.begin(), name.end(), [](char c) { return is_attribute_character(c); });
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

LdifReader::LdifReader(const std::string &path, const std::string &shown, double timeLimit) : access_(timeLimit) {
    using File = std::pair<std::string, std::string>; // its path without symbolic links, its text
    try {
        File file = access_.run<File>("", [path](FileSteps *steps) {
            const std::string real = real_path(path);
            return File(real, read_whole(real, file_limit, steps));
        });
        folder_ = file.first.substr(0, file.first.rfind('/') + 1);
        open(std::move(file.second), shown, file.first);
    } catch (const FileTrouble &trouble) {
        throw DataError(shown + ": " + file_trouble_text(trouble));
    }
}

LdifReader::LdifReader(LdifText text, const std::string &shown) : access_(0) {
    open(std::move(text.text), shown);
}

void LdifReader::open(std::string text, const std::string &shown, const std::string &path) {
    Source source;
    source.shown = shown;
    source.path = path;
    source.text = std::move(text);
    source.nul = source.text.find('\0');
    sources_.push_back(std::move(source));
    open_.push_back({static_cast<uint32_t>(sources_.size() - 1)});
}

// A file that is included a thousand times without a record must not be in memory as often.
void LdifReader::close() {
    Source &source = sources_[open_.back().source];
    if (!source.hasRecords) source.text = std::string();
    if (!source.hasRecords && &source == &sources_.back()) sources_.pop_back();
    open_.pop_back();
}

void LdifReader::refuse(unsigned number, const std::string &why) const {
    throw DataError(current().shown + ":" + std::to_string(number) + ": " + why);
}

// The next line without its line break; false at the end of the file.
bool LdifReader::physicalLine(std::string_view *line) {
    Position &position = open_.back();
    const std::string_view rest = std::string_view(current().text).substr(position.at);
    if (rest.empty()) return false;
    *line = rest.substr(0, rest.find('\n'));
    position.line++;
    if (current().nul < position.at + line->size()) // it is the first
        refuse(position.line, catalogue_text("the line contains a NUL byte"));
    position.at = std::min(position.at + line->size() + 1, current().text.size());
    if (!line->empty() && line->back() == '\r') line->remove_suffix(1);
    return true;
}

bool LdifReader::nextIsFolded() const {
    const size_t at = open_.back().at;
    return at < current().text.size() && current().text[at] == ' ';
}

// Adds its continuations to a line; those of a comment are passed over.
void LdifReader::unfold(bool comment, LdifRecord *record, std::string_view *line) {
    std::string whole(*line);
    std::string_view part;
    while (nextIsFolded() && physicalLine(&part))
        if (!comment) whole.append(part.substr(1));
    if (!comment) *line = record->made.emplace_back(std::move(whole));
}

// The next line with its continuations, comments left out; false at the end of the file.
bool LdifReader::logicalLine(LdifRecord *record, Line *line) {
    line->at = open_.back().at;
    while (physicalLine(&line->text)) {
        const bool comment = !line->text.empty() && line->text.front() == '#';
        line->number = open_.back().line;
        if (!line->text.empty() && line->text.front() == ' ')
            refuse(line->number, catalogue_text("unexpected continuation line"));
        if (!line->text.empty() && nextIsFolded()) unfold(comment, record, &line->text);
        if (line->text.size() > line_limit) refuse(line->number, catalogue_text("the line is too long"));
        if (!comment) return true;
        line->at = open_.back().at;
    }
    return false;
}

// The two within the time limit.
std::string LdifReader::realPath(const std::string &path) {
    return access_.run<std::string>(
        path, [path](FileSteps *) { return real_path(path); });
}

std::string LdifReader::readWhole(const std::string &path, size_t limit) {
    return access_.run<std::string>(
        "", [path, limit](FileSteps *steps) { return read_whole(path, limit, steps); });
}

// The file that a URL names, without symbolic links, and certain to be below the folder.
std::string LdifReader::fileOfUrl(std::string_view url, unsigned number) {
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
        real = realPath(name.front() == '/' ? name : folder_ + name);
    } catch (const FileTrouble &trouble) {
        refuse(number, file_trouble_text(trouble));
    }
    if (real.compare(0, folder_.size(), folder_) != 0)
        refuse(number, catalogue_format("%s is outside the directory of the LDIF file", name.c_str()));
    return real;
}

// `text` is what follows the first ":" of a line.
void LdifReader::parseValue(std::string_view text, LdifRecord *record, LdifAttribute *attribute) {
    const unsigned number = attribute->line;
    if (!text.empty() && text.front() == ':') {
        std::string bytes;
        text = skip_blanks(text.substr(1));
        while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
        if (!decode_base64(text, &bytes)) refuse(number, catalogue_text("malformed base64"));
        attribute->value = record->made.emplace_back(std::move(bytes));
    } else if (!text.empty() && text.front() == '<') {
        const std::string path = fileOfUrl(skip_blanks(text.substr(1)), number);
        attribute->file = record->made.emplace_back(path);
        record->ofOtherFiles = true;
        try {
            attribute->value = record->made.emplace_back(readWhole(path, value_file_limit));
        } catch (const FileTrouble &trouble) {
            refuse(number, path + ": " + file_trouble_text(trouble));
        }
    } else {
        attribute->value = skip_blanks(text);
    }
}

LdifAttribute LdifReader::parseLine(const Line &line, LdifRecord *record) {
    const size_t colon = line.text.find(':');
    if (colon == std::string_view::npos) refuse(line.number, catalogue_text("the line has no \":\""));
    LdifAttribute attribute = {line.text.substr(0, colon), "", line.number};
    if (!is_attribute_name(attribute.name)) refuse(line.number, catalogue_text("malformed attribute name"));
    const std::string_view rest = line.text.substr(colon + 1);
    if (equal_nocase(attribute.name, "include"))
        attribute.value = record->made.emplace_back(fileOfUrl(skip_blanks(rest), line.number));
    else
        parseValue(rest, record, &attribute);
    return attribute;
}

void LdifReader::readRecord(const LdifAttribute &first, size_t at, LdifRecord *record) {
    if (!equal_nocase(first.name, "dn")) refuse(first.line, catalogue_text("a record must begin with dn:"));
    sources_[open_.back().source].hasRecords = true;
    record->place = {open_.back().source, static_cast<uint32_t>(at), first.line};
    record->file = current().shown;
    record->line = first.line;
    record->dn = first.value;
    record->attributes.clear();
    readAttributes(record);
}

// The rest of a record, up to an empty line.
void LdifReader::readAttributes(LdifRecord *record) {
    Line line;
    while (logicalLine(record, &line) && !line.text.empty()) {
        LdifAttribute attribute = parseLine(line, record);
        if (equal_nocase(attribute.name, "changetype")) {
            if (!equal_nocase(attribute.value, "add") || !record->attributes.empty())
                refuse(line.number, catalogue_text("only changetype: add is supported, directly after dn:"));
        } else if (equal_nocase(attribute.name, "control") || equal_nocase(attribute.name, "dn") ||
                   equal_nocase(attribute.name, "include")) {
            refuse(line.number,
                   catalogue_format("%s: not allowed inside a record", std::string(attribute.name).c_str()));
        } else {
            record->attributes.push_back(attribute);
        }
    }
    if (record->attributes.empty()) refuse(record->line, catalogue_text("the record has no attributes"));
}

bool LdifReader::next(LdifRecord *record) {
    Line line;
    while (!open_.empty()) {
        record->made.clear();
        record->ofOtherFiles = false;
        if (!logicalLine(record, &line)) {
            close();
            continue;
        }
        if (line.text.empty()) continue;
        const LdifAttribute first = parseLine(line, record);
        const bool atStart = !open_.back().started;
        open_.back().started = true;
        if (equal_nocase(first.name, "version")) {
            if (!atStart || first.value != "1")
                refuse(line.number, catalogue_text("only version: 1 is supported, at the beginning of a file"));
        } else if (equal_nocase(first.name, "include")) {
            include(first);
        } else {
            readRecord(first, line.at, record);
            return true;
        }
    }
    return false;
}

void LdifReader::include(const LdifAttribute &line) {
    if (open_.size() == include_depth_limit) refuse(line.line, catalogue_text("include files are nested too deeply"));
    if (++included_ > include_limit) refuse(line.line, catalogue_text("too many include files"));
    const std::string path(line.value);
    try {
        open(readWhole(path, file_limit), path.substr(folder_.size()), path);
    } catch (const FileTrouble &trouble) {
        refuse(line.line, file_trouble_text(trouble));
    }
}

void LdifReader::again(LdifPlace place, LdifRecord *record) {
    std::vector<Position> there = {{place.source, place.at, place.line - 1, true}};
    there.swap(open_);
    next(record);
    there.swap(open_);
}
