// The recording client's tables and the helpers of its calls; only for the files of this folder.
#ifndef SPY_STATE_H
#define SPY_STATE_H

#include <deque>
#include <map>
#include <set>

#include "tests/client_spy/client_spy.h"

struct ZKDSBuffer {
    int number = 0;
    std::string requested; // the attribute put into a request
    spy::Reply reply;
    size_t attribute = 0; // the next one that ZKDSGetAttrName returns
    size_t value = 0;     // the next value of the attribute returned last
};

namespace spy {

struct Server {
    std::string name, tree;
    bool authenticated = false, counted = false;
};
struct Context {
    uint32_t flags = 0, lastConnection = 0;
    std::string nameContext, tree;
    bool made = false, freed = false;
};
struct OpenFile {
    std::string content;
    size_t position = 0;
};
struct ParsedPath {
    std::string server;
    uint32_t connection;
    std::string volume, rest;
};
struct Fault {
    int first, last;
    uint32_t code;
};
struct PromptAnswer {
    bool entered;
    std::string user, password;
};
struct ObjectInfo {
    std::string baseClass, distinguishedName;
};

struct State {
    std::vector<std::string> calls, names, mistakes;
    std::function<void(const std::string &)> hook;
    std::map<std::string, std::vector<Fault>> faults;
    std::map<std::string, int> occurrences;
    std::map<int, uint32_t> numberedFaults;
    int callNumber = 0;
    int allFrom = 0; // from this call on every one fails with allCode; 0 for none
    uint32_t allCode = 0;
    bool recording = false;

    std::map<std::string, std::string> trees; // folded name -> default server
    std::map<std::string, std::string> treeSpelling;
    std::map<std::string, Server> servers;       // by folded name
    std::map<uint32_t, std::string> connections; // handle -> folded server name
    std::map<uint32_t, std::string> connectionTrees;
    std::map<uint32_t, std::string> references;
    std::map<uint32_t, std::string> itemAnswers;
    std::string defaultServer;
    uint8_t version[4] = {1, 2, 3, 4};
    uint32_t connectionNumber = 7, userNumber = 42, nextConnection = 101, nextReference = 501;

    std::string everyTreesUser;
    std::map<std::string, std::string> users; // by folded tree name
    std::vector<std::pair<std::string, std::string>> accounts;

    std::map<uint32_t, Context> contexts;
    uint32_t nextContext = 1;
    bool reusesContexts = false;
    std::vector<uint32_t> freedContexts;
    std::map<std::string, ObjectInfo> objects;
    std::map<std::string, std::string> canonicals, abbreviations;
    std::set<std::string> schema;
    std::map<std::pair<std::string, std::string>, std::vector<Reply>> answers;
    std::map<std::pair<std::string, std::string>, std::string> streams;
    std::set<ZKDSBuffer *> buffers;
    int nextBuffer = 1;
    std::map<uint32_t, OpenFile> files;
    uint32_t nextFile = 301, readLimit = UINT32_MAX;
    std::map<std::string, ParsedPath> paths;
    std::vector<std::pair<std::string, std::string>> drives;

    std::deque<PromptAnswer> prompts;
    std::deque<int> confirmations, pauses;
    bool keepTexts = false;
    std::vector<std::pair<char *, char *>> texts;
};
State &state();

std::string fold(const std::string &text);
std::string object_key(const std::string &name);         // without types and leading ".", folded
std::string attribute_key(const std::string &attribute); // folded, "_" as " "

// How an argument is written.
std::string shown(const char *text);
std::string shown(uint32_t number);
std::string shown(int number);
std::string shown(const ZKDSBuffer *buffer);
std::string flags_shown(uint32_t flags);

// Keeps a call. The code that it is to fail with, if any; `numbered` (may be null) reports that the fault goes by the
// call's number.
std::optional<uint32_t> record(const char *name, std::initializer_list<std::string> arguments,
                               bool *numbered = nullptr);
void mistake(const std::string &what);
// A context that a test made up is made on first use; a freed one is a mistake.
Context &context_of(uint32_t handle);
bool buffer_known(const ZKDSBuffer *buffer, const char *call);
void copy_out(char *out, const std::string &text); // `out` may be null
bool account_known(const std::string &user, const char *password);

} // namespace spy

#endif
