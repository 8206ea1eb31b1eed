// The language server, driven over its protocol.
#include <gmock/gmock.h>
#include <unistd.h>
#include <filesystem>

#include "tests/qrtscript/lsp_client.h"
#include "tests/support/process.h"

namespace {

using Json = LspClient::Json;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

// "line:from-line:to", or "line:from-to" within a line.
std::string shown(const Json &range) {
    const auto number = [&](const char *end, const char *part) {
        return std::to_string(range.at(end).at(part).get<int>());
    };
    std::string text = number("start", "line") + ":" + number("start", "character") + "-";
    if (number("start", "line") != number("end", "line")) text += number("end", "line") + ":";
    return text + number("end", "character");
}

std::vector<std::string> ranges(const Json &list) {
    std::vector<std::string> texts;
    for (const Json &one : list) texts.push_back(shown(one.at("range")));
    return texts;
}

std::vector<std::string> labels(const Json &items) {
    std::vector<std::string> texts;
    for (const Json &one : items) texts.push_back(one.at("label"));
    return texts;
}

class Lsp : public testing::Test {
  protected:
    std::vector<std::string> completions(const std::string &line) {
        client.change(0, 0, 1000, line);
        return labels(client.askAt("completion", 0, line.size()));
    }
    std::string hover(size_t line, size_t character) {
        const Json answer = client.askAt("hover", line, character);
        if (answer.is_null()) return "";
        EXPECT_EQ(answer.at("contents").at("kind"), "markdown");
        return shown(answer.at("range")) + " " + answer.at("contents").at("value").get<std::string>();
    }
    std::string definition(size_t line, size_t character) {
        const Json answer = client.askAt("definition", line, character);
        return answer.is_null() ? "" : answer.at("uri").get<std::string>() + " " + shown(answer.at("range"));
    }
    // The text after a rename, or the error's message.
    std::string renamed(const std::string &text, size_t line, size_t character, const std::string &name);
    std::string applied(std::string text, Json edits) const;

    LspClient client;
};

std::string Lsp::applied(std::string text, Json edits) const {
    const auto offset = [&](const Json &position) {
        size_t place = 0;
        for (int line = position.at("line"); line > 0; --line) place = text.find('\n', place) + 1;
        return place + position.at("character").get<size_t>();
    };
    for (size_t at = edits.size(); at-- > 0;) {
        const size_t begin = offset(edits[at]["range"]["start"]), end = offset(edits[at]["range"]["end"]);
        text.replace(begin, end - begin, edits[at]["newText"].get<std::string>());
    }
    return text;
}

std::string Lsp::renamed(const std::string &text, size_t line, size_t character, const std::string &name) {
    client.open(text);
    const Json answer = client.askAt("rename", line, character, {{"newName", name}});
    if (answer.is_null()) return "";
    if (answer.contains("message")) return answer.at("message");
    return applied(text, answer.at("changes").at("file:///tmp/script.qrt"));
}

} // namespace

TEST_F(Lsp, SaysWhatItCanDo) {
    const Json result = client.initialize();
    EXPECT_EQ(result.at("serverInfo").at("name"), "qrtscript");
    const Json &can = result.at("capabilities");
    EXPECT_EQ(can.at("positionEncoding"), "utf-16");
    EXPECT_EQ(can.at("textDocumentSync").at("change"), 2);
    EXPECT_EQ(can.at("renameProvider").at("prepareProvider"), true);
    for (const char *one : {"hoverProvider", "definitionProvider", "referencesProvider", "documentSymbolProvider",
                            "foldingRangeProvider", "documentFormattingProvider"})
        EXPECT_EQ(can.at(one), true) << one;
    EXPECT_EQ(client.request("shutdown", nullptr), Json());
    client.notify("exit", nullptr);
    EXPECT_EQ(client.finish(), 0);
}

