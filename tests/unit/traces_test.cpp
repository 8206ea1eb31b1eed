// All traces of the library, each at every level: a run of everything, in which each of the client's calls fails once,
// leaves every trace of the table below its level and no other line. What the table contains is also what the source
// does.
#include <fnmatch.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <regex>
#include <set>
#include <tuple>

#include "commands/drive.h"
#include "tests/failing_malloc/failing_malloc.h"
#include "tests/unit/run_sequence_fixture.h"
#include "tests/unit/trace_table.h"

namespace {

constexpr int top_level = 9; // one above the highest threshold
// As the readers of volumes look at a code, too, this one is a failure.
constexpr uint32_t failure = ZKE_CONN_INVALID;

// One function's trace.
struct Trace {
    int threshold;
    std::string format;
    std::string pattern; // the format for fnmatch

    // The longer of two formats that a text fits says more of it.
    bool operator<(const Trace &other) const { return format.size() < other.format.size(); }
    bool fits(const std::string &text) const { return fnmatch(pattern.c_str(), text.c_str(), 0) == 0; }
};

Trace trace_of(const TraceInTable &row) {
    const std::string plain = std::regex_replace(row.format, std::regex(R"([\\*?\[\]])"), "\\$&");
    return {row.threshold, row.format, std::regex_replace(plain, std::regex("%[0-9]*[a-zA-Z]"), "*")};
}

using Traces = std::multimap<std::string, Trace>; // by function

Traces whole_table() {
    Traces traces;
    for (const TraceInTable &row : trace_table)
        for (const std::string &function : words_of(row.functions)) traces.emplace(function, trace_of(row));
    return traces;
}

// The trace of the function that `text` is. Null: none.
const Trace *find_trace(const Traces &traces, const std::string &function, const std::string &text) {
    const Trace *found = nullptr;
    const auto [begin, end] = traces.equal_range(function);
    for (auto at = begin; at != end; ++at)
        if (at->second.fits(text) && (found == nullptr || *found < at->second)) found = &at->second;
    return found;
}

// A trace for the reports: function "format".
std::string name_of(const std::string &function, const Trace &trace) {
    return function + " \"" + trace.format + "\"";
}

std::set<std::string> traces_below(const Traces &traces, int level) {
    std::set<std::string> names;
    for (const auto &[function, trace] : traces)
        if (trace.threshold < level) names.insert(name_of(function, trace));
    return names;
}

struct TraceInSource {
    std::string function; // empty in a helper that is passed it
    int threshold;
    std::string format;
    int first_line, last_line;
};

int line_at(const std::string &text, size_t position) {
    return 1 + static_cast<int>(std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(position), '\n'));
}

std::string without_escapes(const std::string &literal) {
    return std::regex_replace(literal, std::regex(R"(\\(.))"), "$1");
}

