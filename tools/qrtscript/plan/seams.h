// Where the planner stands between the library's objects. The linker gives a call of NAME that one object makes to
// another to wrap_NAME, and real_NAME is the library's own (--wrap); the objects stay as they are. A row here is the
// option for the linker, too (CMakeLists.txt). A name that the library no longer has does not link.
//
// A call within the object that defines the function is not seen: what is listed is called from other objects.
#ifndef TOOLS_QRTSCRIPT_PLAN_SEAMS_H
#define TOOLS_QRTSCRIPT_PLAN_SEAMS_H

#include "base/local_file.h"
#include "base/output.h"
#include "base/variables.h"
#include "commands/child_process.h"
#include "commands/drive.h"
#include "commands/environment.h"
#include "commands/file_spec.h"
#include "commands/include.h"
#include "commands/print.h"
#include "commands/session_statements.h"
#include "directory/attribute_compare.h"
#include "directory/attributes.h"
#include "directory/identifier_rules.h"
#include "directory/identifiers.h"
#include "directory/script_sources.h"
#include "directory/session.h"
#include "language/actions.h"
#include "language/script_runner.h"
#include "language/tokenizer.h"
#include "platform/treelogin.h"
#include "platform/zk.h"
#include "script/input_buffer.h"

#define SEAM(name, symbol) SEAM_OF(decltype(name), name, symbol)
#define SEAM_OF(type, name, symbol)                    \
    extern type real_##name __asm__("__real_" symbol); \
    extern type wrap_##name __asm__("__wrap_" symbol)

// A row is a line, which the build reads.
// clang-format off
using JoinTwo = OwnedText(OwnedText a, OwnedText b);
using JoinThree = OwnedText(OwnedText a, OwnedText b, OwnedText c);

// ---- the language: only looked at ----
SEAM(tokenizer_next, "_Z14tokenizer_nextv");
SEAM(cond_enter, "_Z10cond_enteri");
SEAM(cond_enter_unreadable, "_Z21cond_enter_unreadablev");
SEAM(cond_leave, "_Z10cond_leavev");
SEAM(else_statement, "_Z14else_statementv");
SEAM(cond_compare, "_Z12cond_compare10ComparisonSt10unique_ptrIc8TextFreeES2_");
SEAM(cond_bare, "_Z9cond_bareSt10unique_ptrIc8TextFreeE");
SEAM_OF(JoinTwo, join_two, "_Z11phrase_joinSt10unique_ptrIc8TextFreeES1_");
SEAM_OF(JoinThree, join_three, "_Z11phrase_joinSt10unique_ptrIc8TextFreeES1_S1_");
SEAM(phrase_empty, "_Z12phrase_emptyv");
SEAM(phrase_quoted, "_Z13phrase_quotedSt10unique_ptrIc8TextFreeE");
SEAM(phrase_word, "_Z11phrase_wordSt10unique_ptrIc8TextFreeE");
SEAM(phrase_identifier, "_Z17phrase_identifierSt10unique_ptrIc8TextFreeE");
SEAM(phrase_environment, "_Z18phrase_environmentSt10unique_ptrIc8TextFreeE");
SEAM(phrase_member, "_Z13phrase_memberSt10unique_ptrIc8TextFreeE");
SEAM(phrase_not_member, "_Z17phrase_not_memberSt10unique_ptrIc8TextFreeE");
SEAM(phrase_calculate, "_Z16phrase_calculatecSt10unique_ptrIc8TextFreeES1_");
SEAM(syntax_error_report, "_Z19syntax_error_reportPKc");
SEAM(format_error, "_Z12format_errorSt10unique_ptrIc8TextFreeE");
SEAM(lex_push, "_Z8lex_pushSt17basic_string_viewIcSt11char_traitsIcEE");
SEAM(lex_include, "_Z11lex_includeSt17basic_string_viewIcSt11char_traitsIcEE");
SEAM(lex_jump, "_Z8lex_jumpSt17basic_string_viewIcSt11char_traitsIcEE");
SEAM(script_run, "_Z10script_runSt17basic_string_viewIcSt11char_traitsIcEEPcj");

