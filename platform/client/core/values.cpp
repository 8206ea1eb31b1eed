#include "platform/client/core/values.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstring>
#include <ctime>
#include <optional>

#include "platform/catalogue.h"
#include "platform/client/core/errors.h"
#include "platform/client/core/schema.h"
#include "platform/common/hex.h"
#include "platform/common/skip.h"
#include "platform/zk.h"

static constexpr size_t postal_lines = 6;
static constexpr size_t share_limit = 64; // as of a volume's name on its server

// The decimal number that is the whole of `text`, within the limits.
static std::optional<int64_t> whole_number(std::string_view text, int64_t lowest, int64_t highest) {
    constexpr size_t mostDigits = 10;
    int64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const size_t digits = text.size() - (text.substr(0, 1) == "-" ? 1 : 0);
    const bool whole = error == std::errc() && end == text.data() + text.size() && digits <= mostDigits;
    return whole && number >= lowest && number <= highest ? std::optional(number) : std::nullopt;
}

static int32_t parse_number(std::string_view text) {
    const std::optional<int64_t> number = whole_number(text, INT32_MIN, INT32_MAX);
    if (!number) throw DataError(catalogue_text("not a 32-bit number"));
    return static_cast<int32_t>(*number);
}

static int two_digits(std::string_view text, size_t at) {
    return (text[at] - '0') * 10 + (text[at + 1] - '0');
}

[[noreturn]] static void refuse_time() {
    throw DataError(catalogue_text("not a time of the form YYYYMMDDHHMMSSZ"));
}

// Takes the time zone from the end of a time: "Z", or the hours and minutes that the time is ahead of UTC. In seconds.
static time_t take_zone(std::string_view *text) {
    const size_t sign = text->find_last_of("Z+-");
    const std::string_view zone = sign == std::string_view::npos ? "" : text->substr(sign);
    *text = text->substr(0, sign);
    const bool minutes = zone.size() == 5;
    if (zone == "Z") return 0;
    if ((!minutes && zone.size() != 3) || zone.find_first_not_of("0123456789", 1) != std::string_view::npos ||
        two_digits(zone, 1) > 23 || (minutes && two_digits(zone, 3) > 59))
        refuse_time();
    const time_t ahead = two_digits(zone, 1) * 3600 + (minutes ? two_digits(zone, 3) * 60 : 0);
    return zone.front() == '-' ? -ahead : ahead;
}

// The whole seconds in a fraction of an hour, a minute or a second: "" or ".5".
static time_t part_of(time_t seconds, std::string_view fraction) {
    if (fraction.empty()) return 0;
    const bool begins = fraction.front() == '.' || fraction.front() == ',';
    if (!begins || fraction.size() == 1 || fraction.find_first_not_of("0123456789", 1) != std::string_view::npos)
        refuse_time();
    time_t part = 0;
    time_t whole = 1;
    for (char c : fraction.substr(1, 6)) {
        part = part * 10 + (c - '0');
        whole *= 10;
    }
    return seconds * part / whole;
}

// A moment after 2038 is the last one that 32 bits can tell, so that "never expires" may be written as a far year.
static int32_t parse_time(std::string_view text) {
    const time_t zone = take_zone(&text);
    const size_t digits = std::min(text.find_first_not_of("0123456789"), text.size());
    if (digits < 10 || digits > 14 || digits % 2 != 0) refuse_time();
    struct tm when = {};
    when.tm_year = two_digits(text, 0) * 100 + two_digits(text, 2) - 1900;
    when.tm_mon = two_digits(text, 4) - 1;
    when.tm_mday = two_digits(text, 6);
    when.tm_hour = two_digits(text, 8);
    when.tm_min = digits > 10 ? two_digits(text, 10) : 0;
    const time_t part = part_of(digits > 12 ? 1 : digits > 10 ? 60 : 3600, text.substr(digits));
    const int second = digits > 12 ? two_digits(text, 12) : 0;
    struct tm normal = when;
    const time_t moment = timegm(&normal) + second + part - zone;
    // timegm carries what is out of range over: a day that does not exist into another month, an hour or a minute into
    // another hour. A leap second is a real moment.
    if (second > 60 || normal.tm_mon != when.tm_mon || normal.tm_hour != when.tm_hour)
        throw DataError(catalogue_text("no such date or time of day"));
    return moment > INT32_MAX ? INT32_MAX : moment < INT32_MIN ? INT32_MIN : static_cast<int32_t>(moment);
}

static void view_dn(std::string_view text, const Name &base, DnView *dn) {
    bool outside = false;
    if (!name_view_dn(text, base, dn, &outside)) {
        throw DataError(outside ? catalogue_text("the DN is not below the tree's base")
                                : catalogue_text("malformed DN"));
    }
    if (name_is_too_long(dn->parts)) throw DataError(catalogue_text("the name is longer than 512 bytes"));
}

