// The login-script language.
//
// A script runs while it is parsed: each statement acts when its rule is reduced. An action hands one function of the
// module that does the work to execute(), which calls it unless the block is skipped, with its operands, which own()
// takes and which are freed on every path; the spellings of keywords that are not needed are dropped. Every statement
// ends at a line end, and every recovery rule too: a mistake costs its line.
//
// The conflicts are part of the language. All are settled the way Bison settles them by default, shift before reduce
// and the earlier rule before the later one, and must go on falling that way. The build compares their numbers and the
// size of the language with the lines below: %expect itself refuses every grammar that has reduce/reduce conflicts.
//  - text ";" "+" "-" "*" "/" text, compound_conditional OR/NOR/AND, orbi "=" orbi, validstring "-" "*" and
//    complex_string "-" "*" have no precedence: the shift makes all of them group to the right.
//  - Between two plain words "-" and "*" belong to the word (validstring), not to the arithmetic of text.
//  - A text may be empty: a word, quote or ";" that can follow is shifted rather than an empty text reduced.
//  - After THEN a BEGIN belongs to it; after "IF condition begin" a line end opens a block rather than being the single
//    statement; FIRE PHASER with operands is the longer form; DEBUG OFF is not a level.
//  - A word at the start of a file name may begin a complex_string (orbi, volume, server) or a path: it is taken as a
//    complex_string, whatever follows it. Two leading backslashes are a UNC name.
//  - VALUE after IF, AND, OR or NOR is the keyword (with an empty text if need be), not a word: the reduce/reduce ones.
// expect-shift-reduce: 346
// expect-reduce-reduce: 22
// expect-terminals: 92
// expect-nonterminals: 74
// expect-rules: 303
%require "3.8"

%{
#include <new>

#include "base/output.h"
#include "language/actions.h"
#include "language/token_names.h"
#include "language/tokenizer.h"

#define YYINITDEPTH 200
#define YYMAXDEPTH 10000

// The exported names are for callers of the library; the parser has to know that memory has run out.
#define yylex tokenizer_next
#define yyerror syntax_error_report
%}

%define parse.error verbose
%token-table
%code requires {
#include <cstdint>
}
// Bison's skeleton leaves the count of the last parse in place.
%initial-action { yynerrs = 0; }

// Condition values are 0 for true and 1 for false.
%union {
    char *text;
    int32_t condition;
}
%destructor { free($$); } <text>

