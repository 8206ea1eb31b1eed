# The command `qrtscript` and the programs behind it: tools/qrtscript/NAME is the program qrtscript-NAME, in the target
# qrtscript_NAME, and what it is linked from without its main() in NAME_objects, for the tests.
file(RELATIVE_PATH locale_from_command_programs ${CMAKE_INSTALL_FULL_LIBEXECDIR}/qrtscript
     ${CMAKE_INSTALL_FULL_LOCALEDIR})

set(program_parts tools/own_folder.cpp tools/program_start.cpp)

add_executable(qrtscript_command tools/qrtscript/main.cpp ${program_parts})
set_target_properties(qrtscript_command PROPERTIES OUTPUT_NAME qrtscript)
target_compile_definitions(qrtscript_command PRIVATE PROGRAMS_FROM_PROGRAMS="${programs_from_programs}"
                                                     LOCALE_FROM_PROGRAMS="${locale_from_programs}")
target_include_directories(qrtscript_command PRIVATE ${CMAKE_SOURCE_DIR})
target_link_libraries(qrtscript_command PRIVATE ${resolved_first} common)

# What the programs behind the command have in common; their catalogues are found from where they stand.
sources_of(command_sources tools/qrtscript)
list(REMOVE_ITEM command_sources ${CMAKE_SOURCE_DIR}/tools/qrtscript/main.cpp
                                 ${CMAKE_SOURCE_DIR}/tools/qrtscript/login_as.cpp)
add_library(command_objects OBJECT ${program_parts} tools/code_variables.cpp tools/columns.cpp ${command_sources})
target_include_directories(command_objects PRIVATE ${CMAKE_SOURCE_DIR})
target_compile_definitions(command_objects PRIVATE LOCALE_FROM_PROGRAMS="${locale_from_command_programs}")

# What those that log in share with a login: its failures, and where a password comes from.
add_library(login_parts STATIC tools/qrtlogin/failure.cpp tools/qrtlogin/password.cpp
                               tools/qrtlogin/private_memory.cpp tools/qrtscript/login_as.cpp)
target_include_directories(login_parts PRIVATE ${CMAKE_SOURCE_DIR})
target_link_libraries(login_parts PUBLIC common zkclient)

# qrt_command_program(NAME libraries...)
set(command_programs)
function(qrt_command_program name)
  sources_of(sources tools/qrtscript/${name})
  list(REMOVE_ITEM sources ${CMAKE_SOURCE_DIR}/tools/qrtscript/${name}/main.cpp)
  add_library(${name}_objects STATIC ${sources})
  target_include_directories(${name}_objects PRIVATE ${CMAKE_SOURCE_DIR})
  target_link_libraries(${name}_objects PRIVATE ${ARGN})
  add_executable(qrtscript_${name} tools/qrtscript/${name}/main.cpp)
  target_include_directories(qrtscript_${name} PRIVATE ${CMAKE_SOURCE_DIR})
  set_target_properties(qrtscript_${name} PROPERTIES OUTPUT_NAME qrtscript-${name})
  target_link_libraries(qrtscript_${name} PRIVATE ${resolved_first} ${name}_objects command_objects ${ARGN})
  add_dependencies(qrtscript_command qrtscript_${name} map)
  set(command_programs ${command_programs} ${name} PARENT_SCOPE)
endfunction()

# ---- check: the library's own grammar and tokenizer over actions that record ----
# The objects themselves, not the sources once more: what is checked cannot differ from what a login reads.
set(language_parts generated/language/grammar.tab language/tokenizer language/actions script/input_buffer script/labels
                   script/syntax_error directory/identifier_names directory/reference base/text base/words)
list(JOIN language_parts "|" language_pattern)
set(language_objects "$<FILTER:$<TARGET_OBJECTS:qrtscript_objects>,INCLUDE,/(${language_pattern})\\.cpp\\.o$>")
add_library(language_objects INTERFACE)
target_sources(language_objects INTERFACE ${language_objects})
# What the recording actions have to see of the library's: its tokens and its mistakes.
target_link_options(language_objects INTERFACE -Wl,--wrap=_Z14tokenizer_nextv,--wrap=_Z19syntax_error_reportPKc
                                               -Wl,--wrap=_Z12format_errorSt10unique_ptrIc8TextFreeE)