// `what` is the message for a text that is not a number.
static uint32_t parse_type(std::string_view text, const char *what) {
    const std::optional<int64_t> number = whole_number(text, 0, UINT32_MAX);
    if (!number) throw DataError(catalogue_text(what));
    return static_cast<uint32_t>(*number);
}

static size_t next_hash(std::string_view text) {
    const size_t found = find_unescaped(text, '#');
    if (found == std::string_view::npos) throw DataError(catalogue_text("not a path of the form name-space#DN#path"));
    return found;
}

// Takes the name space and the volume from a path, whose name on the volume is left.
static uint32_t take_volume(std::string_view *path, const Name &base, DnView *volume) {
    size_t hash = next_hash(*path);
    const uint32_t nameSpace =
        parse_type(path->substr(0, hash), catalogue_mark("the name space of a path must be a number"));
    path->remove_prefix(hash + 1);
    hash = next_hash(*path);
    view_dn(path->substr(0, hash), base, volume);
    path->remove_prefix(hash + 1);
    return nameSpace;
}

// A name on a file server, "\\\\fs1\\home\\anna" with either kind of slash.
static bool is_unc(std::string_view text) {
    return text.substr(0, 2) == "\\\\" || text.substr(0, 2) == "//";
}

// Takes the next part of such a name.
static std::string_view take_unc_part(std::string_view *text) {
    constexpr std::string_view slashes = "/\\";
    text->remove_prefix(std::min(text->find_first_not_of(slashes), text->size()));
    const std::string_view part = text->substr(0, text->find_first_of(slashes));
    text->remove_prefix(part.size());
    return part;
}

// The server and the share stand for server and volume, without an object of the directory for either.
static void parse_unc(std::string_view text, Value *value) {
    const std::string_view server = take_unc_part(&text);
    const std::string_view share = take_unc_part(&text);
    if (server.empty() || server.size() >= ZK_SERVER_NAME_SIZE || share.empty() || share.size() > share_limit ||
        server.find(':') != std::string_view::npos || share.find(':') != std::string_view::npos)
        throw DataError(catalogue_text("not a path of the form \\\\server\\share\\path"));
    std::string volume = std::string(server) + "/" + std::string(share);
    for (char &c : volume) c = upper_case(c);
    value->lines = {volume};
    for (std::string_view part = take_unc_part(&text); !part.empty(); part = take_unc_part(&text))
        value->text += (value->text.empty() ? "" : "/") + std::string(part);
}

static void parse_path(std::string_view text, const Name &base, Value *value) {
    if (is_unc(text)) return parse_unc(text, value);
    DnView volume;
    value->type = take_volume(&text, base, &volume);
    value->name = name_of_view(volume.parts);
    value->text = text;
}

static Name parse_dn(std::string_view text, const Name &base) {
    DnView dn;
    view_dn(text, base, &dn);
    return name_of_view(dn.parts);
}

static void parse_network_address(std::string_view text, Value *value) {
    size_t hash = text.find('#');
    if (hash == std::string_view::npos || (text.size() - hash) % 2 == 0)
        throw DataError(catalogue_text("not a network address of the form type#hex-digits"));
    value->type = parse_type(text.substr(0, hash), catalogue_mark("the type of a network address must be a number"));
    for (size_t i = hash + 1; i < text.size(); i += 2) {
        const std::optional<char> byte = hex_byte(text.substr(i));
        if (!byte) throw DataError(catalogue_text("not a network address of the form type#hex-digits"));
        value->text += *byte;
    }
}

static void parse_postal_address(std::string_view text, Value *value) {
    value->lines.emplace_back();
    for (size_t i = 0; i < text.size(); i++) {
        if (text[i] == '$') {
            value->lines.emplace_back();
        } else if (text.substr(i, 3) == "\\24") {
            value->lines.back() += '$';
            i += 2;
        } else if (equal_nocase(text.substr(i, 3), "\\5c")) {
            value->lines.back() += '\\';
            i += 2;
        } else {
            value->lines.back() += text[i];
        }
    }
    if (value->lines.size() > postal_lines)
        throw DataError(catalogue_text("a postal address can have at most six lines"));
}

static char *put_text(char *to, const std::string &text) {
    memcpy(to, text.c_str(), text.size() + 1);
    return to + text.size() + 1;
}

// What the caller handed us need not be aligned for the structures: they are made here and copied.
static void write_network_address(const Value &value, char *block) {
    char *bytes = block + sizeof(ZKNetworkAddress);
    ZKNetworkAddress head = {value.type, static_cast<uint32_t>(value.text.size()), reinterpret_cast<uint8_t *>(bytes)};
    memcpy(block, &head, sizeof head);
    value.text.copy(bytes, value.text.size()); // bytes, not text: no NUL follows
}