TEST_F(Lsp, TellsFindingsAsOneTypes) {
    client.initialize();
    EXPECT_THAT(client.open("CLS\n"), IsEmpty());
    const Json list = client.change(0, 0, 3, "FOO 1");
    ASSERT_EQ(list.size(), 1U);
    EXPECT_EQ(list[0].at("code"), "QS1001");
    EXPECT_EQ(list[0].at("severity"), 1);
    EXPECT_EQ(list[0].at("source"), "qrtscript");
    EXPECT_THAT(list[0].at("message").get<std::string>(), HasSubstr("FOO"));
    EXPECT_EQ(shown(list[0].at("range")), "0:0-3");
    EXPECT_THAT(list[0].at("data").at("explanation").get<std::string>(), testing::StartsWith("# QS1001"));
    EXPECT_THAT(client.change(0, 0, 0, "REM qrtscript disable=QS1001\n"), IsEmpty());
    EXPECT_EQ(client.change(0, 0, 1000, "").size(), 1U);
    client.change(1, 0, 1000, "");
    EXPECT_EQ(client.change(0, 0, 0, "GOTO X")[0].at("severity"), 2);
    EXPECT_THAT(client.change(0, 0, 6, "CLS"), IsEmpty());
    client.notify("textDocument/didClose", {{"textDocument", {{"uri", "file:///tmp/script.qrt"}}}});
    const Json closed = client.receive();
    EXPECT_THAT(closed.at("params").at("diagnostics"), IsEmpty());
    EXPECT_EQ(client.ask("documentSymbol").at("code"), -32602);
}

TEST_F(Lsp, TakesChangesInUnitsOfUtf16) {
    client.initialize();
    client.open("WRITE \"\xF0\x9F\x98\x80\xC3\xA4\" ) \"\xC3\xA4\"\r\nCLS\n");
    // The smiley counts twice, the umlaut once.
    const Json list = client.change(1, 0, 3, "FOO");
    EXPECT_EQ(shown(list[0].at("range")), "0:12-13");
    EXPECT_EQ(shown(list[1].at("range")), "1:0-3");
    EXPECT_THAT(ranges(client.change(0, 11, 13, "")), ElementsAre(testing::StartsWith("0:1"), "1:0-3"));
    // Positions behind a line's or the text's end, and in the middle of a character.
    client.change(0, 8, 9, "");
    client.change(0, 5, 1000, "");
    EXPECT_THAT(client.change(1, 0, 1000, "CLS"), IsEmpty());
    EXPECT_THAT(ranges(client.change(1000, 0, 0, "FOO\n")), ElementsAre("2:0-3"));
}

TEST_F(Lsp, CountsBytesWhereTheClientOffersThat) {
    const Json offer = {{"general", {{"positionEncodings", Json::array({"utf-16", "utf-8"})}}}};
    EXPECT_EQ(client.initialize(offer).at("capabilities").at("positionEncoding"), "utf-8");
    EXPECT_THAT(ranges(client.open("WRITE \"\xF0\x9F\x98\x80\" )\n")), ElementsAre("0:13-14"));
}

TEST_F(Lsp, TakesManyChangesAtOnceAndWholeTexts) {
    client.initialize();
    client.open("CLS\n");
    const Json document = {{"uri", "file:///tmp/script.qrt"}, {"version", 9}};
    const Json start = {{"line", 0}, {"character", 0}};
    const Json changes =
        Json::array({{{"text", "FOO\nCLS\n"}}, {{"range", {{"start", start}, {"end", start}}}, {"text", "CLS\n"}}});
    client.notify("textDocument/didChange", {{"textDocument", document}, {"contentChanges", changes}});
    const Json told = client.receive();
    EXPECT_EQ(told.at("params").at("version"), 9);
    EXPECT_THAT(ranges(told.at("params").at("diagnostics")), ElementsAre("1:0-3"));
}