// The order of the named tokens is significant: the tokenizer finds a keyword's number by its place in this list.
%token NUM 258
%token STR 259
%token <text> KW_WRITE 260 "WRITE"
%token <text> KW_EXIT 261 "EXIT"
%token <text> KW_IF 262 "IF"
%token <text> KW_ATTACH 263 "ATTACH"
%token <text> KW_BREAK 264 "BREAK"
%token <text> KW_CONTEXT 265 "CONTEXT"
%token <text> KW_CHANGE_CONTEXT 266 "CHANGE_CONTEXT"
%token <text> KW_CX 267 "CX"
%token <text> KW_CLS 268 "CLS"
%token <text> KW_DISPLAY 269 "DISPLAY"
%token <text> KW_DRIVE 270 "DRIVE"
%token <text> KW_DEBUG 271 "DEBUG"
%token <text> KW_FDISPLAY 272 "FDISPLAY"
%token <text> KW_FIRE 273 "FIRE"
%token <text> KW_GOTO 274 "GOTO"
%token <text> KW_THEN 275 "THEN"
%token <text> KW_BEGIN 276 "BEGIN"
%token <text> KW_DO 277 "DO"
%token <text> KW_ELSE 278 "ELSE"
%token <text> KW_END 279 "END"
%token <text> KW_ENDIF 280 "ENDIF"
%token <text> KW_INCLUDE 281 "INCLUDE"
%token <text> KW_MAP 282 "MAP"
%token <text> KW_PATH 283 "PATH"
%token <text> KW_LASTLOGINTIME 284 "LASTLOGINTIME"
%token <text> KW_LAST_LOGIN_TIME 285 "LAST_LOGIN_TIME"
%token <text> KW_NO_DEFAULT 286 "NO_DEFAULT"
%token <text> KW_PAUSE 287 "PAUSE"
%token <text> KW_WAIT 288 "WAIT"
%token <text> KW_PROFILE 289 "PROFILE"
%token <text> KW_REMARK 290 "REMARK"
%token <text> KW_REM 291 "REM"
%token <text> KW_SCRIPT_SERVER 292 "SCRIPT_SERVER"
%token <text> KW_SET 293 "SET"
%token <text> KW_DOS 294 "DOS"
%token <text> KW_PHASER 295 "PHASER"
%token <text> KW_PHASERS 296 "PHASERS"
%token <text> KW_TEMP 297 "TEMP"
%token <text> KW_LOCAL 298 "LOCAL"
%token <text> KW_SET_TIME 299 "SET_TIME"
%token <text> KW_SHIFT 300 "SHIFT"
%token <text> KW_TERM 301 "TERM"
%token <text> KW_TREE 302 "TREE"
%token <text> KW_SWAP 303 "SWAP"
%token <text> KW_NOSWAP 304 "NOSWAP"
%token <text> KW_COMSPEC 305 "COMSPEC"
%token <text> KW_MEMBER 306 "MEMBER"
%token <text> KW_MEMBERS 307 "MEMBERS"
%token <text> KW_OF 308 "OF"
%token <text> KW_NOT 309 "NOT"
%token <text> KW_ON 310 "ON"
%token <text> KW_OFF 311 "OFF"
%token <text> STRING 312
%token <text> KW_AND 313 "AND"
%token <text> KW_OR 314 "OR"
%token <text> KW_NOR 315 "NOR"
%token <text> KW_EQUALS 316 "EQUALS"
%token <text> KW_EQUAL 317 "EQUAL"
%token <text> KW_IS 318 "IS"
%token <text> KW_LESS 319 "LESS"
%token <text> KW_GREATER 320 "GREATER"
%token <text> KW_THAN 321 "THAN"
%token <text> KW_VALUE 322 "VALUE"
%token <text> KW_VERIFY 323 "VERIFY"
%token <text> KW_REGREAD 324 "REGREAD"
%token <text> WHOLELINE 325
%token <text> QUOTEDSTRING 326
%token yacc_EOF 327
%token '=' '(' ')' '<' '>' '!' ':' '*' '-' '#' '@' ';' '/' '+' '%' '\\' '.' '\n' '\r'

%type <condition> compound_conditional exp
%type <text> valuetext text checkforid identifier validstring validstring_label orbi_char complex_string
%type <text> opt_complex_string orbi r_words reserved_words uncnames filespec server volume path

%start script

%%

script:
    %empty
  | stmts
  ;

stmts:
    statement                                   { statement_completed(); }
  | stmts statement                             { statement_completed(); }
  ;

statement:
    endln
  | error endln
  | write_stmt
  | display_stmt
  | fdisplay_stmt
  | cls_stmt
  | pause_stmt
  | fire_stmt
  | lastlogintime_stmt
  | debug_stmt
  | include_stmt
  | map_stmt
  | path_stmt
  | drive_stmt
  | program_stmt
  | set_stmt
  | shift_stmt
  | context_stmt
  | profile_stmt
  | no_default_stmt
  | set_time_stmt
  | script_server_stmt
  | term_stmt
  | swap_stmt
  | comspec_stmt
  | regread_stmt
  | verify_stmt
  | tree_stmt
  | attach_stmt
  | if_stmt
  | else_stmt
  | end_stmt
  | break_stmt
  | exit_stmt
  | goto_stmt
  | label_stmt
  | remark_stmt
  ;

endln:
    '\n'
  | '\r' '\n'
  | '\r' '\r' '\n'
  | '\r' '\r' '\r' '\n'
  ;

