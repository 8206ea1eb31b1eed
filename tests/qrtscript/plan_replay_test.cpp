// A plan has the effects of the real run, in their order: what it lists is done here, its programs are run, and what
// comes of that is compared with what the scripts print when they run (tests/scripts, and real logins).
#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

#include "tests/support/sample_session.h"
#include "tests/support/site.h"

namespace fs = std::filesystem;
using OrderedJson = nlohmann::ordered_json;

namespace {

const fs::path scripts = SOURCE_DIR "/tests/scripts";

class Replay : public testing::TestWithParam<fs::path> {
  protected:
    Replay() {
        environment_ = process_environment();
        sample_prepare(folder_.path()); // in this process: the programs inherit its mounts
        environment_["ZKCLIENT_CONF"] = SOURCE_DIR "/examples/acme/client.toml";
        environment_["HOME"] = folder_.path("home");
    }

    void readSettings() {
        planned_ = {{"HOME", folder_.path("home")},
                    {"LC_ALL", "C"},
                    {"PATH", std::string(BINARY_DIR) + ":/usr/bin:/bin"},
                    {"TZ", "UTC"}};
        fs::path settings = GetParam();
        settings.replace_extension(".settings");
        std::ifstream lines(settings);
        for (std::string line; std::getline(lines, line);) {
            const size_t equals = line.find('=');
            const std::string name = line.substr(0, equals), value = line.substr(equals + 1);
            if (name.size() == 1 && name[0] >= '2' && name[0] <= '5')
                variables_.insert(variables_.end(), {"--var", line});
            else
                planned_[name] = value;
            if (name == "LC_ALL") makeLocale(value);
        }
        std::string text;
        for (const auto &[name, value] : planned_) text += name + "=" + value + "\n";
        folder_.write("environment", text);
    }

    void makeLocale(const std::string &name) {
        const std::string command =
            "localedef -f UTF-8 -i " + name.substr(0, name.find('.')) + " '" + folder_.path(name) + "'";
        ASSERT_EQ(system(command.c_str()), 0) << command;
        planned_["LOCPATH"] = folder_.path();
    }

    // The script is the container's; the profile's and the user's own are one line each.
    void writeScripts() {
        sample_use_quick_passwords(folder_.path("tree"));
        environment_["ZKCLIENT_CONF"] = folder_.path("tree/client.toml");
        fs::copy_file(GetParam(), folder_.path("tree/scripts/sales.qrt"), fs::copy_options::overwrite_existing);
        folder_.write("tree/scripts/fieldstaff.qrt", "WRITE \"the profile's script\"\n");
        folder_.write("tree/scripts/jdoe.qrt", "WRITE \"the user's script\"\n");
    }

    OrderedJson plan() {
        const bool isLogin = GetParam().parent_path().filename() == "logins";
        if (isLogin) writeScripts();
        Words words = {QRTSCRIPT_PATH, "plan",           "--format", "json",
                       "--as-of",      "@1772701507",    "--env",    folder_.path("environment"),
                       "--user",       "jdoe.sales.acme"};
        words.insert(words.end(), variables_.begin(), variables_.end());
        if (!isLogin) words.push_back(GetParam());
        const Outcome outcome = process_run(words, environment_);
        EXPECT_EQ(outcome.err, "");
        EXPECT_TRUE(fs::is_empty(folder_.path("home"))) << "the plan has changed something";
        return OrderedJson::parse(outcome.out, nullptr, false);
    }

    // Found on the search path; one that is missing looks like one that has nothing to say.
    std::string run(const Words &words) {
        Words all = {"/bin/sh", "-c", "exec \"$@\"", "sh"};
        all.insert(all.end(), words.begin(), words.end());
        return process_run(all, planned_).out;
    }

    // What the effect writes when it is done.
    std::string done(const OrderedJson &effect) {
        const std::string kind = effect["kind"];
        if (kind == "print" || kind == "message") return effect["text"];
        if (kind == "mistake") return effect.value("printed", "");
        if (kind == "clear_screen") return std::string(40, '\n');
        if (kind == "set") planned_[effect["name"]] = effect["new"];
        if (kind == "run") return run(effect["words"].get<Words>());
        if (kind == "map") {
            const Outcome real = process_run({MAP_PATH, effect["command"]}, planned_);
            EXPECT_EQ(effect["printed"], real.out + real.err);
            EXPECT_EQ(effect["status"], real.status);
            return real.out;
        }
        return "";
    }