TEST_F(Lsp, OffersFixes) {
    client.initialize();
    const std::string text = "CLS\n  AGAIN:\nGOTO AGAIN\nCLS";
    client.open(text);
    const auto fixes = [&](size_t line, Json context) {
        const Json place = {{"line", line}, {"character", 3}};
        return client.ask("codeAction",
                          {{"range", {{"start", place}, {"end", place}}}, {"context", std::move(context)}});
    };
    const Json list = fixes(1, {{"diagnostics", Json::array()}});
    ASSERT_EQ(list.size(), 1U);
    EXPECT_EQ(list[0].at("kind"), "quickfix");
    EXPECT_EQ(list[0].at("diagnostics")[0].at("code"), "QS1010");
    EXPECT_EQ(applied(text, list[0].at("edit").at("changes").at("file:///tmp/script.qrt")),
              "CLS\nAGAIN:\nGOTO AGAIN\nCLS");
    EXPECT_THAT(fixes(0, {{"diagnostics", Json::array()}}), IsEmpty());
    EXPECT_EQ(fixes(1, {{"diagnostics", Json::array()}, {"only", {"quickfix"}}}).size(), 1U);
    EXPECT_EQ(fixes(1, {{"diagnostics", Json::array()}, {"only", {"refactor"}}}).size(), 0U);
}

TEST_F(Lsp, FormatsLineByLine) {
    client.initialize();
    const std::string text = "CLS\nif \"a\" then\r\ncls\nEND\n\n\n";
    client.open(text);
    const Json edits = client.ask("formatting", {{"options", {{"tabSize", 8}, {"insertSpaces", true}}}});
    EXPECT_THAT(ranges(edits), ElementsAre("1:0-2:0", "2:0-3:0", "4:0-6:0"));
    EXPECT_EQ(applied(text, edits), "CLS\nIF \"a\" THEN\n  CLS\nEND\n");
}

TEST_F(Lsp, FoldsBlocksAndRemarks) {
    client.initialize();
    client.open("REM a\nREM b\nIF \"a\" THEN\nCLS\nIF \"b\" THEN\nCLS\nEND\nELSE\nCLS\nEND\nIF \"c\" THEN\nCLS\n");
    std::vector<std::string> folds;
    for (const Json &one : client.ask("foldingRange"))
        folds.push_back(one.at("kind").get<std::string>() + " " + std::to_string(one.at("startLine").get<int>()) + "-" +
                        std::to_string(one.at("endLine").get<int>()));
    EXPECT_THAT(folds,
                testing::UnorderedElementsAre("comment 0-1", "region 4-5", "region 2-6", "region 7-8", "region 10-12"));
}

TEST_F(Lsp, FindsLabels) {
    client.initialize();
    const std::string uri = "file:///tmp/script.qrt ";
    client.open("GOTO end\nTOP:\n:middle\nGOTO Mid\nGOTO none\nEND: CLS\nIF ) x\nGOTO top\n");
    EXPECT_THAT(ranges(client.ask("documentSymbol")), ElementsAre("1:0-4", "2:0-7"));
    EXPECT_EQ(client.ask("documentSymbol")[1].at("name"), "middle");
    EXPECT_EQ(definition(7, 6), uri + "1:0-3");
    EXPECT_EQ(definition(3, 5), uri + "2:1-7");
    EXPECT_EQ(definition(1, 0), uri + "1:0-3");
    EXPECT_EQ(definition(4, 6), "");
    EXPECT_EQ(definition(6, 0), "");
    const auto references = [&](size_t line, size_t character, bool withLabel) {
        return ranges(client.askAt("references", line, character, {{"context", {{"includeDeclaration", withLabel}}}}));
    };
    EXPECT_THAT(references(1, 1, true), ElementsAre("1:0-3", "7:5-8"));
    EXPECT_THAT(references(7, 5, false), ElementsAre("7:5-8"));
    EXPECT_THAT(references(2, 3, false), ElementsAre("3:5-8"));
    EXPECT_THAT(references(6, 3, false), IsEmpty());
    // Longer ones are not found.
    const std::string longest(77, 'x');
    client.open("GOTO " + longest + "\nGOTO x" + longest + "\n" + longest + ":\nx" + longest + ":\n");
    EXPECT_EQ(definition(0, 6), uri + "2:0-77");
    EXPECT_EQ(definition(1, 6), "");
}