write_stmt:
    "WRITE" text endln                          { drop($1); execute(write_statement, own($2)); }
  | "WRITE" error endln                         { format_error(own($1)); }
  ;

display_stmt:
    "DISPLAY" filespec endln                    { drop($1); execute(display_text, own($2)); }
  | "DISPLAY" orbi endln                        { drop($1); execute(display_object, own($2)); }
  | "DISPLAY" uncnames endln                    { drop($1); execute(display_text, own($2)); }
  | "DISPLAY" error endln                       { format_error(own($1)); }
  ;

fdisplay_stmt:
    "FDISPLAY" filespec endln                   { drop($1); execute(display_text, own($2)); }
  | "FDISPLAY" orbi endln                       { drop($1); execute(display_object, own($2)); }
  | "FDISPLAY" uncnames endln                   { drop($1); execute(display_text, own($2)); }
  | "FDISPLAY" error endln                      { format_error(own($1)); }
  ;

cls_stmt:
    "CLS" endln                                 { drop($1); execute(cls_statement); }
  | "CLS" error endln                           { format_error(own($1)); }
  ;

pause_stmt:
    "PAUSE" endln                               { drop($1); execute(pause_statement); }
  | "PAUSE" error endln                         { format_error(own($1)); }
  | "WAIT" endln                                { drop($1); execute(pause_statement); }
  | "WAIT" error endln                          { format_error(own($1)); }
  ;

// PHASERS is a word like any other here, so that FIRE PHASERS, FIRE PHASERS 3 and FIRE PHASERS 3 TIMES, which old
// scripts are full of, are the first three forms.
fire_stmt:
    "FIRE" validstring endln                    { drop($1); execute(fire_statement, own($2), nullptr); }
  | "FIRE" validstring validstring endln        { drop($1); execute(fire_statement, own($2), own($3)); }
  | "FIRE" validstring validstring validstring endln
                                                { drop($1, $2); execute(fire_statement, own($3), own($4)); }
  | "FIRE" "PHASER" validstring endln           { drop($1, $2); execute(fire_statement, own($3), nullptr); }
  | "FIRE" "PHASER" validstring validstring endln
                                                { drop($1, $2); execute(fire_statement, own($3), own($4)); }
  | "FIRE" error endln                          { format_error(own($1)); }
  ;

lastlogintime_stmt:
    "LASTLOGINTIME" endln                       { drop($1); execute(last_login_time_statement); }
  | "LASTLOGINTIME" error endln                 { format_error(own($1)); }
  | "LAST_LOGIN_TIME" endln                     { drop($1); execute(last_login_time_statement); }
  | "LAST_LOGIN_TIME" error endln               { format_error(own($1)); }
  ;

debug_stmt:
    "DEBUG" validstring endln                   { drop($1); execute(debug_statement, own($2)); }
  | "DEBUG" "OFF" endln                         { drop($1, $2); execute(debug_off); }
  | "DEBUG" error endln                         { format_error(own($1)); }
  ;

// Including changes the tokenizer's input: the line end is the statement's last token and no look-ahead has been read
// when these are reduced, so that reading goes on with the first character of the included text.
include_stmt:
    "INCLUDE" filespec endln                    { drop($1); execute(include_text, own($2)); }
  | "INCLUDE" orbi endln                        { drop($1); execute(include_object, own($2)); }
  | "INCLUDE" uncnames endln                    { drop($1); execute(include_text, own($2)); }
  | "INCLUDE" error endln                       { format_error(own($1)); }
  ;

// Here and below: the mid-rule actions set the tokenizer's whole-line mode. Their states need no look-ahead, so the
// mode is on before anything behind the keyword or sign is read, its leading blank included.
map_stmt:
    "MAP" { wholeline = 1; } WHOLELINE endln    { drop($1); execute(map_statement, own($3)); }
  ;

path_stmt:
    "PATH" { wholeline = 1; } WHOLELINE endln   { drop($1); execute(map_statement, own($3)); }
  ;

