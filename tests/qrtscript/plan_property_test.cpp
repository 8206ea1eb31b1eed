// Whatever the script: there is a plan, it is JSON, and each effect has a place in one of its texts.
#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <random>

#include "tests/support/site.h"

namespace fs = std::filesystem;
using OrderedJson = nlohmann::ordered_json;

namespace {

std::vector<std::string> samples() {
    std::vector<std::string> texts;
    for (const char *folder : {"/tests/scripts", "/tests/fuzz/seeds/parse", "/tests/fuzz/seeds/tokenizer"})
        for (const auto &entry : fs::recursive_directory_iterator(SOURCE_DIR + std::string(folder)))
            if (entry.is_regular_file() && entry.path().extension() != ".expected")
                texts.push_back(file_text(entry.path()));
    std::sort(texts.begin(), texts.end());
    return texts;
}

// Lines of several samples, and bytes that no script has.
std::string mutated(const std::vector<std::string> &texts, std::mt19937 *random) {
    const auto below = [random](size_t end) { return static_cast<size_t>((*random)() % end); };
    std::string text = texts[below(texts.size())] + texts[below(texts.size())];
    for (size_t i = below(12); i > 0 && !text.empty(); i--) {
        static constexpr std::string_view odd("\"%<>;:\\/\r\n\0\x1B\xFF\xC3 =", 17);
        const size_t at = below(text.size());
        if (below(3) == 0)
            text.erase(at, 1 + below(20));
        else if (below(2) == 0)
            text.insert(at, 1, odd[below(odd.size())]);
        else
            text[at] = static_cast<char>(below(256));
    }
    return text;
}

// A line with a secret at one of its lines' starts.
std::string with_secret(std::string text, std::mt19937 *random) {
    static const char *const lines[] = {"SET DB_PASSWORD=\"swordfish\"\n",
                                        "TREE LAB/jdoe;swordfish\n",
                                        "IF \"a\" = \"b\" THEN SET PIN=swordfish\n",
                                        "IF \"a\" = \"b\" THEN TRE LAB/j;swordfish\n",
                                        "ATACH SRV1/jdoe;swordfish\n",
                                        "#sync --token=swordfish\n"};
    std::vector<size_t> starts = {0};
    for (size_t at = text.find('\n'); at != text.npos; at = text.find('\n', at + 1)) starts.push_back(at + 1);
    const std::string line = lines[(*random)() % std::size(lines)];
    return text.insert(starts[(*random)() % starts.size()], line);
}

class PlanProperty : public Site {};

} // namespace

TEST_F(PlanProperty, EveryTextHasAPlanWithPlacesInItAndNoSecret) {
    environment["ZKCLIENT_CONF"] = SOURCE_DIR "/examples/acme/client.toml";
    const std::vector<std::string> texts = samples();
    ASSERT_GT(texts.size(), 100u);
    std::mt19937 random(20260305); // the same scripts in each run
    const char *wanted = getenv("QRT_PROPERTY_SCRIPTS");
    const int count = wanted != nullptr ? atoi(wanted) : 150;
    for (int i = 0; i < count; i++) {
        const std::string text = with_secret(mutated(texts, &random), &random);
        site.write("script.qrt", text);
        const Outcome outcome = process_run(
            {QRTSCRIPT_PATH, "plan", "--format", "json", "--user", "jdoe.sales.acme", site.path("script.qrt")},
            environment);
        ASSERT_TRUE(outcome.status == 0 || outcome.status == 1) << outcome.status << outcome.err << "\n" << text;
        const OrderedJson plan = OrderedJson::parse(outcome.out, nullptr, false);
        ASSERT_TRUE(plan.is_object()) << text;
        EXPECT_EQ(outcome.status == 0, plan["mistakes"] == 0);
        EXPECT_EQ(outcome.out.find("swordfish"), std::string::npos) << text << "\n" << outcome.out;
        const auto lines = std::count(text.begin(), text.end(), '\n') + 1;
        for (const OrderedJson &effect : plan["effects"]) {
            if (!effect.contains("source")) continue;
            ASSERT_LT(effect["source"].get<size_t>(), plan["sources"].size());
            ASSERT_GE(effect["line"], 1) << effect << "\n" << text;
            if (effect["source"] == 0) {
                ASSERT_LE(effect["line"].get<long>(), lines) << effect << "\n" << text;
            }
        }
    }
}