TEST_F(Lsp, RenamesLabels) {
    client.initialize();
    const std::string text = "CLS\nTOP:\nGOTO top\nIF \"a\" THEN GOTO TOP\n:OTHER\nGOTO other\n";
    EXPECT_EQ(renamed(text, 1, 1, "Again"), "CLS\nAgain:\nGOTO Again\nIF \"a\" THEN GOTO Again\n:OTHER\nGOTO other\n");
    EXPECT_EQ(renamed(text, 3, 19, "Again"), renamed(text, 1, 1, "Again"));
    EXPECT_EQ(shown(client.askAt("prepareRename", 2, 6)), "2:5-8");
    EXPECT_EQ(client.askAt("prepareRename", 0, 1), Json());
    EXPECT_EQ(client.askAt("rename", 0, 1, {{"newName", "X"}}), Json());
}

TEST_F(Lsp, RefusesNamesThatWouldMislead) {
    client.initialize();
    const std::string text = "CLS\nTOP:\nGOTO top\n:OTHER\nGOTO other\n:SHORT\nGOTO SHO\n";
    for (const char *name : {"", "IF", "map", "Debug", "do", "a b", "a:", "a-b", "a*b", "1;2", "a\nb", "a%b", "\"a\""})
        EXPECT_THAT(renamed(text, 1, 1, name), HasSubstr("not a name")) << name;
    EXPECT_THAT(renamed(text, 1, 1, std::string(78, 'x')), HasSubstr("not a name"));
    EXPECT_THAT(renamed(text, 1, 1, "other"), HasSubstr("there is a label OTHER"));
    EXPECT_THAT(renamed(text, 1, 1, "Oth"), HasSubstr("there is a label OTHER"));
    EXPECT_THAT(renamed(text, 3, 1, "TOPMOST"), HasSubstr("there is a label TOP"));
    EXPECT_THAT(renamed("CLS\nA:\nGOTO gone\nGOTO a\n", 1, 0, "gone"), HasSubstr("elsewhere"));
    EXPECT_THAT(renamed(text, 1, 1, "OTHERS"), HasSubstr("OTHERS:\nGOTO OTHERS\n"));
    EXPECT_THAT(renamed(text, 1, 1, std::string(77, 'x')), HasSubstr("x:\n"));
}

TEST_F(Lsp, GoesToIncludedFilesOfTheWorkspaceAlone) {
    const TempFolder folder, elsewhere;
    folder.write("sub/news.qrt", "");
    folder.write("top.qrt", "");
    folder.write("a b.qrt", "");
    elsewhere.write("secret.qrt", "");
    ASSERT_EQ(symlink(elsewhere.path("secret.qrt").c_str(), folder.path("link.qrt").c_str()), 0);
    const std::string real = std::filesystem::canonical(folder.path()), uri = "file://" + real;
    client.initialize(Json::object(), real);
    client.open("INCLUDE news.qrt\nINCLUDE top.qrt\nINCLUDE link.qrt\nINCLUDE " + elsewhere.path("secret.qrt") +
                    "\nINCLUDE " + real + "/top.qrt\nINCLUDE none\nINCLUDE %HOME\nINCLUDE SYS:top.qrt\nINCLUDE " +
                    real + "/a b.qrt\nINCLUDE ..\nINCLUDE sub\n",
                uri + "/sub/script.qrt");
    EXPECT_EQ(definition(0, 10), uri + "/sub/news.qrt 0:0-0");
    EXPECT_EQ(definition(1, 10), uri + "/top.qrt 0:0-0");
    EXPECT_EQ(definition(4, 10), uri + "/top.qrt 0:0-0");
    EXPECT_EQ(definition(8, 10), uri + "/a%20b.qrt 0:0-0");
    for (const size_t line : {2, 3, 5, 6, 7, 9, 10}) EXPECT_EQ(definition(line, 10), "") << line;
}