drive_stmt:
    "DRIVE" validstring ':' endln               { drop($1); execute(drive_statement, own($2)); }
  | "DRIVE" '*' validstring endln               { drop($1); execute(drive_statement, own($3)); }
  | "DRIVE" error endln                         { format_error(own($1)); }
  ;

program_stmt:
    '#' { wholeline = 1; } WHOLELINE endln      { execute(program_statement, own($3)); }
  | '@' { wholeline = 1; } WHOLELINE endln      { execute(program_nowait_statement, own($3)); }
  ;

set_stmt:
    "SET" validstring '=' text endln            { drop($1); execute(set_statement, own($2), own($4)); }
  | "SET" validstring '=' endln                 { drop($1); execute(set_empty_statement, own($2)); }
  | "SET" error endln                           { format_error(own($1)); }
  | "DOS" "SET" validstring '=' text endln      { drop($1, $2); execute(set_statement, own($3), own($5)); }
  | "DOS" "SET" validstring '=' endln           { drop($1, $2); execute(set_empty_statement, own($3)); }
  | "DOS" "SET" error endln                     { drop($1); format_error(own($2)); }
  | "TEMP" "SET" validstring '=' text endln     { drop($1, $2); execute(set_statement, own($3), own($5)); }
  | "TEMP" "SET" validstring '=' endln          { drop($1, $2); execute(set_empty_statement, own($3)); }
  | "TEMP" "SET" error endln                    { drop($1); format_error(own($2)); }
  | "LOCAL" "SET" validstring '=' text endln    { drop($1, $2); execute(set_statement, own($3), own($5)); }
  ;

shift_stmt:
    "SHIFT" STRING endln                        { drop($1); execute(shift_by, own($2)); }
  | "SHIFT" '-' STRING endln                    { drop($1); execute(shift_back, own($3)); }
  | "SHIFT" endln                               { drop($1); execute(shift_once); }
  | "SHIFT" error endln                         { format_error(own($1)); }
  ;

context_stmt:
    "CONTEXT" orbi endln                        { drop($1); execute(context_statement, own($2)); }
  | "CONTEXT" error endln                       { format_error(own($1)); }
  | "CHANGE_CONTEXT" orbi endln                 { drop($1); execute(context_statement, own($2)); }
  | "CHANGE_CONTEXT" error endln                { format_error(own($1)); }
  | "CX" orbi endln                             { drop($1); execute(context_statement, own($2)); }
  | "CX" error endln                            { format_error(own($1)); }
  ;

profile_stmt:
    "PROFILE" validstring endln                 { drop($1); execute(profile_statement, own($2)); }
  | "PROFILE" error endln                       { format_error(own($1)); }
  ;

no_default_stmt:
    "NO_DEFAULT" endln                          { drop($1); execute(no_default_statement); }
  | "NO_DEFAULT" error endln                    { format_error(own($1)); }
  ;

set_time_stmt:
    "SET_TIME" "ON" endln                       { drop($1, $2); execute(set_time_statement); }
  | "SET_TIME" "OFF" endln                      { drop($1, $2); execute(set_time_statement); }
  | "SET_TIME" error endln                      { format_error(own($1)); }
  ;

script_server_stmt:
    "SCRIPT_SERVER" validstring endln           { drop($1); execute(script_server_statement, own($2)); }
  | "SCRIPT_SERVER" error endln                 { format_error(own($1)); }
  ;

term_stmt:
    "TERM" STRING endln                         { drop($1, $2); }
  | "TERM" error endln                          { format_error(own($1)); }
  ;

swap_stmt:
    "SWAP" endln                                { drop($1); }
  | "SWAP" error endln                          { drop($1); }
  | "NOSWAP" endln                              { drop($1); }
  | "NOSWAP" error endln                        { drop($1); }
  ;

comspec_stmt:
    "COMSPEC" '=' filespec endln                { drop($1, $3); }
  | "COMSPEC" error endln                       { drop($1); }
  ;

