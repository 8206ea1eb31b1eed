// The options that can be read; which words are refused is seen in the program.
#include "tools/qrtlogin/options.h"

#include "tests/support/own_process.h"

namespace {

// What the words set, in the order of the members.
std::string set_by(Words words) {
    words.insert(words.begin(), "qrtlogin");
    std::vector<char *> list;
    for (std::string &word : words) list.push_back(word.data());
    list.push_back(nullptr);
    Options options;
    options_parse(static_cast<int>(words.size()), list.data(), &options);

    std::string all = "user=" + options.user;
    const auto add = [&all](const std::string &name, const std::optional<std::string> &value) {
        if (value) all += " " + name + "=" + *value;
    };
    add("tree", options.tree);
    add("context", options.context);
    add("server", options.server);
    add("profile", options.profileScript);
    add("login", options.loginScript);
    for (size_t i = 0; i < options.variables.size(); ++i) add(std::to_string(i + 2), options.variables[i]);
    if (options.debugLevel) add("debug", std::to_string(*options.debugLevel));
    if (options.passwordDescriptor != -1) add("password", std::to_string(options.passwordDescriptor));
    if (options.tries != 3) add("tries", std::to_string(options.tries));
    if (options.timeLimit) add("limit", std::to_string(*options.timeLimit));
    for (const auto &[name, on] : {std::pair{" raw", options.rawOutput},
                                   {" change", options.changePassword},
                                   {" shell", options.shell},
                                   {" print", options.printEnvironment},
                                   {" all", options.allVariables},
                                   {" hands-on", options.handsOn()}})
        if (on) all += name;
    if (options.command == nullptr) return all;
    all += " --";
    for (char **word = options.command; *word != nullptr; ++word) all += std::string(" ") + *word;
    return all;
}

} // namespace

TEST(OptionsTest, EachSetsWhatItNamesAndNothingElse) {
    const struct {
        Words words;
        const char *set;
    } rows[] = {
        {{"jdoe"}, "user=jdoe"},
        {{"-u", "jdoe"}, "user=jdoe"},
        {{"--user=jdoe"}, "user=jdoe"},
        {{"jdoe", "-t", "T"}, "user=jdoe tree=T"},
        {{"jdoe", "--tree=T"}, "user=jdoe tree=T"},
        {{"jdoe", "-c", "C"}, "user=jdoe context=C"},
        {{"jdoe", "--context=C"}, "user=jdoe context=C"},
        {{"jdoe", "-s", "S"}, "user=jdoe server=S"},
        {{"jdoe", "--server=S"}, "user=jdoe server=S"},
        {{"jdoe", "--profile-script=P"}, "user=jdoe profile=P"},
        {{"jdoe", "--login-script=L"}, "user=jdoe login=L"},
        {{"jdoe", "--var=2=a"}, "user=jdoe 2=a"},
        {{"jdoe", "--var=5=", "--var=3==", "--var=4=b", "--var=3=c"}, "user=jdoe 3=c 4=b 5="},
        {{"jdoe", "-d", "0"}, "user=jdoe debug=0"},
        {{"jdoe", "--debug=2147483647"}, "user=jdoe debug=2147483647"},
        {{"jdoe", "--password-fd=0"}, "user=jdoe password=0"},
        {{"jdoe", "--password-fd=2147483647"}, "user=jdoe password=2147483647"},
        {{"jdoe", "--tries=1"}, "user=jdoe tries=1"},
        {{"jdoe", "--tries=2147483647"}, "user=jdoe tries=2147483647"},
        {{"jdoe", "--change-password"}, "user=jdoe change"},
        {{"jdoe", "--time-limit=0"}, "user=jdoe limit=0"},
        {{"jdoe", "--time-limit=2147483647"}, "user=jdoe limit=2147483647"},
        {{"jdoe", "--raw-output"}, "user=jdoe raw"},
        {{"jdoe", "--shell"}, "user=jdoe shell hands-on"},
        {{"jdoe", "--print-environment"}, "user=jdoe print hands-on"},
        {{"jdoe", "--all-variables"}, "user=jdoe all"},
        {{"jdoe", "--", "a"}, "user=jdoe hands-on -- a"},
        {{"-u", "jdoe", "--", "a", "--shell", "--", "b"}, "user=jdoe hands-on -- a --shell -- b"},
    };
    in_own_process([&rows] {
        for (const auto &row : rows) EXPECT_EQ(set_by(row.words), row.set);
    });
}
