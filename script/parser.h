// What the grammar exports. It stands below the modules that the parser's actions call, because their traces carry the
// parser's name: statements and phrases have no function of their own that anyone knows.
#ifndef SCRIPT_PARSER_H
#define SCRIPT_PARSER_H

#pragma GCC visibility push(default)
extern "C" int yyparse();
extern int yychar;  // the look-ahead token, -2 for none
extern int yynerrs; // syntax errors of this parse
extern union YYSTYPE yylval;
#pragma GCC visibility pop

#endif
