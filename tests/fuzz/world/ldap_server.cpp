#include "tests/fuzz/world/ldap_server.h"

#include <algorithm>
#include <cerrno>
#include <map>
#include <string>
#include <vector>

#include "tests/fuzz/fuzz.h"
#include "tests/fuzz/world/network.h"

namespace {

enum Tag : unsigned char {
    bind_request = 0x60,
    bind_answer = 0x61,
    search_request = 0x63,
    search_entry = 0x64,
    search_end = 0x65,
    search_reference = 0x73,
    extended_request = 0x77,
    extended_answer = 0x78,
    partial_answer = 0x79
};

struct Client {
    unsigned request = 0; // its number and kind
    unsigned char kind = 0;
    std::string out;
    size_t at = 0;
};

// What the next message is made of besides its own content.
struct Changes {
    bool hasId = false, hasTag = false;
    unsigned id = 0, tag = 0, cut = 0, place = 0;
    std::string control, bytes;
};

struct Attribute {
    std::string name;
    std::string values; // in BER
};

std::string_view text;
std::map<int, Client> clients;
Changes changes;
size_t piece;

std::string ber(unsigned tag, std::string_view content) {
    std::string out(1, static_cast<char>(tag));
    const size_t size = content.size();
    if (size >= 0x100)
        out += {static_cast<char>(0x82), static_cast<char>(size >> 8)};
    else if (size >= 0x80)
        out += static_cast<char>(0x81);
    out += static_cast<char>(size);
    return out.append(content);
}

std::string number(unsigned tag, unsigned value) {
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8)
        if (shift == 0 || value >> (shift - 1) != 0) bytes += static_cast<char>(value >> shift);
    return ber(tag, bytes);
}