regread_stmt:
    "REGREAD" QUOTEDSTRING endln                { drop($1); execute(regread_statement, own($2)); }
  ;

verify_stmt:
    "DOS" "VERIFY" validstring endln            { drop($1, $2, $3); }
  | "DOS" "VERIFY" error endln                  { drop($1, $2); }
  ;

tree_stmt:
    "TREE" complex_string endln                 { drop($1); execute(tree_statement, own($2), nullptr, nullptr); }
  | "TREE" complex_string '/' orbi endln        { drop($1); execute(tree_statement, own($2), own($4), nullptr); }
  | "TREE" complex_string '/' orbi ';' validstring endln
                                                { drop($1); execute(tree_statement, own($2), own($4), own_secret($6)); }
  | "TREE" error endln                          { format_error(own($1)); }
  ;

attach_stmt:
    "ATTACH" validstring endln                  { drop($1); execute(attach_statement, own($2)); }
  | "ATTACH" error endln                        { format_error(own($1)); }
  ;

// The single statement's level is entered before that statement is parsed and left as soon as it has been reduced.
if_stmt:
    "IF" compound_conditional begin { cond_enter($2); } statement
                                                { drop($1); cond_leave(); }
  | "IF" compound_conditional begin endln       { drop($1); cond_enter($2); }
  | "IF" error endln                            { drop($1); cond_enter_unreadable(); }
  ;

else_stmt:
    "ELSE" endln                                { drop($1); else_statement(); }
  ;

end_stmt:
    "END" endln                                 { drop($1); cond_leave(); }
  | "ENDIF" endln                               { drop($1); cond_leave(); }
  ;

break_stmt:
    "BREAK" "ON" endln                          { drop($1, $2); execute(break_statement, true); }
  | "BREAK" "OFF" endln                         { drop($1, $2); execute(break_statement, false); }
  | "BREAK" error endln                         { format_error(own($1)); }
  | "DOS" "BREAK" "ON" endln                    { drop($1, $2, $3); execute(break_statement, true); }
  | "DOS" "BREAK" "OFF" endln                   { drop($1, $2, $3); execute(break_statement, false); }
  | "DOS" "BREAK" error endln                   { drop($1); format_error(own($2)); }
  ;

exit_stmt:
    "EXIT" endln                                { drop($1); if (condition_executing()) { exit_statement(); YYACCEPT; } }
  | "EXIT" error endln                          { format_error(own($1)); }
  ;

goto_stmt:
    "GOTO" validstring_label endln              { drop($1); goto_statement(own($2)); }
  | "GOTO" error endln                          { format_error(own($1)); }
  ;

// r_words, not reserved_words: MAP, PATH, REMARK and REM switch to whole-line mode before the ":" could be seen.
label_stmt:
    ':' validstring endln                       { label_statement(own($2)); }
  | STRING ':' endln                            { label_statement(own($1)); }
  | r_words ':' endln                           { label_statement(own($1)); }
  ;

remark_stmt:
    "REMARK" { wholeline = 1; } WHOLELINE endln { drop($1, $3); }
  | "REM" { wholeline = 1; } WHOLELINE endln    { drop($1, $3); }
  | '*' { wholeline = 1; } WHOLELINE endln      { drop($3); }
  | ';' { wholeline = 1; } WHOLELINE endln      { drop($3); }
  ;

begin:
    endln
  | "THEN"                                      { drop($1); }
  | "THEN" "BEGIN"                              { drop($1, $2); }
  | "THEN" "DO"                                 { drop($1, $2); }
  ;

compound_conditional:
    '(' compound_conditional ')'                { $$ = $2; }
  | exp
  | compound_conditional "OR" compound_conditional
                                                { drop($2); $$ = cond_or($1, $3); }
  | compound_conditional "NOR" compound_conditional
                                                { drop($2); $$ = cond_nor($1, $3); }
  | compound_conditional "AND" compound_conditional
                                                { drop($2); $$ = cond_and($1, $3); }
  ;