// ---- the statements: only looked at ----
SEAM(cls_statement, "_Z13cls_statementv");
SEAM(profile_statement, "_Z17profile_statementSt10unique_ptrIc8TextFreeE");
SEAM(no_default_statement, "_Z20no_default_statementv");
SEAM(drive_statement, "_Z15drive_statementSt10unique_ptrIc8TextFreeE");
SEAM(tree_statement, "_Z14tree_statementSt10unique_ptrIc8TextFreeES1_S_Ic15TextWipeAndFreeE");
SEAM(break_statement, "_Z15break_statementb");
SEAM(session_shift_variables, "_Z23session_shift_variablesi");
SEAM(file_on_volume, "_Z14file_on_volumeSt10unique_ptrIc8TextFreeES1_");
SEAM(file_on_server, "_Z14file_on_serverSt10unique_ptrIc8TextFreeES1_S1_");
SEAM(file_plain, "_Z10file_plainSt10unique_ptrIc8TextFreeE");
SEAM(file_unc, "_Z8file_uncSt10unique_ptrIc8TextFreeES1_");
SEAM(file_of_object, "_Z14file_of_objectSt10unique_ptrIc8TextFreeE");

// ---- the directory: only looked at, but that no attribute with a password is read ----
SEAM(identifiers_look_up, "_Z19identifiers_look_upjRKSt8optionalINSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEEEPKcRSt10unique_ptrIc8TextFreeE");
SEAM(identifier_rules_value, "_Z22identifier_rules_valueRK17IdentifierRequestjRNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE");
SEAM(identifiers_variable, "_Z20identifiers_variableSt17basic_string_viewIcSt11char_traitsIcEE");
SEAM(attributes_text, "_Z15attributes_textjPKcS0_RSt10unique_ptrIc8TextFreeE");
SEAM(attribute_compare, "_Z17attribute_comparejPKcS0_St17basic_string_viewIcSt11char_traitsIcEERj");
SEAM(script_sources_object, "_Z21script_sources_objectjPKcRNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE");
SEAM(script_sources_container, "_Z24script_sources_containerjPKcRNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE");
SEAM(script_sources_file, "_Z19script_sources_filePKc");
SEAM(script_sources_default, "_Z22script_sources_defaultv");

// ---- the effects: what would leave the process is recorded instead ----
SEAM(say, "_Z3sayPKcz");
SEAM(output_put, "_Z10output_putSt17basic_string_viewIcSt11char_traitsIcEE");
SEAM(output_print, "_Z12output_printPKcz");
SEAM(output_trace, "_Z12output_trace14TracedFunctioniPKcz");
SEAM(variables_set, "_Z13variables_setPKcS0_");
SEAM(child_run, "_Z9child_runSt6vectorINSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEESaIS5_EE");
SEAM(child_run_in_background, "_Z23child_run_in_backgroundSt6vectorINSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEESaIS5_EE");
SEAM(local_file_read, "_Z15local_file_readPKcRm");
SEAM(drive_target, "_Z12drive_targetB5cxx11PKc");
SEAM(auxinit_g, "auxinit_g");
SEAM(auxlogin_g, "auxlogin_g");
SEAM(auxlogin_c, "auxlogin_c");
SEAM(auxconfirm_g, "auxconfirm_g");
SEAM(auxpause_script, "auxpause_script");
SEAM(ZKDSLoginEx, "ZKDSLoginEx");
SEAM(ZKDSLogout, "ZKDSLogout");
SEAM(ZKDSOpenStream, "ZKDSOpenStream");
SEAM(ZKLoginToFileServer, "ZKLoginToFileServer");
SEAM(ZKCCSetPrimConn, "ZKCCSetPrimConn");
// clang-format on

#endif
