// The linker's names of the library's functions that targets take the place of, as tests/fuzz/CMakeLists.txt lists
// them.
#ifndef FUZZ_WORLD_WRAPPED_H
#define FUZZ_WORLD_WRAPPED_H

#define WRAPPED_JUMP "_Z8lex_jumpSt17basic_string_viewIcSt11char_traitsIcEE"
#define WRAPPED_INCLUDE "_Z11lex_includeSt17basic_string_viewIcSt11char_traitsIcEE"
// clang-format off
#define WRAPPED_LOOK_UP "_Z19identifiers_look_upjRKSt8optionalINSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEEEPKcRSt10unique_ptrIc8TextFreeE"
// clang-format on
#define WRAPPED_VARIABLE "_Z20identifiers_variableSt17basic_string_viewIcSt11char_traitsIcEE"

#endif