int hex(char c) {
    return c >= '0' && c <= '9' ? c - '0' : c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

std::string unescaped(std::string_view line) {
    std::string out;
    for (size_t i = 0; i < line.size(); i++) {
        if (line[i] == '^' && i + 2 < line.size() && hex(line[i + 1]) >= 0 && hex(line[i + 2]) >= 0) {
            out += static_cast<char>(hex(line[i + 1]) * 16 + hex(line[i + 2]));
            i += 2;
        } else {
            out += line[i];
        }
    }
    return out;
}

unsigned number_of(std::string_view *value) {
    unsigned result = 0;
    size_t i = 0;
    for (; i < value->size() && (*value)[i] >= '0' && (*value)[i] <= '9'; i++)
        result = result * 10 + static_cast<unsigned>((*value)[i] - '0');
    value->remove_prefix(std::min(value->size(), i + 1));
    return result;
}

std::string uris(std::string_view list) {
    std::string out;
    while (!list.empty()) {
        const std::string_view one = fuzz_take(list, ' ');
        if (!one.empty()) out += ber(0x04, unescaped(one));
    }
    return out;
}

void send_message(Client *to, unsigned tag, std::string_view content) {
    std::string body = number(0x02, changes.hasId ? changes.id : to->request);
    body += ber(changes.hasTag ? changes.tag : tag, content);
    if (!changes.control.empty()) body += ber(0xA0, ber(0x30, changes.control));
    std::string message = ber(0x30, body);
    for (size_t i = 0; i < changes.bytes.size() && changes.place + i < message.size(); i++)
        message[changes.place + i] = changes.bytes[i];
    message.resize(message.size() - std::min<size_t>(message.size(), changes.cut));
    to->out += message;
    changes = {};
}

std::string result(unsigned code, std::string_view words) {
    return number(0x0A, code) + ber(0x04, "") + ber(0x04, words);
}

unsigned char answer_to(unsigned char kind) {
    return kind == bind_request ? bind_answer : kind == extended_request ? extended_answer : search_end;
}

// An entry is sent when it is known to be complete.
class PendingEntry {
  public:
    explicit PendingEntry(Client *to) : to_(to) {}
    void begin(std::string_view dn) {
        flush();
        open_ = true;
        dn_ = unescaped(dn);
    }
    void add(std::string_view name, bool hasValue, std::string_view value) {
        if (!open_) return;
        const std::string plain = unescaped(name);
        if (attributes_.empty() || attributes_.back().name != plain) attributes_.push_back({plain, ""});
        if (hasValue) attributes_.back().values += ber(0x04, unescaped(value));
    }
    void flush() {
        if (!open_) return;
        std::string list;
        for (const Attribute &one : attributes_) list += ber(0x30, ber(0x04, one.name) + ber(0x31, one.values));
        send_message(to_, search_entry, ber(0x04, dn_) + ber(0x30, list));
        open_ = false;
        attributes_.clear();
    }

  private:
    Client *to_;
    bool open_ = false;
    std::string dn_;
    std::vector<Attribute> attributes_;
};

// What changes a message that is still to come. False: the line is something else.
bool take_change(std::string_view name, std::string_view value) {
    if (name == "id") {
        changes.hasId = true;
        changes.id = number_of(&value);
    } else if (name == "tag") {
        changes.hasTag = true;
        changes.tag = number_of(&value) & 0xFF;
    } else if (name == "control") {
        const std::string_view number = fuzz_take(value, ' ');
        changes.control = ber(0x04, unescaped(number)) + (value.empty() ? "" : ber(0x04, unescaped(value)));
    } else if (name == "cut") {
        changes.cut = number_of(&value);
    } else if (name == "put") {
        changes.place = number_of(&value);
        changes.bytes = unescaped(value);
    } else if (name == "piece") {
        piece = number_of(&value);
    } else {
        return false;
    }
    return true;
}

// A message that ends no answer.
bool take_further(Client *to, std::string_view name, std::string_view value) {
    if (name == "reference") {
        send_message(to, search_reference, uris(value));
    } else if (name == "notice") {
        if (!changes.hasId) {
            changes.hasId = true;
            changes.id = 0;
        }
        send_message(to, extended_answer, result(number_of(&value), value) + ber(0x8A, "1.3.6.1.4.1.1466.20036"));
    } else if (name == "partial") {
        send_message(to, partial_answer, ber(0x80, unescaped(value)));
    } else {
        return false;
    }
    return true;
}

bool take_end(Client *to, std::string_view name, std::string_view value) {
    if (name == "result") {
        const unsigned code = number_of(&value);
        send_message(to, answer_to(to->kind), result(code, unescaped(value)));
    } else if (name == "referral") {
        send_message(to, answer_to(to->kind), result(10, "") + ber(0xA3, uris(value)));
    } else if (name == "who") {
        send_message(to, extended_answer, result(0, "") + ber(0x8B, unescaped(value)));
    } else if (name == "raw") {
        to->out += unescaped(value);
    } else {
        return false;
    }
    return true;
}

// Negative: the event that comes instead of bytes; 1: none.
int take_event(std::string_view name) {
    if (name == "silent") return -EAGAIN;
    if (name == "reset") return -ECONNRESET;
    if (name == "interrupted") return -EINTR;
    return name == "close" ? 0 : 1;
}

// One answer, or as much of it as there is; returns as take_event. An event waits for what is before it.
int compose(Client *to) {
    PendingEntry entry(to);
    while (!text.empty()) {
        const std::string_view before = text;
        std::string_view value = fuzz_take(text, '\n');
        const bool hasValue = value.find(':') != value.npos;
        const std::string_view name = fuzz_take(value, ':');
        if (!value.empty() && value.front() == ' ') value.remove_prefix(1);
        const int event = hasValue ? take_event(name) : 1;
        if (name == "dn") {
            entry.begin(value);
        } else if (event <= 0) {
            entry.flush();
            if (to->out.empty()) return event;
            text = before;
            return 1;
        } else if (take_change(name, value)) {
            continue;
        } else if (name == "reference" || name == "notice" || name == "partial") {
            entry.flush();
            take_further(to, name, value);
        } else if (name == "result" || name == "referral" || name == "who" || name == "raw") {
            entry.flush();
            take_end(to, name, value);
            return 1;
        } else {
            entry.add(name, hasValue, value);
        }
    }
    entry.flush();
    return to->out.empty() ? 0 : 1;
}

int take_connection(int descriptor) {
    clients[descriptor] = {};
    if (text.substr(0, 7) != "refuse:") return 0;
    fuzz_take(text, '\n');
    return ECONNREFUSED;
}

// A request begins with its number and its kind, each message in one piece: 30 length 02 size number kind ...
void heard(int descriptor, std::string_view bytes) {
    FUZZ_CHECK(bytes.size() > 6);
    if (bytes[0] != 0x30) return; // TLS
    const auto first = static_cast<unsigned char>(bytes[1]);
    bytes.remove_prefix(first < 0x80 ? 2 : 2 + (first & 0x7F));
    FUZZ_CHECK(bytes[0] == 0x02 && bytes[1] >= 1 && bytes[1] <= 4);
    const auto size = static_cast<size_t>(bytes[1]);
    unsigned id = 0;
    for (const char byte : bytes.substr(2, size)) id = id << 8 | static_cast<unsigned char>(byte);
    const auto kind = static_cast<unsigned char>(bytes[2 + size]);
    if (kind != bind_request && kind != search_request && kind != extended_request) return;
    clients[descriptor].request = id;
    clients[descriptor].kind = kind;
}

ssize_t say(int descriptor, char *to, size_t size) {
    Client &client = clients[descriptor];
    if (client.at == client.out.size()) {
        client.out.clear();
        client.at = 0;
        const int event = compose(&client);
        if (event <= 0) return event;
    }
    const size_t most = piece > 0 ? std::min(size, piece) : size;
    const size_t count = client.out.copy(to, most, client.at);
    client.at += count;
    return static_cast<ssize_t>(count);
}

const NetworkPeer server = {take_connection, heard, say};

} // namespace

void ldap_server_start(std::string_view answers) {
    text = answers;
    clients.clear();
    changes = {};
    piece = 0;
    network_peer = &server;
}

bool ldap_server_is_done() {
    return text.empty();
}