static void write_path(const Value &value, char *block) {
    char *volume = block + sizeof(ZKPath);
    char *path = put_text(volume, value.lines.at(0));
    put_text(path, value.text);
    ZKPath head = {};
    head.nameSpace = value.type;
    head.volume = volume;
    head.path = path;
    memcpy(block, &head, sizeof head);
}

static void write_postal_address(const Value &value, char *block) {
    ZKPostalAddress head = {};
    char *at = block + sizeof head;
    for (size_t i = 0; i < value.lines.size(); i++) {
        head.line[i] = at;
        at = put_text(at, value.lines[i]);
    }
    memcpy(block, &head, sizeof head);
}

static void write_numeric_text(const Value &value, char *block) {
    ZKNumericText head = {block + sizeof(ZKNumericText)};
    memcpy(block, &head, sizeof head);
    put_text(block + sizeof head, value.text);
}

std::string name_in_form(const Name &name, const NameForm &form) {
    return form.complete ? name_to_dotted(name, form.typed) : name_abbreviate(name, form.context, form.typed);
}

static void refuse_nul(std::string_view text) {
    if (text.find('\0') != std::string_view::npos) throw DataError(catalogue_text("the value contains a NUL byte"));
}

Value value_parse(uint32_t syntax, std::string_view text, const Name &base) {
    refuse_nul(text);
    Value value;
    switch (syntax) {
        case schema_dn:
            value.name = parse_dn(text, base);
            break;
        case schema_boolean:
            if (text != "TRUE" && text != "FALSE") throw DataError(catalogue_text("must be TRUE or FALSE"));
            value.text = text;
            break;
        case ZK_SYNTAX_COUNTER:
        case ZK_SYNTAX_INTERVAL:
            value.number = parse_number(text);
            break;
        case ZK_SYNTAX_TIME:
            value.number = parse_time(text);
            break;
        case ZK_SYNTAX_PATH:
            parse_path(text, base, &value);
            break;
        case ZK_SYNTAX_NETWORK_ADDRESS:
            parse_network_address(text, &value);
            break;
        case ZK_SYNTAX_POSTAL_ADDRESS:
            parse_postal_address(text, &value);
            break;
        default:
            value.text = text;
    }
    return value;
}

void value_check(uint32_t syntax, std::string_view text, const Name &base, DnView *dn) {
    switch (syntax) {
        case schema_dn:
            refuse_nul(text);
            view_dn(text, base, dn);
            break;
        case ZK_SYNTAX_PATH:
            refuse_nul(text);
            if (is_unc(text))
                value_parse(syntax, text, base);
            else
                take_volume(&text, base, dn);
            break;
        case schema_text: // whose syntax takes any text
        case schema_telephone:
        case schema_stream:
        case ZK_SYNTAX_NUMERIC_TEXT:
            refuse_nul(text);
            break;
        default:
            value_parse(syntax, text, base);
    }
}

void value_put_names(uint32_t syntax, const NameForm &form, Value *value) {
    if (syntax == schema_dn)
        value->text = name_in_form(value->name, form);
    else if (syntax == ZK_SYNTAX_PATH && value->lines.empty())
        value->lines = {name_in_form(value->name, form)};
}

size_t value_block_size(uint32_t syntax, const Value &value) {
    size_t lines = 0;
    for (const std::string &line : value.lines) lines += line.size() + 1;
    switch (syntax) {
        case ZK_SYNTAX_COUNTER:
        case ZK_SYNTAX_INTERVAL:
        case ZK_SYNTAX_TIME:
            return sizeof(int32_t);
        case ZK_SYNTAX_NETWORK_ADDRESS:
            return sizeof(ZKNetworkAddress) + value.text.size();
        case ZK_SYNTAX_PATH:
            return sizeof(ZKPath) + lines + value.text.size() + 1;
        case ZK_SYNTAX_POSTAL_ADDRESS:
            return sizeof(ZKPostalAddress) + lines;
        case ZK_SYNTAX_NUMERIC_TEXT:
            return sizeof(ZKNumericText) + value.text.size() + 1;
        default:
            return value.text.size() + 1;
    }
}

void value_write(uint32_t syntax, const Value &value, void *block) {
    char *bytes = static_cast<char *>(block);
    switch (syntax) {
        case ZK_SYNTAX_COUNTER:
        case ZK_SYNTAX_INTERVAL:
        case ZK_SYNTAX_TIME:
            memcpy(bytes, &value.number, sizeof value.number);
            break;
        case ZK_SYNTAX_NETWORK_ADDRESS:
            write_network_address(value, bytes);
            break;
        case ZK_SYNTAX_PATH:
            write_path(value, bytes);
            break;
        case ZK_SYNTAX_POSTAL_ADDRESS:
            write_postal_address(value, bytes);
            break;
        case ZK_SYNTAX_NUMERIC_TEXT:
            write_numeric_text(value, bytes);
            break;
        default:
            put_text(bytes, value.text);
    }
}
