// What is true of every script, tried on random ones: of the table of forms in statement_forms, and with mistakes in
// them. QRT_PROPERTY_SCRIPTS sets how many scripts each property is tried on, QRT_PROPERTY_SEED where to begin: a
// failure names the seed of its script, and that seed with one script repeats it.
#include <algorithm>
#include <map>

#include "tests/support/process.h"
#include "tests/unit/script_model.h"
#include "tests/unit/session_fixture.h"
#include "tests/unit/statement_forms.h"

namespace {

using statement_forms::Source;

class GrammarPropertyTest : public ScriptTest {
  protected:
    GrammarPropertyTest() { folder_.file("inner", "WRITE \"inner\"\nREM no line end"); }

    // What can be seen of a run at one moment.
    struct Moment {
        std::string output, state;
        std::vector<std::string> calls;
        bool operator==(const Moment &other) const {
            return output == other.output && state == other.state && calls == other.calls;
        }
    };

    // Runs a script in a session as new. The moments are those of the script's probes.
    std::string observed(const std::string &script) {
        begin_again();
        moments_.clear();
        spy::on_call([this](const std::string &call) {
            const size_t name = call.find("\"PROBE");
            if (call.rfind("ZKDSPutAttrName(", 0) == 0 && name != call.npos)
                moments_[std::stoi(call.substr(name + 6))] = now();
        });
        result_ = run(script);
        spy::on_call(nullptr);
        shown_ += output();
        return shown_;
    }

    // A line that looks an attribute up, which happens in skipped blocks too, and writes nothing that matters.
    static std::string probe(int number) { return "WRITE %PROBE" + std::to_string(number); }

    // Calls `body` with the seeds that are due.
    template <typename Body>
    static void for_seeds(unsigned usual, Body body) {
        const char *scripts = getenv("QRT_PROPERTY_SCRIPTS"), *seed = getenv("QRT_PROPERTY_SEED");
        const auto first = static_cast<unsigned>(seed ? atoi(seed) : 1);
        const unsigned count = scripts ? static_cast<unsigned>(atoi(scripts)) : usual;
        ASSERT_GT(count, 0U);
        for (unsigned i = 0; i < count && !HasFailure(); i++) {
            SCOPED_TRACE("QRT_PROPERTY_SCRIPTS=1 QRT_PROPERTY_SEED=" + std::to_string(first + i));
            body(first + i);
        }
    }
    Source source(unsigned seed) const { return Source(seed, folder_.path("inner")); }
    static std::string line_end(Source &random) {
        static const char *const ends[] = {"\n", "\n", "\r\n", "\r\n", "\r\r\n", "\r\r\r\n"};
        return random.any_of(ends);
    }
    std::map<int, Moment> moments_;
    int result_ = 0; // the runner's