    TempFolder folder_;
    Variables environment_;
    Variables planned_; // the environment that the plan begins with, and the effects change
    Words variables_;
};

std::vector<fs::path> replayed_scripts() {
    std::vector<fs::path> found;
    for (const auto &entry : fs::recursive_directory_iterator(scripts)) {
        fs::path typed = entry.path();
        typed.replace_extension(".typed");
        if (entry.path().extension() == ".qrt" && !fs::exists(typed)) found.push_back(entry.path());
    }
    std::sort(found.begin(), found.end());
    return found;
}

} // namespace

TEST_P(Replay, OfAPlanPrintsWhatTheScriptPrints) {
    const bool isLogin = GetParam().parent_path().filename() == "logins";
    readSettings();
    const OrderedJson plan = this->plan();
    ASSERT_TRUE(plan.is_object());
    planned_["ZKCLIENT_CONF"] = environment_["ZKCLIENT_CONF"]; // for the mapping program
    // A login program lends the scripts these two.
    planned_["QRT_TREE"] = "ACME";
    planned_["QRT_CONTEXT"] = "sales.acme";
    std::string printed;
    for (const OrderedJson &effect : plan["effects"])
        if (isLogin || effect.contains("source")) printed += done(effect);
    if (!isLogin && plan["failed"]) printed += "[result 1]\n";
    fs::path expected = GetParam();
    expected.replace_extension(".expected");
    EXPECT_EQ(printed, sample_read_file(expected));
}

INSTANTIATE_TEST_SUITE_P(Scripts, Replay, testing::ValuesIn(replayed_scripts()), [](const auto &one) {
    return one.param.parent_path().filename().string() + "_" + one.param.stem().string();
});

// The whole logins of the sample's users: the output, and the variables that stay.
class RealLogin : public Site, public testing::WithParamInterface<std::pair<const char *, const char *>> {
  protected:
    std::map<std::string, std::string> variablesOf(const std::string &text) const {
        std::map<std::string, std::string> variables;
        for (size_t start = 0; start < text.size();) {
            const size_t end = text.find('\0', start), equals = text.find('=', start);
            variables[text.substr(start, equals - start)] = text.substr(equals + 1, end - equals - 1);
            start = end + 1;
        }
        return variables;
    }
};

TEST_P(RealLogin, HasTheOutputAndTheVariablesOfItsPlan) {
    const auto &[user, password] = GetParam();
    environment["ZKCLIENT_CONF"] = SOURCE_DIR "/examples/acme/client.toml";
    environment["HOME"] = home.path();
    site.write("environment", "HOME=" + home.path() + "\nPATH=/usr/bin:/bin\n");
    const Outcome planned = process_run(
        {QRTSCRIPT_PATH, "plan", "--format", "json", "--env", site.path("environment"), "--user", user}, environment);
    const OrderedJson plan = OrderedJson::parse(planned.out, nullptr, false);
    ASSERT_TRUE(plan.is_object()) << planned.err;
    const Outcome real = login({"--", "/bin/sh", "-c", "exec env -0 > '" + site.path("variables") + "'"},
                               std::string(password) + "\n", user);
    EXPECT_EQ(real.status, 0);
    std::map<std::string, std::string> variables = variablesOf(file_text(site.path("variables")));
    std::string printed;
    for (const OrderedJson &effect : plan["effects"]) {
        const std::string kind = effect["kind"];
        if (kind == "print" || kind == "message") printed += effect["text"];
        if (kind == "map") printed += effect["printed"];
        if (kind == "run" && effect["words"][0] == "echo") printed += "Printers here: front desk, copy room\n";
        if (kind == "set") {
            EXPECT_EQ(variables[effect["name"]], effect["new"]);
        }
    }
    EXPECT_EQ(printed, real.out);
}

INSTANTIATE_TEST_SUITE_P(Users, RealLogin,
                         testing::Values(std::pair("jdoe.sales.acme", "sunflower"), std::pair("jdoe.acme", "sunflower"),
                                         std::pair("mlee.emea.sales.acme", "moonlight"),
                                         std::pair("admin.acme", "starfish")));
