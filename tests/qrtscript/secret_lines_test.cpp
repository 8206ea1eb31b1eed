// Where secrets stand in lines, and which names suggest them.
#include "tools/qrtscript/secret_lines.h"

#include "tests/support/site.h"
#include "tools/qrtscript/secret_names.h"

// With a "*" in the place of each byte of a secret.
static std::string shown_line(std::string line, bool isUnread) {
    size_t before = 0;
    for (const SecretPart &part : secret_parts(line, isUnread)) {
        EXPECT_LE(before, part.begin) << line;
        EXPECT_LE(part.begin, part.end) << line;
        EXPECT_LE(part.end, line.size()) << line;
        line.replace(part.begin, part.end - part.begin, part.end - part.begin, '*');
        before = part.end;
    }
    return line;
}

struct ShownLine {
    const char *line, *shown;
};

TEST(SecretLines, APasswordStandsBehindTheSignOfALogin) {
    const ShownLine rows[] = {
        {"TREE LAB/jdoe;starfish", "TREE LAB/jdoe;********"},
        {"  attach SRV1/jdoe;ab", "  attach SRV1/jdoe;**"},
        {"IF \"%2\" = \"x\" THEN TREE LAB/jdoe;ab", "IF \"%2\" = \"x\" THEN TREE LAB/jdoe;**"},
        {"TREE LAB/jdoe", "TREE LAB/jdoe"},
        {"TREE LAB/jdoe;", "TREE LAB/jdoe;"},
        {"MAP H:=SRV1/SYS:a; I:=SRV1/SYS:b", "MAP H:=SRV1/SYS:a; I:=SRV1/SYS:b"},
        {"TREES LAB/jdoe;ab", "TREES LAB/jdoe;ab"},
        {"TRE LAB/jdoe;ab", "TRE LAB/jdoe;ab"},
    };
    for (const ShownLine &row : rows) EXPECT_EQ(shown_line(row.line, false), row.shown);
}

TEST(SecretLines, AMistypedLineHasItsSecretsToo) {
    const ShownLine rows[] = {
        {"TRE LAB/jdoe;ab", "TRE LAB/jdoe;**"},
        {"LOGIN LAB/jdoe;ab", "LOGIN LAB/jdoe;**"},
        {"IF 1 = 1 THEN TREEE LAB/jdoe;ab", "IF 1 = 1 THEN TREEE LAB/jdoe;**"},
        {"SETT DB_PASSWORD=\"ab\"", "SETT DB_PASSWORD=****"},
        {"DB_PASSWORD = \"ab\"", "DB_PASSWORD =*****"},
        {"WRITE \"your password is new", "WRITE \"your password is new"},
        {"FOO 1", "FOO 1"},
        {"", ""},
    };
    for (const ShownLine &row : rows) EXPECT_EQ(shown_line(row.line, true), row.shown);
}

TEST(SecretLines, TheValueOfASecretsVariableIsOne) {
    const ShownLine rows[] = {
        {"SET DB_PASSWORD=\"ab\"", "SET DB_PASSWORD=****"},
        {"dos set pwd = ab", "dos set pwd =***"},
        {"SET \"MY TOKEN\"=\"ab\"; \"cd\"", "SET \"MY TOKEN\"=**********"},
        {"SET DB_PASSWORD \"a=b\"", "SET DB_PASSWORD******"},
        {"SET DB_PASSWORD=", "SET DB_PASSWORD="},
        {"IF \"%2\" = \"x\" THEN TEMP SET API_KEY=ab", "IF \"%2\" = \"x\" THEN TEMP SET API_KEY=**"},
        {"SET GREETING=\"your password=ab\"", "SET GREETING=\"your password=ab\""},
        {"SET PASSWORD_EXPIRES_IN=\"5\"", "SET PASSWORD_EXPIRES_IN=\"5\""},
        {"#sync --token=ab -v", "#sync --token=*****"},
        {"@sync --verbose=ab", "@sync --verbose=ab"},
        {"WRITE \"password=ab\"", "WRITE \"password=ab\""},
        {"RESET PASSWORD=ab", "RESET PASSWORD=ab"},
    };
    for (const ShownLine &row : rows) EXPECT_EQ(shown_line(row.line, false), row.shown);
}

TEST(SecretLines, WhatASecretIsComparedWithMayBeIt) {
    const ShownLine rows[] = {
        {"IF \"%<PIN>\" = \"ab\" THEN WRITE \"ab\"", "IF \"%<PIN>\" = \"**\" THEN WRITE \"ab\""},
        {"IF \"ab\" = \"%<PIN>\" THEN", "IF \"**\" = \"%<PIN>\" THEN"},
        {"IF <PIN> = ab AND %OS = LINUX THEN", "IF <PIN> = ** AND %OS = ***** THEN"},
        {"IF \"%<PIN>\" = \"a%b\" THEN", "IF \"%<PIN>\" = \"***\" THEN"},
        {"IF \"%<PIN>\" VALUE IS 12 THEN", "IF \"%<PIN>\" VALUE IS ** THEN"},
        {"IF \"%PASSWORD_EXPIRES\" = \"3\" THEN", "IF \"%PASSWORD_EXPIRES\" = \"3\" THEN"},
        {"IF \"%<PIN>\" = \"ab\" THEN SET PIN=\"cd\"", "IF \"%<PIN>\" = \"**\" THEN SET PIN=****"},
        {"IF \"%<PIN>\" = \"ab", "IF \"%<PIN>\" = \"**"},
        {"WRITE \"%<PIN>\" = \"ab\"", "WRITE \"%<PIN>\" = \"ab\""},
    };
    for (const ShownLine &row : rows) EXPECT_EQ(shown_line(row.line, false), row.shown);
}

TEST(SecretNames, SuggestASecretHoweverTheyAreWritten) {
    for (const char *name :
         {"PASSWORD",      "DbPassword",  "passwd",       "PASSPHRASE",        "pwd",     "DB_PWD",     "unicodePwd",
          "userPassword",  "dBCSPwd",     "ntPwdHistory", "api_key",           "API-KEY", "apikey",     "ApiToken",
          "client secret", "Credentials", "PRIVATE_KEY",  "AWS_ACCESS_KEY_ID", "PIN",     "MYSQL_PASS", "pw",
          "PASSWORT",      "KENNWORT",    "MOT_DE_PASSE", "CONTRASENA"})
        EXPECT_TRUE(secret_name(name)) << name;
    for (const char *name :
         {"", "NAME", "PASSWORD_EXPIRES", "PASSWORD EXPIRATION TIME", "PASSWORD_EXPIRATION_TIME", "secretary",
          "COMPASS", "BYPASS", "SHIPPING", "KEYBOARD", "pwdLastSet", "badPwdCount", "AUTHOR", "PATH"})
        EXPECT_FALSE(secret_name(name)) << name;
}

TEST(SecretNames, PwdIsAlsoTheDirectoryOfAShell) {
    EXPECT_FALSE(secret_variable("PWD", "/home/jdoe"));
    EXPECT_FALSE(secret_variable("OLDPWD", "/"));
    EXPECT_TRUE(secret_variable("PWD", "swordfish"));
    EXPECT_TRUE(secret_variable("DB_PWD", "/swordfish"));
    EXPECT_TRUE(secret_variable("PWD", ""));
}