exp:
    valuetext                                   { $$ = cond_bare(own($1)); }
  | valuetext "EQUAL" text                      { drop($2); $$ = cond_compare(COMPARE_EQUAL, own($1), own($3)); }
  | valuetext '=' text                          { $$ = cond_compare(COMPARE_EQUAL, own($1), own($3)); }
  | valuetext "EQUALS" text                     { drop($2); $$ = cond_compare(COMPARE_EQUAL, own($1), own($3)); }
  | valuetext "IS" text                         { drop($2); $$ = cond_compare(COMPARE_EQUAL, own($1), own($3)); }
  | valuetext '=' '=' text                      { $$ = cond_compare(COMPARE_EQUAL, own($1), own($4)); }
  | valuetext '<' '>' text                      { $$ = cond_compare(COMPARE_NOT_EQUAL, own($1), own($4)); }
  | valuetext '!' '=' text                      { $$ = cond_compare(COMPARE_NOT_EQUAL, own($1), own($4)); }
  | valuetext "NOT" "EQUALS" text               { drop($2, $3); $$ = cond_compare(COMPARE_NOT_EQUAL, own($1), own($4)); }
  | valuetext "GREATER" "THAN" text             { drop($2, $3); $$ = cond_compare(COMPARE_GREATER, own($1), own($4)); }
  | valuetext '>' text                          { $$ = cond_compare(COMPARE_GREATER, own($1), own($3)); }
  | valuetext '>' '=' text                      { $$ = cond_compare(COMPARE_NOT_LESS, own($1), own($4)); }
  | valuetext '<' text                          { $$ = cond_compare(COMPARE_LESS, own($1), own($3)); }
  | valuetext "LESS" "THAN" text                { drop($2, $3); $$ = cond_compare(COMPARE_LESS, own($1), own($4)); }
  | valuetext '<' '=' text                      { $$ = cond_compare(COMPARE_NOT_GREATER, own($1), own($4)); }
  ;

valuetext:
    text                                        { $$ = cond_string_operand(own($1)).release(); }
  | "VALUE" text                                { drop($1); $$ = cond_numeric_operand(own($2)).release(); }
  ;

text:
    %empty                                      { $$ = phrase_empty().release(); }
  | QUOTEDSTRING                                { $$ = phrase_quoted(own($1)).release(); }
  | checkforid
  | identifier
  | ';' text                                    { $$ = $2; }
  | text ';' text                               { $$ = phrase_join(own($1), own($3)).release(); }
  | text '+' text                               { $$ = phrase_calculate('+', own($1), own($3)).release(); }
  | text '-' text                               { $$ = phrase_calculate('-', own($1), own($3)).release(); }
  | text '*' text                               { $$ = phrase_calculate('*', own($1), own($3)).release(); }
  | text '/' text                               { $$ = phrase_calculate('/', own($1), own($3)).release(); }
  ;

checkforid:
    "MEMBER" "OF" QUOTEDSTRING                  { drop($1, $2); $$ = phrase_member(own($3)).release(); }
  | "MEMBERS" "OF" QUOTEDSTRING                 { drop($1, $2); $$ = phrase_member(own($3)).release(); }
  | "NOT" "MEMBER" "OF" QUOTEDSTRING            { drop($1, $2, $3); $$ = phrase_not_member(own($4)).release(); }
  | "NOT" "MEMBERS" "OF" QUOTEDSTRING           { drop($1, $2, $3); $$ = phrase_not_member(own($4)).release(); }
  | validstring                                 { $$ = phrase_word(own($1)).release(); }
  ;

identifier:
    '%' '<' validstring '>'                     { $$ = phrase_environment(own($3)).release(); }
  | '<' validstring '>'                         { $$ = phrase_environment(own($2)).release(); }
  | '%' validstring                             { $$ = phrase_identifier(own($2)).release(); }
  ;