TEST_F(Lsp, KnowsWhichFileATextIs) {
    client.initialize();
    const Json list = client.open("INCLUDE /tmp/a b.qrt\nINCLUDE /tmp/b.qrt\n", "file:///tmp/a%20b.qrt");
    ASSERT_EQ(list.size(), 1U);
    EXPECT_EQ(list[0].at("code"), "QS1022");
    EXPECT_EQ(list[0].at("range").at("start").at("line"), 0);
}

TEST_F(Lsp, ExplainsWhatStandsThere) {
    client.initialize();
    client.open(
        "if %TITLE = \"x\" then write \"Hi %LOGIN_NAME, %<HOME>\" ; full_name ; write\nA:\nGOTO a\nGOTO b\n"
        "#run %<USER>\nset 1 2\n");
    EXPECT_EQ(hover(0, 1), "0:0-2 ```qrtscript\nIF CONDITION THEN [STATEMENT]\n```\n\nruns statements on a condition");
    EXPECT_THAT(hover(0, 18), HasSubstr("0:16-20 ```qrtscript\nIF CONDITION"));
    EXPECT_EQ(hover(0, 4), "0:3-9 `%TITLE`: the attribute of that name of the user's object");
    EXPECT_THAT(hover(0, 22), HasSubstr("WRITE [TEXT]\n```\n\nprints the text"));
    EXPECT_EQ(hover(0, 33), "0:31-42 `%LOGIN_NAME`: the name that the user logged in with");
    EXPECT_EQ(hover(0, 47), "0:44-51 `%<HOME>`: the environment variable");
    EXPECT_THAT(hover(0, 57), HasSubstr("`FULL_NAME`: the user's full name"));
    EXPECT_EQ(hover(0, 69), "");
    EXPECT_EQ(hover(2, 5), "2:5-6 `a`: the label in line 2");
    EXPECT_THAT(hover(3, 5), HasSubstr("no such label"));
    EXPECT_THAT(hover(4, 0), HasSubstr("runs a program and waits for it"));
    EXPECT_EQ(hover(4, 7), "4:5-12 `%<USER>`: the environment variable");
    EXPECT_THAT(hover(5, 1), HasSubstr("SET NAME = [TEXT]"));
    EXPECT_EQ(hover(100, 0), "");
}

TEST_F(Lsp, CompletesWhatMayStandThere) {
    client.initialize();
    client.open("\nTOP:\n  hidden:\nSET PRINTER = \"lp\"\n");
    for (const char *line : {"", "wr", "  ", "IF \"a\" = \"a\" THEN "})
        EXPECT_THAT(completions(line), testing::IsSupersetOf({"WRITE", "IF", "GOTO"})) << line;
    EXPECT_THAT(completions("GOTO "), ElementsAre("TOP"));
    EXPECT_THAT(completions("IF \"a\" THEN GOTO T"), ElementsAre("TOP"));
    EXPECT_THAT(completions("WRITE \"Hello %LO"), testing::IsSupersetOf({"LOGIN_NAME", "SURNAME", "FULL_NAME"}));
    EXPECT_THAT(completions("MAP H:=%"), Contains("HOME_DIRECTORY"));
    EXPECT_THAT(completions("WRITE \"%<"), ElementsAre("PRINTER"));
    EXPECT_THAT(completions("WRITE <"), ElementsAre("PRINTER"));
    EXPECT_THAT(completions("WRITE "), testing::IsSupersetOf({"MEMBER OF", "LOGIN_NAME"}));
    EXPECT_THAT(completions("IF %TITLE "), testing::IsSupersetOf({"AND", "THEN", "IS"}));
    EXPECT_THAT(completions("IF "), testing::IsSupersetOf({"MEMBER OF", "VALUE"}));
    EXPECT_THAT(completions("IF %TITLE NOT "), ElementsAre("MEMBER OF", "EQUALS"));
    EXPECT_THAT(completions("IF %TITLE GREATER "), ElementsAre("THAN"));
    EXPECT_THAT(completions("BREAK "), ElementsAre("ON", "OFF"));
    EXPECT_THAT(completions("DOS "), ElementsAre("SET", "BREAK", "VERIFY"));
    for (const char *line : {"WRITE \"Hel", "REM wr", "MAP ", "INCLUDE ", "SET "})
        EXPECT_THAT(completions(line), IsEmpty()) << line;
    client.change(0, 0, 1000, "WRITE \"%log");
    const Json item = client.askAt("completion", 0, 11)[0];
    EXPECT_EQ(shown(item.at("textEdit").at("range")), "0:8-11");
    EXPECT_THAT(item.at("documentation").at("value").get<std::string>(), Not(IsEmpty()));
}

