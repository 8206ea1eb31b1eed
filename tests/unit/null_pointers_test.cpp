// Every exported function with each of its pointers null, one at a time and all at once: it comes back, without an
// exception, and nothing that it was to hand out is lost.
#include <fcntl.h>

#include <set>
#include <tuple>

#include "base/words.h"
#include "commands/drive.h"
#include "commands/print.h"
#include "commands/program.h"
#include "tests/unit/session_fixture.h"

namespace {

// The functions that take no pointer.
const std::set<std::string> without_pointers = {"cntrlcHandler",
                                                "isDelimeter",
                                                "lex_activeBuffer",
                                                "lex_dropBuffer",
                                                "openLogFile",
                                                "qrt_CheckIfLoggedIn",
                                                "qrt_exit",
                                                "qrt_GetCurrentContext",
                                                "qrt_GetCurrentTree",
                                                "qrt_GetDefaultServer",
                                                "qrt_GetInitialContext",
                                                "qrt_GetObject",
                                                "qrt_getPauseResponse",
                                                "qrt_GetServer",
                                                "qrt_LoggedInObject",
                                                "qrt_Object",
                                                "qrt_script_load_configuration",
                                                "qrt_ShiftVars",
                                                "qrt_StationNumber",
                                                "qrt_UserID",
                                                "yylex",
                                                "yyparse"};

// The functions of the library's version script.
std::set<std::string> exported_functions() {
    std::ifstream file(SOURCE_DIR "/libqrtscript.map");
    std::stringstream text;
    text << file.rdbuf();
    std::string names = text.str();
    names = names.substr(names.find("# functions") + strlen("# functions"));
    names.erase(names.find("# variables"));
    std::set<std::string> found;
    std::istringstream words(names);
    for (std::string word; words >> word;) found.insert(word.substr(0, word.find(';')));
    return found;
}

class NullPointersTest : public NetworkFileTest {
  protected:
    NullPointersTest() {
        spy::text_attribute("jdoe.sales.acme", "Surname", {"Doe"});
        spy::text_attribute("vol1.acme", "Host Resource Name", {"DATA"});
        spy::text_attribute("vol1.acme", "Host_Resource_Name", {"DATA"});
        spy::text_attribute("vol1.acme", "Host Server", {"SRV1.acme"});
        spy::text_attribute("vol1.acme", "Host_Server", {"SRV1.acme"});
        spy::attribute("map1.acme", "Path", {spy::path("vol1.acme", "apps")});
        spy::stream("jdoe.sales.acme", "WRITE \"x\"");
        spy::parsed_path("SRV1/SYS:x", "SRV1", 101, "SYS", "x");
        spy::mapped_drive("/home/u/F", "SRV1/SYS:x");
        folder_.file("config/map.conf", "Map_Link_Default_Location=/home/u\n");
        folder_.script("map", "exit 0");
        set(CurrentObject, "jdoe");
        set(CurrentContext, ".sales.acme");
        lex_addBuffer("word \"text\" rest\n");
    }
    static void empty_the_stack() {
        while (ibufstackindex > 1) lex_dropBuffer();
        if (ibufstackindex > 0) lex_free_active_buffer();
        ibufstackindex = 0;
    }

    // Where functions put what they hand out.
    char *text_ = nullptr, *second_ = nullptr;
    uint32_t number_ = 0;
    uint16_t flag_ = 0;
    char buffers_[4][1024] = {};
    std::set<std::string> tried_;
    enum class Result { borrowed, heap };

    // `arguments` makes good arguments anew for each call; a string that the function may write to or free is made
    // there.
    template <typename Function, typename Arguments>
    void try_nulls(const char *name, Function function, Arguments arguments, Result result = Result::borrowed) {
        tried_.insert(name);
        constexpr size_t count = std::tuple_size_v<decltype(arguments())>;
        try_each(name, function, arguments, result, std::make_index_sequence<count>());
    }

