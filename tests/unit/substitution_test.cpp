#include "directory/substitution.h"

#include <random>

#include "tests/unit/session_fixture.h"

namespace {

class SubstitutionTest : public DirectoryTest {
  protected:
    SubstitutionTest() {
        qrt_SetLoginName("jdoe");
        spy::object(user_object);
        setenv("QRT_TEST", "found", 1);
        unsetenv("QRT_UNSET");
    }
    static std::string replaced(const std::string &text) {
        return taken(qrt_find_replace_ids(session_handle, text.c_str()));
    }
};

struct Case {
    const char *text, *result;
};

class Substitution : public SubstitutionTest, public testing::WithParamInterface<Case> {};

// In these, LOGIN_NAME is jdoe, %1 is one, %2 is "%1", %3 is "two words", FOO is unknown everywhere.
TEST_P(Substitution, ReplacesReferences) {
    qrt_SetUserVar(1, "one");
    qrt_SetUserVar(2, "%1");
    qrt_SetUserVar(3, "two words");
    EXPECT_EQ(replaced(GetParam().text), GetParam().result);
}

INSTANTIATE_TEST_SUITE_P(Names, Substitution,
                         testing::Values(Case{"", ""}, Case{"no reference", "no reference"},
                                         Case{"%LOGIN_NAME", "jdoe"}, Case{"%login_name", "jdoe"},
                                         Case{"Hello %LOGIN_NAME!", "Hello %LOGIN_NAME!"},
                                         Case{"Hello %LOGIN_NAME, hi", "Hello jdoe, hi"},
                                         Case{"Hello %FOO, %LOGIN_NAME", "Hello %FOO, jdoe"},
                                         Case{"%LOGIN_NAME_X and %LOGIN_NAME", "jdoe_X and jdoe"},
                                         Case{"%1%2%1", "oneoneone"}, Case{"%2", "one"}, Case{"%3", "two words"},
                                         Case{"%4", "%4"}, Case{"%12", "%12"}, Case{"%FOO%1", "%FOOone"},
                                         Case{"%%1", "%one"}));

INSTANTIATE_TEST_SUITE_P(EndsOfANameAt, Substitution,
                         testing::Values(Case{"%1 x", "one x"}, Case{"%1\tx", "one\tx"}, Case{"%1\rx", "one\rx"},
                                         Case{"%1\nx", "one\nx"}, Case{"%1\"x", "one\"x"}, Case{"%1#x", "one#x"},
                                         Case{"%1@x", "one@x"}, Case{"%1\\x", "one\\x"}, Case{"%1/x", "one/x"},
                                         Case{"%1:x", "one:x"}, Case{"%1(x", "one(x"}, Case{"%1)x", "one)x"},
                                         Case{"%1,x", "one,x"}, Case{"%1.x", "one.x"}, Case{"%1%x", "one%x"},
                                         Case{"%1-x", "one-x"}, Case{"%1;x", "one;x"}, Case{"%1>x", "%1>x"},
                                         Case{"%1_x", "%1_x"}, Case{"%1+x", "%1+x"}, Case{"%1'x", "%1'x"}));

INSTANTIATE_TEST_SUITE_P(EmptyNames, Substitution,
                         testing::Values(Case{"50% off", "50% off"}, Case{"%", "%"}, Case{"100%", "100%"},
                                         Case{"%\t%\n%\r%#%@%\\", "%\t%\n%\r%#%@%\\"},
                                         Case{"%/%:%(%)%,%.%-%;", "%/%:%(%)%,%.%-%;"}, Case{"% %1", "% one"},
                                         Case{"%>", "%>"}, Case{"%\"\"", "%\"\""}));

INSTANTIATE_TEST_SUITE_P(QuotedForm, Substitution,
                         testing::Values(Case{"a %\"1\" b %1", "a one"},                     // what follows is lost
                                         Case{"a %\"<QRT_TEST>\" b", "a %\"<QRT_TEST>\" b"}, // no variable
                                         Case{"a %\"1", "a one"}, Case{"a %\"LOGIN_NAME\"", "a jdoe"},
                                         Case{"%\"FOO\" %1", "%\"FOO\" %1"},      // it reaches to the end
                                         Case{"a %\"FOO\" %1", "a %\"FOO\" one"}, // counted from the scan's position
                                         Case{"abcdefgh %\"FOO\"", "abcdefgh %\"FOO\""}));

INSTANTIATE_TEST_SUITE_P(FilledQuotes, Substitution,
                         testing::Values(Case{"a \"%1\" b", "a one"}, // from the opening quote to the end
                                         Case{"\"%1\"", "one"}, Case{"a \"%1 b\" c", "a \"one b\" c"},
                                         Case{"a \"b %1\" c", "a \"b one\" c"}, Case{"%1\" c", "one\" c"},
                                         Case{"a \"%FOO\" b", "a \"%FOO\" b"}));

INSTANTIATE_TEST_SUITE_P(Environment, Substitution,
                         testing::Values(Case{"%<QRT_TEST>", "found"}, Case{"%<QRT_TEST>tail", "foundtail"},
                                         Case{"%<QRT_UNSET>", ""}, Case{"a%<QRT_UNSET>b", "ab"},
                                         Case{"<QRT_TEST>", "<QRT_TEST>"}, Case{"%<QRT_TEST", "found"},
                                         Case{"<<QRT_TEST>", "found"}, Case{"a%<", "a"}, Case{"a%<>b", "ab"},
                                         Case{"%<", ""}, Case{"%<QRT_TEST>%1", "foundone"}, Case{"5 %< 6", "5  6"}));

INSTANTIATE_TEST_SUITE_P(AngleBrackets, Substitution,
                         testing::Values(Case{"<1", "one"}, Case{"a <1 b", "a one b"},
                                         Case{"<LOGIN_NAME>", "<LOGIN_NAME>"}, Case{"<1 %1", "one one"},
                                         Case{"<1 50% <1", "one 50% one"}, Case{"<1 50% <2", "<1 50% one"},
                                         Case{"50% <1", "50% one"}, Case{"a < b", "a < b"}, Case{"<2 <1", "one one"}));

TEST_F(SubstitutionTest, ValuesAreExpandedAgain) {
    setenv("QRT_TEST", "%LOGIN_NAME, again", 1);
    EXPECT_EQ(replaced("hi %<QRT_TEST>"), "hi jdoe, again");
    // Each value ends up behind a marker that had no name before.
    qrt_SetUserVar(1, "2");
    qrt_SetUserVar(2, "3");
    qrt_SetUserVar(3, "4");
    qrt_SetUserVar(4, "end");
    EXPECT_EQ(replaced("a %, %%%%1"), "a %, end");
    // The unknown longer name in front contains the known one: its text is the first occurrence and is replaced there.
    qrt_SetUserVar(1, "%_");
    EXPECT_EQ(replaced("%1X and %1"), "%_X and %_");
}

TEST_F(SubstitutionTest, IdentifierIsAskedBeforeTheAttribute) {
    spy::text_attribute(user_object, "LOGIN_NAME", {"attribute"});
    spy::text_attribute(user_object, "Room", {"12"});
    EXPECT_EQ(replaced("%LOGIN_NAME"), "jdoe");
    EXPECT_THAT(spy::calls(), IsEmpty());
    EXPECT_EQ(replaced("%ROOM"), "12");
    EXPECT_EQ(replaced("%\"Room\""), "12");
}

static std::vector<std::string> objects_read() {
    std::vector<std::string> objects;
    for (const std::string &call : spy::calls("ZKDSRead")) {
        size_t start = call.find('"') + 1;
        objects.push_back(call.substr(start, call.find('"', start) - start));
    }
    return objects;
}

TEST_F(SubstitutionTest, LoggedInObjectIsAskedAfterADifferentCurrentOne) {
    set(InitialContext, ".it.acme");
    spy::object("jdoe.it.acme");
    EXPECT_EQ(replaced("%FOO"), "%FOO");
    EXPECT_THAT(objects_read(), ElementsAre("jdoe.sales.acme", "jdoe.it.acme"));
    spy::text_attribute("jdoe.it.acme", "Room", {"12"});
    EXPECT_EQ(replaced("%ROOM"), "12");
    spy::text_attribute(user_object, "Room", {"13"});
    EXPECT_EQ(replaced("%ROOM"), "13");
}

TEST_F(SubstitutionTest, HomeDirectoryOfTheLoggedInObjectComesAfterTheCurrentOnes) {
    set(InitialContext, ".it.acme");
    spy::text_attribute("jdoe.it.acme", "Home Directory", {"V:x"});
    EXPECT_EQ(replaced("%HOME_DIRECTORY"), "V:x");
    EXPECT_THAT(objects_read(), ElementsAre("jdoe.sales.acme", "jdoe.sales.acme", "jdoe.it.acme"));
}

TEST_F(SubstitutionTest, LoggedInObjectIsNotAskedWhenOnlyItsLetterCaseDiffers) {
    set(InitialContext, ".SALES.acme");
    EXPECT_EQ(replaced("%FOO"), "%FOO");
    EXPECT_EQ(objects_read().size(), 1u);
}

TEST_F(SubstitutionTest, WithoutACurrentObjectTheSessionsOwnValuesRemain) {
    set(CurrentObject, nullptr);
    qrt_SetUserVar(1, "one");
    EXPECT_EQ(replaced("%1 %LOGIN_NAME %FULL_NAME %FOO"), "one jdoe not set %FOO");
}

// The scan steps by the reference's length from its own position, and so meets the marker again.
TEST_F(SubstitutionTest, UnresolvedReferenceIsLookedUpAgainUntilTheScanIsPastIt) {
    EXPECT_EQ(replaced("%FOO"), "%FOO");
    EXPECT_EQ(objects_read().size(), 1u);
    spy::forget_calls();
    EXPECT_EQ(replaced("12345678%FOO"), "12345678%FOO");
    EXPECT_EQ(objects_read().size(), 3u);
}

TEST_F(SubstitutionTest, ScanBeginsAgainAfterEachReplacement) {
    qrt_SetUserVar(1, "one");
    EXPECT_EQ(replaced("%FOO %1 %1"), "%FOO one one");
    // FOO is met at the beginning three times; the scan stands at its end each time, four bytes further.
    EXPECT_EQ(objects_read().size(), 3u);
}

// The limit is looked at before each replacement.
TEST_F(SubstitutionTest, ValueThatNamesItselfStopsAtTheLimit) {
    setenv("SELF", "%<SELF>", 1);
    EXPECT_EQ(replaced("a %<SELF> b"), "a %<SELF> b");
    const std::string reference = "%<SELF>";
    constexpr size_t bytes = 61681;
    static_assert(substitution_most_growth % 1024 == 0 && (substitution_most_growth + 1) % bytes == 0);
    for (const auto &[step, growth] :
         {std::pair{size_t{1024}, substitution_most_growth + 1024}, std::pair{bytes, substitution_most_growth + 1}}) {
        const std::string grown(step, 'x');
        for (const std::string &value : {grown + reference, reference + grown}) {
            setenv("SELF", value.c_str(), 1);
            EXPECT_EQ(replaced(reference).size() - reference.size(), growth) << step;
        }
    }
}

TEST_F(SubstitutionTest, LargeTextsComeThrough) {
    EXPECT_EQ(replaced(std::string(4u << 20, '%')), std::string(4u << 20, '%'));
    EXPECT_EQ(replaced(std::string(4u << 20, '<') + " "), " ");
    std::string plain(4u << 20, 'x');
    EXPECT_EQ(replaced(plain + "%"), plain + "%");
    qrt_SetUserVar(1, "one");
    std::string text, result;
    for (int i = 0; i < 90000; i++) {
        text += "% 100% %1,";
        result += "% 100% one,";
    }
    EXPECT_EQ(replaced(text), result);
    setenv("SELF", "x%<SELF>", 1);
    EXPECT_EQ(replaced("%<SELF>"), std::string(substitution_most_replacements, 'x') + "%<SELF>");
}

// The rules once more, step by step and without any care for speed.
static std::string replaced_plainly(std::string text) {
    size_t position = 0;
    for (int i = 0; i < 3000; i++) {
        size_t marker = text.find('%', position);
        if (marker == std::string::npos) marker = text.find('<', position);
        if (marker == std::string::npos) return text;
        std::string rest = text.substr(marker), name, old = rest.substr(0, 1);
        char first = rest.size() > 1 ? rest[1] : ' ';
        if (first == '"') {
            name = rest.substr(2, rest.find('"', 2) == std::string::npos ? rest.size() : rest.find('"', 2) - 2);
            old = rest;
        } else if (!strchr(" \n\r\t#@\\", first)) {
            size_t end = std::min(rest.find_first_of(" \t\r\n\"#@\\/:(),.%-;>", 1), rest.size());
            bool quoted =
                end < rest.size() && rest[end] == '"' && marker != position && marker > 0 && text[marker - 1] == '"';
            if (end < rest.size() && rest[end] == '>') end++;
            name = rest.substr(1, end - 1);
            old = quoted ? text.substr(marker - 1) : rest.substr(0, end);
        }
        char *value = nullptr;
        bool found = false;
        if (first == '<') {
            value = qrt_GetEnvVar(name.c_str() + 1);
            found = true;
        } else if (!name.empty()) {
            found = qrt_GetIdentifierValue(session_handle, user_object, name.c_str(), &value) == 0;
            if (!found) found = qrt_GetAttribute(session_handle, user_object, name.c_str(), &value) == 0;
        }
        OwnedText owned(value);
        if (found) {
            text.replace(text.find(old), old.size(), value ? value : "");
            position = 0;
        } else {
            position += old.size();
        }
    }
    return "(endless)";
}

TEST_F(SubstitutionTest, GivesWhatTheRulesGiveStepByStep) {
    static const char *pieces[] = {"%", "%", "%", "<",  "\"", "1",      "2",      "3", "4",
                                   "A", " ", ">", "OS", "%1", "%\"1\"", "\"%1\"", "<1"};
    std::mt19937 random(4711);
    qrt_SetUserVar(1, "x");
    qrt_SetUserVar(2, "\"A");
    qrt_SetUserVar(3, "");
    qrt_SetUserVar(4, "1");
    int compared = 0;
    for (int i = 0; i < 20000; i++) {
        std::string text;
        for (size_t count = random() % (i % 4 == 0 ? 40 : 12); count > 0; count--)
            text += pieces[random() % std::size(pieces)];
        spy::reset();
        std::string wanted = replaced_plainly(text);
        if (wanted == "(endless)") continue;
        compared++;
        ASSERT_EQ(replaced(text), wanted) << text;
    }
    EXPECT_GT(compared, 19000);
}

TEST_F(SubstitutionTest, QuotedFormIsNeverAVariableOfTheEnvironment) {
    EXPECT_EQ(replaced("%\"<QRT_UNSET>\""), "%\"<QRT_UNSET>\"");
    spy::text_attribute(user_object, "<QRT_TEST>", {"attribute"});
    EXPECT_EQ(replaced("%\"<QRT_TEST>\""), "attribute");
}

TEST_F(SubstitutionTest, NullTextGivesNullAndTheInputIsNotChanged) {
    EXPECT_EQ(qrt_find_replace_ids(session_handle, nullptr), nullptr);
    EXPECT_EQ(replaced("50% off, %; %\"\""), "50% off, %; %\"\"");
    EXPECT_THAT(spy::calls(), IsEmpty());
    char text[] = "%LOGIN_NAME";
    EXPECT_EQ(taken(qrt_find_replace_ids(session_handle, text)), "jdoe");
    EXPECT_STREQ(text, "%LOGIN_NAME");
}

// It belongs to the name, which the directory may know, and goes with it.
TEST_F(SubstitutionTest, AClosingBracketIsPartOfTheNameThatItEnds) {
    qrt_SetUserVar(1, "one");
    spy::text_attribute(user_object, ">", {"bracket"});
    spy::text_attribute(user_object, "1>", {"both"});
    spy::text_attribute(user_object, "Room>", {"12"});
    EXPECT_EQ(replaced("a%>b"), "abracketb");
    EXPECT_EQ(replaced("%1>x %1"), "bothx one");
    EXPECT_EQ(replaced("<ROOM>, %ROOM>2"), "12, 122");
}

TEST_F(SubstitutionTest, EachDigitNamesItsVariable) {
    for (int digit = 0; digit < QRT_USER_VARIABLES; digit++) {
        qrt_SetUserVar(digit, (std::string("value ") + std::to_string(digit)).c_str());
        EXPECT_EQ(replaced("%" + std::to_string(digit)), "value " + std::to_string(digit));
    }
}

} // namespace