TEST_F(Lsp, KeepsItsWayInBrokenTexts) {
    client.initialize();
    client.open(std::string("IF ( \"a\nWRITE )\nTOP:\nELSE IF\n\"\nGOTO TOP\nFOO\0GOTO TOP", 50));
    EXPECT_EQ(definition(5, 6), "file:///tmp/script.qrt 2:0-3");
    EXPECT_THAT(ranges(client.ask("documentSymbol")), ElementsAre("2:0-4"));
    EXPECT_FALSE(client.ask("foldingRange").is_null());
    EXPECT_FALSE(client.ask("formatting", {{"options", Json::object()}}).is_null());
}

// ---- the protocol ----

TEST_F(Lsp, KeepsTheOrderOfALife) {
    EXPECT_EQ(client.request("textDocument/hover", Json::object()).at("code"), -32002);
    client.initialize();
    EXPECT_EQ(client.request("initialize", {{"capabilities", Json::object()}}).at("code"), -32600);
    EXPECT_EQ(client.request("textDocument/nonsense", Json::object()).at("code"), -32601);
    EXPECT_EQ(client.request("nonsense", Json::object()).at("code"), -32601);
    client.request("shutdown", nullptr);
    EXPECT_EQ(client.request("textDocument/hover", Json::object()).at("code"), -32600);
    client.notify("exit", nullptr);
    EXPECT_EQ(client.finish(), 0);
    EXPECT_EQ(client.errors(), "");
}

TEST_F(Lsp, EndsWithoutShutdownToo) {
    client.notify("exit", nullptr);
    EXPECT_EQ(client.finish(), 1);
}

TEST_F(Lsp, EndsWhenTheClientHasGone) {
    client.initialize();
    client.closeInput();
    EXPECT_EQ(client.finish(), 1);
    EXPECT_EQ(client.errors(), "");
}

TEST_F(Lsp, SaysWhenTheClientHasGoneInTheMiddleOfAMessage) {
    client.sendBytes("Content-Length: 10\r\n\r\n{");
    client.closeInput();
    EXPECT_EQ(client.finish(), 1);
    EXPECT_THAT(client.errors(), HasSubstr("qrtscript lsp: the client has gone"));
}

TEST_F(Lsp, EndsWhenTheClientReadsNoMore) {
    client.initialize();
    client.closeOutput();
    for (int id = 1; id < 3; ++id) client.sendBytes(lsp_frame(Json{{"id", id}, {"method", "shutdown"}}.dump()));
    EXPECT_EQ(client.finish(), 2);
    EXPECT_THAT(client.errors(), HasSubstr("cannot write the output"));
}

