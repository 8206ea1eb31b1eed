# Completions for bash, zsh and fish, made from what the programs say with --help.
find_package(Python3 COMPONENTS Interpreter)
set(completion_dirs)
set(completion_shells)
set(completed_programs qrtlogin map qrtscript)
if(NOT Python3_FOUND OR CMAKE_CROSSCOMPILING)
  message(STATUS "The completions are left out: they need Python 3 and programs that run here")
endif()
# Builds for tests have nothing to install, and their programs do more than they say.
if(NOT Python3_FOUND OR CMAKE_CROSSCOMPILING OR QRT_SANITIZE OR QRT_THREADS OR QRT_COVERAGE)
  add_custom_target(completions)
  return()
endif()

# Where each shell looks, relative to the prefix. Distributions may have another folder for those of packages.
set(QRT_BASH_COMPLETIONS ${CMAKE_INSTALL_DATADIR}/bash-completion/completions CACHE STRING "Folder of bash's completions")
set(QRT_ZSH_COMPLETIONS ${CMAKE_INSTALL_DATADIR}/zsh/site-functions CACHE STRING "Folder of zsh's completions")
set(QRT_FISH_COMPLETIONS ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d CACHE STRING "Folder of fish's completions")
set(completion_shells bash zsh fish)
set(completion_dirs ${QRT_BASH_COMPLETIONS} ${QRT_ZSH_COMPLETIONS} ${QRT_FISH_COMPLETIONS})

foreach(program IN LISTS completed_programs)
  set(bash_completions ${bash_completions} ${CMAKE_BINARY_DIR}/completions/bash/${program})
  set(zsh_completions ${zsh_completions} ${CMAKE_BINARY_DIR}/completions/zsh/_${program})
  set(fish_completions ${fish_completions} ${CMAKE_BINARY_DIR}/completions/fish/${program}.fish)
endforeach()
set(completion_files ${bash_completions} ${zsh_completions} ${fish_completions})
list(TRANSFORM command_programs PREPEND qrtscript_ OUTPUT_VARIABLE command_targets)
add_custom_command(
  OUTPUT ${completion_files}
  COMMAND Python3::Interpreter -B ${CMAKE_SOURCE_DIR}/scripts/make-completions.py ${CMAKE_BINARY_DIR}
          ${completion_files}
  DEPENDS scripts/make-completions.py qrtlogin map qrtscript_command ${command_targets}
  VERBATIM)
add_custom_target(completions ALL DEPENDS ${completion_files})