// The traces of one file. What looks like one and cannot be read fails the test.
void read_source(const std::filesystem::path &file, std::vector<TraceInSource> &traces) {
    std::ifstream in(file);
    const std::string text((std::istreambuf_iterator<char>(in)), {});
    const std::regex any(R"(\b(TRACE|TRACE_FOR|output_trace)\()");
    const std::regex whole(R"re(^(TRACE|TRACE_FOR)\(\s*([\w.]+),\s*([0-9]),\s*"((?:[^"\\]|\\.)*)")re");
    for (std::sregex_iterator at(text.begin(), text.end(), any), end; at != end; ++at) {
        const auto start = static_cast<size_t>(at->position());
        std::smatch parts;
        const bool read = std::regex_search(text.begin() + at->position(), text.end(), parts, whole);
        EXPECT_TRUE(read) << file << ":" << line_at(text, start);
        if (!read) continue;
        traces.push_back({parts[1] == "TRACE" ? parts[2].str() : "", std::stoi(parts[3]), without_escapes(parts[4]),
                          line_at(text, start), line_at(text, text.find(");", start))});
    }
}

std::vector<TraceInSource> read_sources() {
    std::vector<TraceInSource> traces;
    std::ifstream floors(SOURCE_DIR "/cmake/floors.txt");
    for (std::string folder; std::getline(floors, folder);) {
        for (const auto &file : std::filesystem::directory_iterator(SOURCE_DIR "/" + folder)) {
            // The two files that make the traces hold none.
            if (file.path().stem() != "output") read_source(file.path(), traces);
        }
    }
    return traces;
}

TEST(TraceTable, ContainsEveryTraceOfTheSource) {
    const std::vector<TraceInSource> traces = read_sources();
    EXPECT_GE(traces.size(), std::size(trace_table));
    for (const TraceInSource &trace : traces) {
        const auto is_its_row = [&](const TraceInTable &row) {
            const std::vector<std::string> functions = words_of(row.functions);
            return row.threshold == trace.threshold && row.format == trace.format &&
                   (trace.function.empty() || std::count(functions.begin(), functions.end(), trace.function) == 1);
        };
        EXPECT_TRUE(std::any_of(std::begin(trace_table), std::end(trace_table), is_its_row))
            << trace.function << " " << trace.threshold << " " << trace.format;
    }
}

TEST(TraceTable, NamesExportedFunctionsOnly) {
    std::ifstream in(SOURCE_DIR "/libqrtscript.map");
    std::string map((std::istreambuf_iterator<char>(in)), {});
    std::replace(map.begin(), map.end(), ';', ' ');
    const std::vector<std::string> exported = words_of(map);
    for (const TraceInTable &row : trace_table)
        for (const std::string &function : words_of(row.functions)) EXPECT_THAT(exported, Contains(function));
}

const char traced_script[] =
    "WRITE LOGIN_NAME; FAX; \"%NO_SUCH\"\n"
    "IF \"a\" = \"a\" THEN\nEND\n"
    "LABEL:\n"
    "FOO BAR\r\n"
    "INCLUDE .news.acme\nINCLUDE SYS:NOFILE\n"
    "DRIVE F:\nMAP x\n# no-such-program\n"
    "NO_DEFAULT\nTREE OTHER/bob.acme;pass\n";

class TracesTest : public RunSequenceTest {
  protected:
    TracesTest() {
        keeps_snapshots_ = false;
        folder_.script("map", "exit 3");
        setenv("HOME", folder_.path("home").c_str(), 1);
    }

    // The standard output of all of it at one level.
    std::string printed_at(int level) {
        level_ = level;
        testing::internal::CaptureStdout();
        configuration();
        whole_runs();
        sessions();
        scripts();
        includes();
        drives();
        attributes();
        volumes();
        contexts();
        tree_logins();
        moves_to_another_tree();
        servers();
        debug_level = 0;
        return testing::internal::GetCapturedStdout();
    }

  private:
    static void network() {
        declare_network();
        spy::tree("OTHER", "SRV2");
        spy::server("SRV1", "ACME_TREE");
        spy::server("SRV2", "OTHER");
        spy::default_server("SRV1");
        spy::stream(".news.acme", "WRITE\n");
        spy::stream("acme", "WRITE\n");
        spy::text_attribute("jdoe.acme", "FAX", {"1"});
        spy::text_attribute("jdoe.acme", "Group_Membership", {"staff.acme"});
        spy::object("vol1.acme", "Volume");
        spy::text_attribute("vol1.acme", "Host Resource Name", {"SYS"});
        spy::text_attribute("vol1.acme", "Host Server", {"SRV1.acme"});
        spy::object("apps.acme", "Directory Map");
        spy::attribute("apps.acme", "Path", {spy::path("vol1.acme", "apps")});
        spy::mapped_drive("F", "SRV1/SYS:");
        spy::keep_prompt_texts();
    }

    // What a prompt hands to ATTACH is wiped and, as required, never freed: here it stays reachable.
    static void keep_answers() {
        static auto *kept = new std::vector<std::pair<char *, char *>>;
        for (const auto &texts : spy::prompt_texts()) kept->push_back(texts);
    }
    static void nothing() {}

    // Calls `action` in a network that `prepare` has added to.
    void call(const std::function<void()> &action, const std::function<void()> &prepare = nothing) {
        clear();
        network();
        set(CurrentObject, "jdoe");
        set(CurrentContext, ".acme");
        prepare();
        debug_level = level_;
        action();
        debug_level = 0;
        keep_answers();
        clear();
    }

    // That, and again for each call of the client with that call failing.
    void sweep(const std::function<void()> &action, const std::function<void()> &prepare = nothing) {
        call(action, prepare);
        const int calls = spy::call_count();
        for (int number = 1; number <= calls; number++) {
            call(action, [&] {
                prepare();
                spy::fail_call(number, failure);
            });
        }
    }
    void configuration() {
        folder_.file("config/login.conf", "debug_level=" + std::to_string(level_) + "\n");
        qrt_script_load_configuration();
        std::filesystem::remove(folder_.path("config/login.conf"));
    }
    void whole_run(const std::function<void()> &request) {
        network();
        args_ = {};
        args_.user = hold("jdoe");
        request();
        trace_level_ = level_;
        run_all();
    }
    void whole_runs() {
        const auto plain = [this] { args_.treename = hold("acme_tree"); };
        whole_run(plain);
        whole_run([&] {
            plain();
            spy::fail("ZKDSOpenStream", ZKE_NO_SUCH_VALUE);
        });
        whole_run([this] {
            args_.server = hold("SRV1");
            args_.user = hold("jdoe.sales");
            args_.profileScript = file("profile", "WRITE\n");
            args_.loginScript = file("script", "WRITE\n");
        });
    }
    void sessions() {
        call([] {
            qrt_GetCurrentTree();
            free(qrt_Object());
            free(qrt_LoggedInObject());
            free(qrt_Error("call", "function", 1, failure));
            free(qrt_readLoginScriptFromFile("/nowhere"));
        });
        sweep([] {
            for (const char *object : {".news.acme", "vol1.acme"}) {
                char *text = nullptr;
                qrt_GetLoginScript(1, object, &text);
                free(text);
            }
        });
        sweep([] {
            char *text = nullptr;
            qrt_get_container(1, "jdoe.acme", &text);
            free(text);
        });
    }
    void scripts() {
        // Once with everything and once with what a read that fails adds: starting programs takes long.
        call([] { qrt_RunScript(traced_script); }, [] { qrt_SetTree("ACME_TREE"); });
        call([] { qrt_RunScript("WRITE FAX\n"); },
             [] {
                 qrt_SetTree("ACME_TREE");
                 spy::fail("ZKDSRead", failure);
             });
        // No script reaches this action: the tokenizer makes a full stop part of words.
        call([] { file_dotted(text("a"), text("b")); });
    }
    void includes() {
        lex_addBuffer("abc");
        const auto too_long = [] {
            LexBuffer *active = lex_activeBuffer();
            active->length = INT32_MAX;
            lex_IncludeFile("xyz");
            active->length = 3;
        };
        call(too_long);
        lex_free_active_buffer();
        ibufstackindex--;
    }
    void drives() {
        const auto look_up = [](bool starved) {
            char *link = nullptr, *second = nullptr, *server = nullptr, *rest = nullptr;
            util_map_location("F", nullptr, &link, &second);
            if (starved) allocations_arm(1, false);
            util_map_existing("F", &server, &rest);
            if (starved) allocations_disarm();
            for (char *found : {link, second, server, rest}) free(found);
        };
        folder_.file("config/map.conf", "Map_Link_Default_Location=/links\n");
        call([&] { look_up(true); });
        std::filesystem::remove(folder_.path("config/map.conf"));
        call([&] { look_up(false); });
    }
    void attributes() {
        for (auto *read : {qrt_GetAttribute, __GetAttribute}) {
            for (const char *attribute : {"FAX", "no such one"}) {
                sweep([=] {
                    char *text = nullptr;
                    read(1, "jdoe.acme", attribute, &text);
                    free(text);
                });
            }
        }
        sweep([] {
            uint32_t flag = 0;
            qrt_compareAttribute(1, "jdoe.acme", "Group_Membership", "staff", &flag);
        });
    }
    void volumes() {
        sweep([] {
            char server[514], volume[514], rest[514];
            uint32_t connection = 0;
            for (const char *path : {"vol1.acme:x", "apps.acme:x", "SRV1/SYS:x"})
                qrt_ZKDSParsePath(1, path, server, &connection, volume, rest, nullptr);
            orbispec("apps.acme", server, volume, rest);
        });
    }
    void contexts() {
        for (const char *tree : {"acme_tree", "nowhere"}) {
            sweep([=] {
                uint32_t made = 0;
                qrt_Getctx(tree, &made);
                free(qrt_GetTreeFromServer("SRV1"));
                free(qrt_GetDefaultServerFromTree(tree));
                free(qrt_GetDefaultServer());
                qrt_UserID();
                qrt_StationNumber();
                qrt_SetTree(tree);
                free(qrt_GetDefaultServer());
            });
        }
    }
    void tree_logins() {
        sweep([] {
            uint32_t made = 0;
            qrt_TreeLogin("ACME_TREE", text("jdoe.acme").get(), text("secret").get(), &made);
            qrt_TreeLogout("ACME_TREE");
        });
        for (const int gui : {0, 1}) {
            const auto ask = [gui] {
                char *user = nullptr, *password = nullptr;
                qrt_get_user_password(gui, "label", "user", &user, &password);
            };
            call(ask);
        }
    }
    void moves_to_another_tree() {
        const auto as_bob = [] { doTreeLogin("OTHER", "bob", text("pass").get()); };
        const auto as_anybody = [] { doTreeLogin("OTHER", nullptr, nullptr); };
        const auto ask_twice = [] {
            spy::prompt_answer("bob.acme", "pass");
            spy::prompt_answer("bob.acme", "pass");
        };
        sweep(as_bob, [=] {
            spy::logged_out();
            ask_twice();
        });
        sweep(as_bob);
        sweep(as_anybody);
        call(as_bob, [] {
            spy::logged_out();
            spy::fail_nth("ZKDSLoginEx", 1, ZKE_OTHER_IDENTITY);
        });
        call(as_bob, [] { session_replace(CurrentContext, nullptr); });
        call(as_bob, [] { spy::logged_in_to("OTHER", "BOB"); });
    }
    void servers() {
        const auto directory_does = [] { spy::authenticated("SRV1"); };
        const auto prompt_does = [] {
            spy::fail("ZKDSAuthenticateConnEx", failure);
            spy::prompt_answer("jdoe", "secret");
        };
        const auto use = [] {
            char *tree = nullptr;
            qrt_CheckAuthServer(text("SRV1").get(), &tree);
            free(tree);
            qrt_Attach(text("SRV1").get());
        };
        sweep(use);
        sweep(use, directory_does);
        sweep(use, prompt_does);
        for (const uint32_t context : {0U, 1U}) sweep([=] { qrt_SetServer(context, "srv1"); });
    }
    int level_ = 0;
};

struct Line {
    std::string function;
    int number;
    std::string text;
    bool operator<(const Line &other) const {
        return std::tie(function, number, text) < std::tie(other.function, other.number, other.text);
    }
};

// The traces, each once. A text may have several lines.
std::set<Line> lines_of(const std::string &printed) {
    std::vector<Line> lines;
    std::istringstream in(printed);
    for (std::string line; std::getline(in, line);) {
        char function[100] = "";
        int number = 0, head = 0;
        if (sscanf(line.c_str(), "--DEBUG--%99[A-Za-z_]:%d%n", function, &number, &head) == 2)
            lines.push_back({function, number, line.substr(static_cast<size_t>(head) + 1)});
        else if (line.rfind("Unable to find volume object ", 0) == 0)
            continue; // the one message that goes here
        else if (lines.empty())
            ADD_FAILURE() << "no trace: " << line;
        else
            lines.back().text += "\n" + line;
    }
    return {lines.begin(), lines.end()};
}

void expect_line_of_source(const Line &line, const Trace &trace, const std::vector<TraceInSource> &sources) {
    const auto is_its_place = [&](const TraceInSource &place) {
        return place.format == trace.format && line.number >= place.first_line && line.number <= place.last_line;
    };
    EXPECT_TRUE(std::any_of(sources.begin(), sources.end(), is_its_place))
        << line.function << ":" << line.number << " " << trace.format;
}

void expect_equal(const std::set<std::string> &emitted, const std::set<std::string> &wanted) {
    const auto compare = [](const char *what, const std::set<std::string> &some, const std::set<std::string> &others) {
        for (const std::string &name : some) EXPECT_EQ(others.count(name), 1U) << what << ": " << name;
    };
    compare("missing", wanted, emitted);
    compare("too many", emitted, wanted);
}

TEST_F(TracesTest, EachCarriesItsFunctionFromItsLevelOn) {
    const std::vector<TraceInSource> sources = read_sources();
    const Traces table = whole_table();
    for (int level = 0; level <= top_level; level++) {
        SCOPED_TRACE("level " + std::to_string(level));
        std::set<std::string> emitted;
        for (const Line &line : lines_of(printed_at(level))) {
            const Trace *trace = find_trace(table, line.function, line.text);
            EXPECT_NE(trace, nullptr) << "not in the table: " << line.function << " " << line.text;
            if (trace == nullptr) continue;
            emitted.insert(name_of(line.function, *trace));
            expect_line_of_source(line, *trace, sources);
        }
        expect_equal(emitted, traces_below(table, level));
    }
}

} // namespace
