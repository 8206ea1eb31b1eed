// The recording client: every function of platform/zk.h and platform/treelogin.h, answering from tables that a test
// fills with the verbs below. It keeps each call with its arguments as readable text and fails the calls that it is
// set to fail. It knows nothing of directories: names are answered as the test spelled them. (The fuzz targets have a
// client of their own, tests/fuzz/world/client.h, which records nothing and lies as the input says.)
//
//     spy::reset();
//     spy::tree("ACME_TREE", "SRV1");
//     spy::text_attribute("jdoe.sales.acme", "Full Name", {"John Doe"});
//     ... call the library ...
//     EXPECT_EQ(spy::calls("ZKDSRead"), (std::vector<std::string>{"ZKDSRead(1, \"jdoe.sales.acme\", 1, 0, iter -1)"}));
//
// Text arguments are quoted, null pointers are "null", numbers are decimal, context flags are hexadecimal, buffers are
// buf1, buf2, ... in the order of their allocation. Out parameters are not shown. Handles count up from reset():
// contexts from 1, connections from 101, files from 301, connection references from 501.
//
// Names compare without regard to case, with or without types and a leading "."; attribute names also with "_" for " ".
#ifndef CLIENT_SPY_H
#define CLIENT_SPY_H

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/treelogin.h"
#include "platform/zk.h"

namespace spy {

// Forgets every table, fault, call and handle. A fixture calls it in SetUp.
void reset();

// ---- what was called ----

std::vector<std::string> calls();                        // all, in order, with arguments
std::vector<std::string> calls(const std::string &name); // those of one function
std::vector<std::string> call_names();                   // all, names alone
void forget_calls();                                     // empties the record, keeps the tables
// Runs before each call is answered, with the call's text: to look at the process as the client sees it.
void on_call(std::function<void(const std::string &)> hook);
// Uses of freed or unknown buffers, contexts and files, and unknown keys. Empty when all is well.
std::vector<std::string> mistakes();
// Whether the client is just writing a call into its record, passwords included.
bool recording();
// What was made through the client and not given back.
int open_buffers();
int open_contexts();
int open_files();
// From here on a new context gets the number that was freed last, as a site's client may do.
void reuse_contexts();

// ---- faults: a failing call writes none of its out parameters ----

void fail(const std::string &name, uint32_t code);                      // every call of that name
void fail_nth(const std::string &name, int occurrence, uint32_t code);  // once, the occurrence counted from 1
void fail_from(const std::string &name, int occurrence, uint32_t code); // that one and all later ones
void fail_call(int number, uint32_t code); // once, the call of that number among all (from 1); a question is answered 0
// The call of that number and every later one, likewise. A code of 0 leaves the enumeration of drives alone, which
// would never end.
void fail_calls_from(int number, uint32_t code);
void mend();      // forgets all faults
int call_count(); // calls since reset(), for sweeps over fail_call

// ---- trees, servers, connections ----

// Without declarations there is no tree, no server and no default connection.
void tree(const std::string &name, const std::string &defaultServer = "");
void server(const std::string &name, const std::string &treeName = "");
void authenticated(const std::string &serverName, bool yes = true); // information item 1; starts as no
void default_server(const std::string &name);                       // of ZKGetDefaultConnRef
void connection_number(uint32_t number);                            // item 5, starts at 7
void user_number(uint32_t number);                                  // item 6, starts at 42
// The bytes that an information item answers whatever the connection (cut at the caller's size).
void connection_answer(uint32_t item, const std::string &bytes);
void counted(const std::string &serverName, bool yes = true); // item 10; starts as no
// What ZKGetZKNetVersion answers; starts as 1.2.3.4.
void client_version(uint8_t major, uint8_t minor, uint8_t revision, uint8_t patch);

// ---- who is logged in ----

void logged_in(const std::string &name); // to every tree
void logged_in_to(const std::string &treeName, const std::string &name);
void logged_out();
// With at least one account, a login of any other name or password is ZKE_WRONG_PASSWORD; without, every login works.
void account(const std::string &user, const std::string &password);

// ---- objects ----

// Reading an undeclared object is ZKE_NO_SUCH_ENTRY. `distinguishedName` is `name` unless given.
void object(const std::string &name, const std::string &baseClass = "User", const std::string &distinguishedName = "");
void canonical(const std::string &name, const std::string &answer);   // otherwise the name itself
void abbreviated(const std::string &name, const std::string &answer); // otherwise the name itself
void schema(const std::string &attribute);                            // ZKDSReadAttrDef knows it

// One attribute value: a block, and where in it the pointers stand.
struct Value {
    uint32_t syntax = 3;
    std::string block;
    std::vector<std::pair<size_t, size_t>> pointers; // offset of the pointer, offset of what it points to
    std::optional<uint32_t> claimedSize;             // what ZKDSComputeAttrValSize returns instead of the block's size
};
Value text(const std::string &value, uint32_t syntax = 3);
Value number(uint32_t syntax, int32_t value); // syntaxes 22, 24, 27
Value numeric_text(const char *value);        // syntax 11; null allowed
// `claimedLength` stands in the length field instead of the true one; without `hasBytes` the pointer is null.
Value address(uint32_t type, const std::string &bytes, std::optional<uint32_t> claimedLength = {},
              bool hasBytes = true);
Value path(const char *volume, const char *rest, uint32_t nameSpace = 0); // nulls allowed
Value postal(const std::vector<const char *> &lines);                     // up to six; nulls allowed
Value raw(uint32_t syntax, const std::string &block);                     // exactly these bytes, no NUL added
Value sized(Value value, uint32_t claimedSize);

struct Attribute {
    std::string name;
    std::vector<Value> values;
    std::optional<uint32_t> claimedCount; // what ZKDSGetAttrName returns instead of the number of values
};
struct Reply {
    std::vector<Attribute> attributes;
    std::optional<uint32_t> claimedCount; // what ZKDSGetAttrCount returns
};

// What reading `name` of an object answers. Each declares the object and, but for replies(), the schema's attribute.
void text_attribute(const std::string &object, const std::string &name, const std::vector<std::string> &values);
void attribute(const std::string &object, const std::string &name, const std::vector<Value> &values);
// The values come in several replies: ZKDSRead returns an iteration other than -1 until the last one.
void attribute_in_replies(const std::string &object, const std::string &name,
                          const std::vector<std::vector<Value>> &values);
void replies(const std::string &object, const std::string &name, const std::vector<Reply> &answer);

// ---- files, paths, drives ----

void stream(const std::string &object, const std::string &content, const std::string &name = "Login Script");
void read_at_most(uint32_t bytes); // a single ZKReadFile
// What ZKParsePath answers; any other path is ZKE_SERVER_NOT_FOUND.
void parsed_path(const std::string &path, const std::string &server, uint32_t connection, const std::string &volume,
                 const std::string &rest);
void mapped_drive(const std::string &localPath, const std::string &target);

// ---- prompts: answers are queues; an empty queue cancels (1), confirms nothing (0), pauses with 0 ----

void prompt_answer(const std::string &user, const std::string &password);
void prompt_cancel();
void confirm_answer(int answer);
void pause_answer(int answer);
// From here on the texts that prompts hand out are remembered, and so count as reachable: for a caller that is meant to
// keep them. Call it before the prompt.
void keep_prompt_texts();
std::vector<std::pair<char *, char *>> prompt_texts(); // user and password

} // namespace spy

#endif