  private:
    template <typename Function, typename Arguments, size_t... places>
    void try_each(const char *name, Function function, Arguments arguments, Result result,
                  std::index_sequence<places...>) {
        (try_one<places>(name, function, arguments, result), ...);
        auto all = arguments();
        (make_null(std::get<places>(all)), ...);
        call(name, function, all, result);
    }
    template <size_t place, typename Function, typename Arguments>
    void try_one(const char *name, Function function, Arguments arguments, Result result) {
        auto some = arguments();
        if (make_null(std::get<place>(some))) call(name, function, some, result);
    }
    template <typename Argument>
    static bool make_null(Argument &argument) {
        if constexpr (std::is_pointer_v<Argument>) argument = nullptr;
        return std::is_pointer_v<Argument>;
    }
    template <typename Function, typename Arguments>
    void call(const char *name, Function function, Arguments &arguments, Result result) {
        try {
            if constexpr (std::is_convertible_v<decltype(std::apply(function, arguments)), char *>) {
                char *made = std::apply(function, arguments);
                if (result == Result::heap) free(made);
            } else {
                std::apply(function, arguments);
            }
        } catch (...) {
            ADD_FAILURE() << name << " lets an exception out";
        }
        for (char **out : {&text_, &second_}) {
            free(*out);
            *out = nullptr;
        }
        output();
    }
};

// Strings that a call may write to.
template <int place>
char *writable(const char *text) {
    static char copies[64];
    snprintf(copies, sizeof copies, "%s", text);
    return copies;
}

#define ARGUMENTS(...) [&] { return std::make_tuple(__VA_ARGS__); }
#define TRY(function, ...) try_nulls(#function, function, ARGUMENTS(__VA_ARGS__))
#define TRY_HEAP(function, ...) try_nulls(#function, function, ARGUMENTS(__VA_ARGS__), Result::heap)

TEST_F(NullPointersTest, AreTakenEverywhere) {
    const char *const user = "jdoe.sales.acme";
    LexBuffer *const buffer = lex_activeBuffer();
    // Sessions and their state.
    TRY(qrt_ReadResults, &text_);
    TRY(qrt_RunScripts, static_cast<QrtRunScriptsArgs *>(nullptr));
    TRY(qrt_RunScript, "\n");
    TRY(parsescript_Run, "\n", writable<0>(user), handle);
    TRY(qrt_SetCurrentObject, "jdoe");
    TRY(qrt_SetLoginName, "jdoe");
    TRY(qrt_SetInitialContext, ".acme");
    TRY(qrt_SetCurrentContext, writable<0>(".acme"));
    TRY(qrt_SetUserVar, 3, "x");
    TRY(qrt_abbrivateName, "CN=a.O=b", buffers_[0], 100);
    // Script sources, identifiers, attributes.
    TRY_HEAP(qrt_readLoginScriptFromFile, "/dev/null");
    TRY(qrt_GetLoginScript, handle, user, &text_);
    TRY(qrt_get_container, handle, user, &text_);
    TRY(__get_default_script, &text_);
    TRY(qrt_GetIdentifierValue, handle, user, "OS", &text_);
    TRY(qrt_GetIdentifierValue, handle, user, "LAST_NAME", &text_);
    TRY_HEAP(qrt_find_replace_ids, handle, "%OS");
    TRY_HEAP(qrt_GetEnvVar, "PATH");
    TRY(qrt_GetAttribute, handle, user, "Surname", &text_);
    TRY(__GetAttribute, handle, user, "Surname", &text_);
    TRY(qrt_compareAttribute, handle, user, "Surname", "Doe", &number_);
    TRY_HEAP(qrt_Error, "ZKDSRead", "f", 1, 0x8801U);
    // Names and volumes.
    TRY(qrt_DSFindDelimiter, "a.b", ".");
    TRY(qrt_DSRemoveNameFromFullName, "a.b", buffers_[0], buffers_[1], buffers_[2]);
    TRY(qrt_DSGetObjConnID, handle, "vol1.acme", &number_, buffers_[0], static_cast<void *>(buffers_[1]));
    TRY(qrt_DSGetPhysicalVolumeName, handle, "vol1.acme", buffers_[0]);
    TRY(qrt_CheckForDirectoryMap, handle, "map1.acme", buffers_[0], buffers_[1]);
    TRY(qrt_ZKDSParsePath, handle, "SRV1/SYS:x", buffers_[0], &number_, buffers_[1], buffers_[2], &flag_);
    TRY(qrt_ZKDSParsePath, handle, "vol1.acme:x", buffers_[0], &number_, buffers_[1], buffers_[2], &flag_);
    // Contexts, trees, servers.
    TRY(qrt_Getctx, "ACME_TREE", &number_);
    TRY_HEAP(qrt_GetTreeName, "ACME_TREE");
    TRY_HEAP(qrt_GetTreeFromServer, "SRV1");
    TRY_HEAP(qrt_GetDefaultServerFromTree, "ACME_TREE");
    TRY(qrt_TreeLogin, "ACME_TREE", writable<0>(user), writable<1>("secret"), &number_);
    TRY(qrt_TreeLogout, "ACME_TREE");
    TRY(qrt_get_user_password, 0, "label", "user", &text_, &second_);
    TRY(qrt_get_user_password, 1, "label", "user", &text_, &second_);
    TRY(doTreeLogin, "ACME_TREE", user, writable<1>("secret"));
    TRY(qrt_CheckAuthServer, writable<0>("SRV1"), &text_);
    TRY(qrt_SetServer, handle, "SRV1");
    TRY(qrt_Attach, writable<0>("SRV1"));
    TRY(qrt_SetTree, "ACME_TREE");
    // Configuration files.
    TRY(qrtGetConfValue, "map.conf", "", "Map_Link_Default_Location", buffers_[0], 100);
    TRY(qrtGetConfValue, "map.conf", "", "Map_Link_Default_Location", buffers_[0], 3);
    TRY(parseLineForKeyValue, writable<0>("key=value\n"), "key", buffers_[0], 100);
    TRY(parseLineForKeyValue, writable<0>("key=v\n"), "key", buffers_[0], 1);
    // Commands.
    TRY(execute_command, "true");
    TRY(execute_command_nowait, "true");
    TRY(getQuote, writable<0>("a \"b\""));
    TRY(replaceChar, writable<0>("a_b"), '_');
    TRY(prescanForQuotedStrings, writable<0>("a \"b c\""));
    // What is handed over is freed, so that a string which is left out must not have been made.
    FirePhasers(nullptr, text_copy("b").release());
    FirePhasers(text_copy("a").release(), nullptr);
    FirePhasers(nullptr, nullptr);
    tried_.insert("FirePhasers");
    TRY(qrt_GetFile, handle, "SRV1", "SYS/x", &text_);
    TRY(orbispec, "vol1.acme", buffers_[0], buffers_[1], buffers_[2]);
    TRY(qrt_map_command, handle, "map", "a", "b", "c");
    TRY(qrt_ChangeWorkingDir, handle, "F");
    TRY(util_map_location, "F", "extra", &text_, &second_);
    TRY(util_map_existing, "/home/u/F", &text_, &second_);
    // What the joiners are given they never free, and with a null they hand back the other string itself.
    TRY(util_concat_filespec, writable<0>("a"), writable<1>("b"));
    TRY(util_concat_strings, writable<0>("a"), writable<1>("b"));
    TRY(util_concat_strings_nos, writable<0>("a"), writable<1>("b"));
    free(util_parse_replace_string(nullptr, "a", "c"));
    free(util_parse_replace_string(text_copy("a b").release(), nullptr, "c"));
    free(util_parse_replace_string(text_copy("a b").release(), "a", nullptr));
    tried_.insert("util_parse_replace_string");
    // The tokenizer and the parser.
    TRY(lex_addBuffer, "text\n");
    TRY(lex_getchar, buffer);
    TRY(lex_lookaheadchar, buffer);
    TRY_HEAP(lex_gettoken, buffer);
    TRY_HEAP(lex_quotestring, buffer);
    TRY_HEAP(lex_line, buffer);
    TRY_HEAP(lex_line_fetch, buffer);
    TRY(lex_find_replace_home, buffer);
    TRY(lex_goto, "label");
    TRY(lex_IncludeFile, "text\n");
    TRY(yyerror, "message");
    // Without a stream qrt_init makes a pipe. It forgets the buffers.
    empty_the_stack();
    TRY(qrt_init, static_cast<void *>(buffers_[0]), stream_);
    signal(SIGINT, SIG_DFL);
    for (const int end : {fd[0], fd[1]}) {
        if (end > 0) close(end);
    }
    fdr = stream_;
    std::set<std::string> covered = without_pointers;
    covered.insert(tried_.begin(), tried_.end());
    EXPECT_EQ(covered, exported_functions()) << "every exported function is tried here, or takes no pointer";
}

TEST_F(NullPointersTest, TheMappingCommandIsMadeOfWhatIsThere) {
    folder_.script("map", "echo \"map: $*\"");
    EXPECT_EQ(qrt_map_command(handle, nullptr, "map F:=SRV1/SYS:x", nullptr, nullptr), 0);
    EXPECT_EQ(output(), "map: F:=SRV1/SYS:x\n");
    EXPECT_EQ(qrt_map_command(handle, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(output(), "");
    EXPECT_EQ(execute_command(nullptr), 0);
    EXPECT_EQ(execute_command_nowait(nullptr), 0);
}

TEST_F(NullPointersTest, WithoutABufferTheTokenizerFindsTheEnd) {
    lex_free_active_buffer();
    ibufstackindex = 0;
    EXPECT_EQ(lex_activeBuffer(), nullptr);
    EXPECT_EQ(yylex(), 0);
    EXPECT_EQ(lex_goto("x"), 1);
    EXPECT_EQ(lex_IncludeFile("x"), 0);
    yyerror("x");
    EXPECT_EQ(output(), "\nScript error.\nThe original line was:\nbogus\n\n");
}

} // namespace