  private:
    void begin_again() {
        shown_.clear();
        output();
        surroundings_.restore_environment();
        setenv("PATH", folder_.path("empty").c_str(), 1);
        ZKDSFreeContext(context_);
        spy::reset();
        clear();
        start();
        for (const char *context : {"x.y", "word"}) spy::object(context);
        for (int i = 0; i < QRT_USER_VARIABLES; i++) qrt_SetUserVar(i, std::to_string(i).c_str());
        condstate[0] = valuestate = gotostate = invalidGoToLabel = debug_level = 0;
        spy::forget_calls();
    }
    Moment now() {
        shown_ += output();
        std::ostringstream state;
        for (int32_t level = 0; level <= condindex; level++) state << condstate[level];
        for (const char *text : {CurrentContext, CurrentObject, CurrentTree, over_ride_profile, driveDir, gotolabel})
            state << '|' << (text ? text : "(null)");
        for (const char *variable : uservars) state << '|' << (variable ? variable : "(null)");
        for (const int32_t number : {debug_level, gotostate, gotoWasUsed, invalidGoToLabel, syntax_error, wholeline})
            state << '|' << number;
        state << '|' << int{bcntrlc} << '|' << use_default_script;
        for (char **entry = environ; *entry != nullptr; entry++) state << '|' << *entry;
        return {shown_, state.str(), spy::calls()};
    }
    std::string shown_;
};

TEST_F(GrammarPropertyTest, EveryFormIsAccepted) {
    for_seeds(8, [this](unsigned seed) {
        Source random = source(seed);
        for (const std::string &form : Source::forms()) {
            const std::string line = random.written(random.statement_of(form));
            // An IF whose line ends with its condition has the next line for its statement.
            const std::string shown = observed(line + line_end(random) + line_end(random) + probe(1) + "\n");
            EXPECT_THAT(shown, Not(HasSubstr("Script error."))) << line;
            const bool exited = shown.find("Exiting script...") != shown.npos;
            EXPECT_EQ(moments_.size(), exited ? 0U : 1U) << line;
        }
    });
}

TEST_F(GrammarPropertyTest, AScriptWritesWhatItsLinesSay) {
    for_seeds(250, [this](unsigned seed) {
        Source random = source(seed);
        const ScriptModel model(random);
        EXPECT_EQ(observed(model.script()), model.output()) << model.script();
        EXPECT_EQ(result_, model.result());
    });
}

// One process formats all of them.
TEST_F(GrammarPropertyTest, AFormattedScriptWritesTheSame) {
    const auto script_of = [this](unsigned seed) {
        Source random = source(seed);
        return ScriptModel(random).script();
    };
    const auto name_of = [](unsigned seed) { return "scripts/" + std::to_string(seed) + ".qrt"; };
    const TempFolder scripts;
    for_seeds(250, [&](unsigned seed) { scripts.write(name_of(seed), script_of(seed)); });
    const Outcome formatted = process_run({QRTSCRIPT_PATH, "fmt", scripts.path("scripts")}, process_environment());
    ASSERT_EQ(formatted, (Outcome{0, "", ""}));
    unsigned changed = 0, count = 0;
    for_seeds(250, [&](unsigned seed) {
        const std::string before = script_of(seed), after = file_text(scripts.path(name_of(seed)));
        ++count;
        if (before != after) ++changed;
        const std::string shown = observed(before);
        const int result = result_;
        EXPECT_EQ(observed(after), shown) << before << "became\n" << after;
        EXPECT_EQ(result_, result);
    });
    EXPECT_GT(changed, count / 2);
}

static std::string without_warning(std::string shown) {
    const std::string warning = "Warning, unmatched IF...THEN statment (no END or ENDIF)\n";
    const size_t at = shown.size() - std::min(shown.size(), warning.size());
    return shown.substr(at) == warning ? shown.substr(0, at) : shown;
}

// What a script has done when a line has been read is the same whatever follows that line.
TEST_F(GrammarPropertyTest, LaterLinesDoNotReachBack) {
    for_seeds(250, [this](unsigned seed) {
        Source random = source(seed);
        const auto lines = [&](size_t count) {
            std::string text;
            while (count-- > 0) {
                const bool valid = random.one_in(2);
                const auto tokens = random.statement();
                text += (valid ? random.written(tokens) : random.mistaken(tokens)) + line_end(random);
            }
            return text;
        };
        const std::string first = lines(1 + random.below(6)) + probe(1) + "\n";
        const std::string cut = without_warning(observed(first));
        const auto moments = moments_;
        for (int i = 0; i < 2; i++) {
            const std::string script = first + lines(1 + random.below(4));
            const std::string whole = observed(script);
            ASSERT_EQ(whole.substr(0, cut.size()), cut) << script;
            ASSERT_EQ(moments_.size(), moments.size()) << script;
            ASSERT_TRUE(moments_ == moments) << script;
        }
    });
}

static std::vector<std::string> quotes_in(const std::string &shown) {
    const std::string report = "\nScript error.\nThe original line was:\n";
    std::vector<std::string> quotes;
    for (size_t at = shown.find(report); at != shown.npos; at = shown.find(report, at + 1)) {
        const size_t start = at + report.size();
        quotes.push_back(shown.substr(start, shown.find('\n', start) - start));
    }
    return quotes;
}

// A mistake that the line feed is shows where reading then stands, which is the next line: this alone of a report
// belongs to a later line.
TEST_F(GrammarPropertyTest, OnlyTheQuoteOfAMissingTokenIsTheNextLines) {
    const std::string heading = "The original line was:\n", message = "parse error unexpected input: ";
    for_seeds(250, [&](unsigned seed) {
        Source random = source(seed);
        const std::string first = random.mistaken(random.statement()) + "\n";
        const std::string next = "REM " + std::to_string(seed);
        const std::string cut = without_warning(observed(first + "\n"));
        const std::string whole = observed(first + next + "\n");
        const std::vector<std::string> quotes = quotes_in(whole);
        const std::string traced = traces(6, [&] { run(first + next + "\n"); });
        const size_t reported = traced.rfind(message);
        ASSERT_EQ(quotes.empty(), reported == traced.npos) << first;
        const bool missing = reported != traced.npos && traced.find("unexpected '\\n'", reported) != traced.npos;
        EXPECT_EQ(missing, !quotes.empty() && quotes.back() == next) << first;
        if (!missing) {
            EXPECT_EQ(whole.substr(0, cut.size()), cut) << first;
            return;
        }
        const size_t quote = cut.rfind(heading) + heading.size();
        const std::string expected = cut.substr(0, quote) + next + cut.substr(cut.find('\n', quote));
        EXPECT_EQ(whole.substr(0, expected.size()), expected) << first;
    });
}

// What an error in `line` may quote: the line, or the part of it between two carriage returns; the line before when
// nothing stands in front of its line ends; the line behind for a mistake that its line feed is.
static std::vector<std::string> quotable(const std::string &line, const std::string &end, const std::string &before,
                                         const std::string &behind) {
    std::vector<std::string> parts;
    std::istringstream stream(line);
    for (std::string part; std::getline(stream, part, '\r');)
        if (!part.empty()) parts.push_back(part);
    if (line.empty() || line[0] == '\r') parts.push_back(before);
    if (end == "\n") parts.push_back(behind);
    return parts;
}

TEST_F(GrammarPropertyTest, AMistakeCostsItsOwnLineAndIsQuoted) {
    for_seeds(150, [this](unsigned seed) {
        Source random = source(seed);
        constexpr int lines = 10;
        std::string script = probe(0) + "\n";
        std::vector<std::string> texts, ends;
        for (int i = 1; i <= lines; i++) {
            texts.push_back(random.mistaken(random.statement_without("EXIT")));
            ends.push_back(line_end(random));
            script += texts.back() + ends.back() + probe(i) + "\n";
        }
        const std::string whole = observed(script);
        if (whole.find("Exiting script...\n") != whole.npos) return; // one of the odd words made it up
        ASSERT_EQ(moments_.size(), lines + 1U) << script;
        size_t reports = 0;
        for (int i = 1; i <= lines; i++) {
            const auto at = static_cast<size_t>(i - 1);
            const std::string &before = moments_[i - 1].output, &after = moments_[i].output;
            const auto quotes = quotes_in(after.substr(before.size()));
            const auto allowed = quotable(texts[at], ends[at], probe(i - 1), probe(i));
            for (const std::string &quote : quotes) EXPECT_THAT(allowed, Contains(quote)) << texts[at];
            reports += quotes.size();
        }
        EXPECT_EQ(quotes_in(whole).size(), reports) << script;
    });
}

// Good lines between them, mistakes are reported as they would be in a script of their own.
TEST_F(GrammarPropertyTest, EarlierLinesDoNotHideAMistake) {
    for_seeds(40, [this](unsigned seed) {
        Source random = source(seed);
        std::vector<std::string> texts;
        std::vector<size_t> alone;
        std::string script = probe(0) + "\n";
        for (int i = 1; i <= 6; i++) {
            const auto tokens = random.statement_without("EXIT");
            texts.push_back((random.one_in(3) ? random.written(tokens) : random.mistaken(tokens)) + line_end(random));
            alone.push_back(quotes_in(observed(probe(0) + "\n" + texts.back() + probe(1) + "\n")).size());
            script += texts.back() + probe(i) + "\n";
        }
        if (observed(script).find("Exiting script...\n") != std::string::npos) return;
        for (int i = 1; i <= 6; i++) {
            const auto at = static_cast<size_t>(i - 1);
            const std::string shown = moments_[i].output.substr(moments_[i - 1].output.size());
            EXPECT_EQ(quotes_in(shown).size(), alone[at]) << script;
        }
    });
}

} // namespace