target_include_directories(language_objects INTERFACE ${CMAKE_SOURCE_DIR}/include ${CMAKE_BINARY_DIR}/generated)
# What MAP would refuse, the mapping program's own parser tells.
target_sources(language_objects INTERFACE "$<FILTER:$<TARGET_OBJECTS:map_objects>,INCLUDE,/command\\.cpp\\.o$>")
qrt_command_program(check login_parts common language_objects zkclient)
add_dependencies(qrtscript_check zkclient_ldap)
target_compile_definitions(check_objects PRIVATE QRTSCRIPT_VERSION="${PROJECT_VERSION}")

# The pages about the codes are part of the program.
file(GLOB code_pages CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/docs/codes/QS*.md)
set(code_pages_source ${CMAKE_BINARY_DIR}/generated/code_page_table.cpp)
add_custom_command(
  OUTPUT ${code_pages_source}
  COMMAND ${CMAKE_COMMAND} -DFOLDER=${CMAKE_SOURCE_DIR}/docs/codes -DOUTPUT=${code_pages_source}
          -P ${CMAKE_SOURCE_DIR}/cmake/code_pages.cmake
  DEPENDS ${code_pages} ${CMAKE_SOURCE_DIR}/cmake/code_pages.cmake
  VERBATIM)
target_sources(check_objects PRIVATE ${code_pages_source})

# ---- plan: the library's own objects over functions that record effects ----
# Every row of seams.h is a call between two objects that the planner stands between. The mapping program's objects work
# on a table of drives in the place of the user's link directory.
file(STRINGS tools/qrtscript/plan/seams.h seams REGEX "^SEAM")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS tools/qrtscript/plan/seams.h)
list(TRANSFORM seams REPLACE ".*\"(.*)\".*" "-Wl,--wrap=\\1")
add_library(planned_objects INTERFACE)
target_sources(planned_objects INTERFACE $<TARGET_OBJECTS:qrtscript_objects>)
target_link_options(planned_objects INTERFACE ${seams})
target_include_directories(planned_objects INTERFACE ${CMAKE_SOURCE_DIR}/include ${CMAKE_BINARY_DIR}/generated)
add_library(planned_parts STATIC tools/linked_volumes.cpp $<TARGET_OBJECTS:qrtlogin_objects>
                                 tools/qrtscript/login_as.cpp
                                 "$<FILTER:$<TARGET_OBJECTS:map_objects>,EXCLUDE,/link_directory.cpp.o$>")
target_include_directories(planned_parts PRIVATE ${CMAKE_SOURCE_DIR})
qrt_command_program(plan planned_parts window_start common zkclient treelogin PkgConfig::SECCOMP Threads::Threads)
target_link_libraries(qrtscript_plan PRIVATE planned_objects)
target_sources(plan_objects PRIVATE tools/qrtscript/check/forms.cpp) # how a statement should be written
target_include_directories(plan_objects PRIVATE ${CMAKE_SOURCE_DIR}/include ${CMAKE_BINARY_DIR}/generated)
file(RELATIVE_PATH commands_from_programs ${CMAKE_INSTALL_FULL_LIBEXECDIR}/qrtscript ${CMAKE_INSTALL_FULL_BINDIR})
target_compile_definitions(plan_objects PRIVATE COMMANDS_FROM_PROGRAMS="${commands_from_programs}")
add_dependencies(qrtscript_plan zkclient_ldap)

# ---- object: login scripts in the directory ----
qrt_command_program(object login_parts common zkclient treelogin)
soname_of(gnutls libgnutls)
set_source_files_properties(tools/qrtscript/object/former_name.cpp PROPERTIES COMPILE_DEFINITIONS
                                                                             LIBGNUTLS_SONAME="${libgnutls}")
add_dependencies(qrtscript_object zkclient_ldap)

# What most of their files include is compiled once: JSON alone takes more than a second of each file.
foreach(name IN ITEMS check plan)
  target_precompile_headers(${name}_objects PRIVATE <nlohmann/json.hpp> <map> <string> <vector>)
endforeach()