validstring:
    STRING
  | reserved_words
  | validstring orbi_char validstring           { $$ = phrase_join(own($1), own($2), own($3)).release(); }
  ;

validstring_label:
    STRING
  | reserved_words                              { $$ = $1; label_is_reserved(); }
  | validstring_label orbi_char validstring_label
                                                { $$ = phrase_join(own($1), own($2), own($3)).release(); }
  ;

orbi_char:
    '-'                                         { $$ = phrase_sign("-").release(); }
  | '*'                                         { $$ = phrase_sign("*").release(); }
  ;

complex_string:
    STRING opt_complex_string                   { $$ = phrase_join(own($1), own($2)).release(); }
  | reserved_words opt_complex_string           { $$ = phrase_join(own($1), own($2)).release(); }
  | identifier opt_complex_string               { $$ = phrase_join(own($1), own($2)).release(); }
  | complex_string orbi_char complex_string     { $$ = phrase_join(own($1), own($2), own($3)).release(); }
  ;

opt_complex_string:
    %empty                                      { $$ = phrase_empty().release(); }
  | complex_string
  ;

orbi:
    complex_string
  | orbi '=' orbi                               { $$ = phrase_join(own($1), phrase_sign("="), own($3)).release(); }
  ;

reserved_words:
    r_words
  | "MAP" | "PATH" | "REMARK" | "REM"
  ;

r_words:
    "DISPLAY" | "IF" | "ELSE" | "THEN" | "BEGIN" | "ENDIF" | "END" | "BREAK" | "DRIVE" | "OR" | "AND" | "ON" | "OFF"
  | "EQUALS" | "EQUAL" | "IS" | "LESS" | "GREATER" | "NOR" | "THAN" | "VALUE" | "WRITE" | "EXIT" | "ATTACH"
  | "CONTEXT" | "CLS" | "CHANGE_CONTEXT" | "CX" | "COMSPEC" | "FDISPLAY" | "FIRE" | "GOTO" | "INCLUDE"
  | "LASTLOGINTIME" | "LAST_LOGIN_TIME" | "NO_DEFAULT" | "PAUSE" | "WAIT" | "PHASERS" | "PHASER" | "PROFILE"
  | "SCRIPT_SERVER" | "SET" | "DOS" | "TEMP" | "LOCAL" | "SET_TIME" | "SHIFT" | "TERM" | "TREE" | "MEMBER"
  | "MEMBERS" | "OF" | "NOT" | "SWAP" | "REGREAD" | "NOSWAP"
  ;

uncnames:
    '\\' '\\' complex_string '\\' path optional_unc_end
                                                { $$ = file_unc(own($3), own($5)).release(); }
  ;

optional_unc_end:
    %empty
  | '\\'
  ;

filespec:
    volume path                                 { $$ = file_on_volume(own($1), own($2)).release(); }
  // Part of the language, though no word reaches it: the tokenizer makes a full stop part of words.
  | '.' complex_string path                     { $$ = file_dotted(own($2), own($3)).release(); } // GCOVR_EXCL_LINE
  | server volume path                          { $$ = file_on_server(own($1), own($2), own($3)).release(); }
  | path                                        { $$ = file_plain(own($1)).release(); }
  ;

server:
    complex_string separator                    { $$ = file_upper_case(own($1)).release(); }
  ;

separator:
    '\\'
  | '/'
  ;

volume:
    complex_string ':'                          { $$ = file_upper_case(own($1)).release(); }
  ;

// Where a volume or a server stands before the path, a look-ahead has been read: a word or a separator decides which
// form it is. Only behind those two is the whole-line mode set with nothing read ahead.
path:
    { wholeline = 1; } WHOLELINE                { $$ = $2; }
  | STRING { wholeline = 1; } WHOLELINE         { $$ = path_after_word(own($1), own($3)).release(); }
  | separator { wholeline = 1; } WHOLELINE      { $$ = path_after_separator(own($3)).release(); }
  ;

%%

const char *const *const lex_token_names = yytname;