TEST_F(Lsp, AnswersWrongMessages) {
    client.initialize();
    client.open("CLS\n");
    const struct {
        const char *message;
        int code;
    } rows[] = {
        {"{", -32700},
        {"\xFF", -32700},
        {"", -32700},
        {"[]", -32600},
        {"7", -32600},
        {R"({"id":{},"method":"shutdown"})", -32600},
        {R"({"id":null,"method":"shutdown"})", -32600},
        {R"({"id":1,"method":2})", -32600},
        {R"({"id":1,"method":"textDocument/hover"})", -32602},
        {R"({"id":1,"method":"textDocument/hover","params":[]})", -32602},
        {R"({"id":1,"method":"textDocument/hover","params":{"textDocument":{"uri":7}}})", -32602},
        {R"({"id":1,"method":"textDocument/hover","params":{"textDocument":{"uri":"x"}}})", -32602},
        {R"({"id":1,"method":"textDocument/hover","params":{"textDocument":{"uri":"file:///tmp/script.qrt"},)"
         R"("position":{"line":-1,"character":1e300}}})",
         -32602},
        {R"({"id":1,"method":"textDocument/codeAction","params":{"textDocument":{"uri":"file:///tmp/script.qrt"}}})",
         -32602},
    };
    for (const auto &row : rows) {
        client.sendBytes(lsp_frame(row.message));
        EXPECT_EQ(client.receive().at("error").at("code"), row.code) << row.message;
    }
    // Notifications and answers have none.
    for (const char *message :
         {R"({"method":"textDocument/didOpen"})", R"({"method":"textDocument/didChange","params":{"textDocument":3}})",
          R"({"method":"$/cancelRequest","params":{"id":1}})", R"({"id":1,"result":null})", "{}"})
        client.sendBytes(lsp_frame(message));
    EXPECT_EQ(client.ask("hover", {{"position", {{"line", 4294967296}, {"character", 18446744073709551615U}}}}),
              Json());
}

TEST_F(Lsp, RefusesMessagesOfVeryManyLevels) {
    client.initialize();
    const auto code = [&](const std::string &message) {
        client.sendBytes(lsp_frame(message));
        return client.receive().at("error").at("code").get<int>();
    };
    const auto nested = [](size_t levels) { return std::string(levels, '[') + std::string(levels, ']'); };
    const auto request = [](const std::string &params) {
        return R"({"id":1,"method":"textDocument/hover","params":)" + params + "}";
    };
    EXPECT_EQ(code(std::string(100000, '[')), -32700);
    EXPECT_EQ(code(nested(100000)), -32700);
    EXPECT_EQ(code(nested(100)), -32600);
    EXPECT_EQ(code(nested(101)), -32700);
    EXPECT_EQ(code(request(nested(100000))), -32700);
    EXPECT_EQ(code(request(nested(20))), -32602);
    EXPECT_EQ(client.ask("nothing").at("code"), -32601);
}

TEST(LspFrames, EndsOnWhatIsNotTheProtocol) {
    for (const char *bytes : {"hello\r\n\r\n", "Content-Length: x\r\n\r\n", "Content-Length: -1\r\n\r\n",
                              "Content-Length: 99999999999999999999\r\n\r\n", "Content-Length: 134217729\r\n\r\n",
                              "Content-Type: x\r\n\r\n", "\r\n\r\n"}) {
        LspClient client;
        client.sendBytes(bytes);
        EXPECT_EQ(client.finish(), 2) << bytes;
        EXPECT_THAT(client.errors(), testing::StartsWith("qrtscript lsp: the client sent ")) << bytes;
    }
    LspClient client;
    client.sendBytes(std::string(10000, 'x'));
    EXPECT_EQ(client.finish(), 2);
}

TEST(LspFrames, TakesMessagesInPieces) {
    const std::string both = "Content-Type: x\r\ncontent-length:  3 \r\n\r\nabc" + lsp_frame("") + lsp_frame("de");
    LspFrames frames;
    std::vector<std::string> messages;
    for (const char byte : both) {
        frames.add({&byte, 1});
        while (const auto message = frames.next()) messages.push_back(*message);
    }
    EXPECT_THAT(messages, ElementsAre("abc", "", "de"));
    EXPECT_TRUE(frames.isBetween());
}
