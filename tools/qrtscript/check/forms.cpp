#include "tools/qrtscript/check/forms.h"

#include <iterator>

#include "platform/common/nocase.h"

namespace {

struct Form {
    std::string_view keyword, form;
};

} // namespace

static constexpr Form forms[] = {
    {"#", "# PROGRAM [ARGUMENT...]"},
    {"@", "@ PROGRAM [ARGUMENT...]"},
    {"*", "* REMARK"},
    {";", "; REMARK"},
    {":", ":LABEL"},
    {"ATTACH", "ATTACH SERVER"},
    {"BREAK", "BREAK ON | BREAK OFF"},
    {"CHANGE_CONTEXT", "CHANGE_CONTEXT NAME"},
    {"CLS", "CLS"},
    {"COMSPEC", "COMSPEC = FILE"},
    {"CONTEXT", "CONTEXT NAME"},
    {"CX", "CX NAME"},
    {"DEBUG", "DEBUG NUMBER | DEBUG ON | DEBUG OFF"},
    {"DISPLAY", "DISPLAY FILE | DISPLAY OBJECT"},
    {"DOS", "DOS SET NAME = [TEXT] | DOS BREAK ON | DOS BREAK OFF | DOS VERIFY WORD"},
    {"DRIVE", "DRIVE X: | DRIVE *X"},
    {"ELSE", "ELSE"},
    {"END", "END"},
    {"ENDIF", "ENDIF"},
    {"EXIT", "EXIT"},
    {"FDISPLAY", "FDISPLAY FILE | FDISPLAY OBJECT"},
    {"FIRE", "FIRE [PHASERS] NUMBER"},
    {"GOTO", "GOTO LABEL"},
    {"IF", "IF CONDITION THEN [STATEMENT]"},
    {"INCLUDE", "INCLUDE FILE | INCLUDE OBJECT"},
    {"LASTLOGINTIME", "LASTLOGINTIME"},
    {"LAST_LOGIN_TIME", "LAST_LOGIN_TIME"},
    {"LOCAL", "LOCAL SET NAME = TEXT"},
    {"MAP", "MAP [ITEM[, ITEM]...]"},
    {"NOSWAP", "NOSWAP"},
    {"NO_DEFAULT", "NO_DEFAULT"},
    {"PATH", "PATH [ITEM[, ITEM]...]"},
    {"PAUSE", "PAUSE"},
    {"PROFILE", "PROFILE NAME"},
    {"REGREAD", "REGREAD \"KEY\""},
    {"REM", "REM REMARK"},
    {"REMARK", "REMARK REMARK"},
    {"SCRIPT_SERVER", "SCRIPT_SERVER NAME"},
    {"SET", "SET NAME = [TEXT]"},
    {"SET_TIME", "SET_TIME ON | SET_TIME OFF"},
    {"SHIFT", "SHIFT [NUMBER]"},
    {"SWAP", "SWAP"},
    {"TEMP", "TEMP SET NAME = [TEXT]"},
    {"TERM", "TERM WORD"},
    {"TREE", "TREE TREE[/USER[;PASSWORD]]"},
    {"WAIT", "WAIT"},
    {"WRITE", "WRITE [TEXT]"},
};

std::string_view statement_form(std::string_view keyword) {
    for (const Form &one : forms)
        if (equal_nocase(one.keyword, keyword)) return one.form;
    return {};
}

std::vector<std::string_view> statement_keywords() {
    std::vector<std::string_view> keywords;
    for (const Form &one : forms) keywords.push_back(one.keyword);
    return keywords;
}
