#include "tests/unit/script_model.h"

#include <sstream>

struct WrittenCondition {
    const char *words;
    bool is_true;
};

// Texts compare as texts unless VALUE precedes them; AND, OR and NOR group to the right.
static const WrittenCondition conditions[] = {
    {"\"0\"", true},
    {"\"1\"", false},
    {"\"yes\"", false},
    {"\"a\" = \"A\"", true},
    {"\"a\" <> \"A\"", false},
    {"\"b\" GREATER THAN \"A\"", true},
    {"\"b\" LESS THAN \"A\"", false},
    {"\"5\" > \"10\"", true},
    {"VALUE \"5\" > \"10\"", false},
    {"\"3\" <= \"5\"", true},
    {"VALUE \"3\" <= \"5\"", false},
    {"VALUE \"7x\" = \"07\"", true},
    {"VALUE \"4\" + \"5\" = \"9\"", true},
    {"\"a\" ; \"b\" IS \"AB\"", true},
    {"\"0\" AND \"1\" OR \"0\"", true},
    {"\"1\" AND \"0\" OR \"0\"", false},
    {"\"0\" OR \"1\" AND \"1\"", true},
    {"( \"0\" OR \"1\" ) AND \"1\"", false},
    {"\"1\" NOR \"1\"", true},
    {"\"1\" NOR \"0\"", false},
    {"\"a\" = \"b\" OR \"c\" = \"C\" AND \"0\"", true},
};

struct WrittenMistake {
    const char *words;
    const char *message;
};

static const WrittenMistake mistakes[] = {
    {"FOO BAR", ""},
    {")", ""},
    {"ELSE x", ""},
    {"END )", ""},
    {"REGREAD x", ""},
    {"LOCAL SET )", ""},
    {"SWAP x", ""},
    {"CLS x", "Invalid clear screen command format\n"},
    {"SET A B", "Invalid set command format\n"},
    {"EXIT now", "Invalid exit command format\n"},
    {"BREAK maybe", "Invalid break command format\n"},
    {"WRITE \"a\" \"b\"", "Invalid write command format\n"},
    {"SHIFT ( 2", "Invalid shift command format\n"},
    {"TREE ) GOTO", "Invalid tree command format\n"},
};

static const char *const silent[] = {
    "REM WRITE \"x\"", "REMARK )", "* \"open", "; EXIT",       ": END", "aLabel :", "", "", "SWAP",
    "TERM x",          "FIRE 3",   "END :",    "DOS VERIFY ON"};
static const char *const thens[] = {"THEN", "THEN BEGIN", "THEN DO"};

std::string ScriptModel::line(const std::string &words) {
    std::istringstream stream(words);
    statement_forms::Tokens tokens;
    for (std::string word; stream >> word;) tokens.push_back(word);
    const std::string written = random_.written(tokens);
    plain_line(written);
    return written;
}

void ScriptModel::plain_line(const std::string &text) {
    static const char *const ends[] = {"\n", "\n", "\r\n", "\r\n", "\r\r\n", "\r\r\r\n"};
    script_ += text + random_.any_of(ends);
}

void ScriptModel::reported(const std::string &text) {
    output_ += "\nScript error.\nThe original line was:\n" + text + "\n\n";
    result_ = 1;
}

void ScriptModel::block(bool executing, int depth) {
    for (size_t count = 1 + random_.below(4); count > 0; count--) statement(executing, depth);
}

void ScriptModel::statement(bool executing, int depth) {
    switch (random_.below(depth > 0 ? 9 : 6)) {
        case 0:
            return write(executing);
        case 1:
            return silence();
        case 2:
            return variable(executing);
        case 3:
            return mistake(executing);
        case 4:
            return single_statement(executing);
        case 5:
            return jump(executing);
        case 6:
            return loop(executing, depth - 1);
        default:
            return if_block(executing, depth - 1);
    }
}

void ScriptModel::write(bool executing) {
    const std::string text = next_name("text");
    line("WRITE \"" + text + "\"");
    wrote(executing, text + "\n");
}

void ScriptModel::silence() {
    line(random_.any_of(silent));
}

void ScriptModel::variable(bool executing) {
    const std::string name = next_name("V"), value = next_name("value");
    line("SET " + name + " = \"" + value + "\"");
    line("WRITE % < " + name + " >");
    wrote(executing, value + "\n");
}

// The report comes in skipped places too. The line behind lets the next mistake be reported again.
void ScriptModel::mistake(bool executing) {
    const WrittenMistake &made = random_.any_of(mistakes);
    reported(line(made.words));
    wrote(executing, made.message);
    write(executing);
}

void ScriptModel::if_block(bool executing, int depth) {
    const WrittenCondition &condition = random_.any_of(conditions);
    bool runs = condition.is_true;
    const std::string head = std::string("IF ") + condition.words;
    if (random_.one_in(6)) {
        runs = false;
        reported(line("IF ) x"));
        wrote(executing, "Invalid if statement \n");
        write(false);
    } else if (random_.one_in(4)) {
        // The line end takes THEN's place, and the empty line opens the block.
        line(head);
        line("");
    } else {
        line(head + " " + random_.any_of(thens));
    }
    block(executing && runs, depth);
    if (random_.one_in(2)) {
        line("ELSE");
        block(executing && !runs, depth);
    }
    line(random_.one_in(2) ? "END" : "ENDIF");
}

void ScriptModel::single_statement(bool executing) {
    const WrittenCondition &condition = random_.any_of(conditions), &inner = random_.any_of(conditions);
    const bool nested = random_.one_in(3);
    std::string head = std::string("IF ") + condition.words;
    if (nested) head += " THEN IF " + std::string(inner.words);
    const std::string text = next_name("single");
    const std::string statement = "WRITE \"" + text + "\"";
    if (random_.one_in(3)) {
        line(head);
        line(statement);
    } else {
        line(head + " " + random_.any_of(thens) + " " + statement);
    }
    wrote(executing && condition.is_true && (!nested || inner.is_true), text + "\n");
}

// What a jump passes over may be anything; without a jump it is read and has to be something known.
void ScriptModel::jump(bool executing) {
    const std::string label = next_name("L");
    const bool conditional = random_.one_in(3);
    const WrittenCondition &condition = random_.any_of(conditions);
    line((conditional ? std::string("IF ") + condition.words + " THEN " : "") + "GOTO " + label);
    const bool jumps = executing && (!conditional || condition.is_true);
    for (size_t count = random_.below(3); count > 0; count--) {
        if (jumps)
            plain_line(random_.mistaken(random_.statement()));
        else
            write(executing);
    }
    plain_line(random_.one_in(2) ? label + ":" : ":" + label);
    write(executing);
}

void ScriptModel::loop(bool executing, int depth) {
    const std::string label = next_name("L"), count = next_name("N");
    line("SET " + count + " = \"0\"");
    plain_line(label + ":");
    line("SET " + count + " = % < " + count + " > + \"1\"");
    const size_t before = output_.size();
    block(executing, depth);
    const std::string body = output_.substr(before);
    line("IF VALUE % < " + count + " > < \"3\" THEN GOTO " + label);
    // Where nothing executes there is no loop either, but for the reports of its one reading.
    if (executing) output_ += body + body;
}
