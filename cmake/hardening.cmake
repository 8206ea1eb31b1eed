# Warnings are errors, and every object is hardened; the sanitizers and the counters are switched on by options.
add_compile_options(-Wall -Wextra -Wshadow $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor> -Wcast-qual -Wformat=2 -Werror)
include(CheckCXXCompilerFlag)
add_compile_options(-fstack-protector-strong)
# Jumps and returns that the processor checks, each where the machine has them.
foreach(option IN ITEMS -fstack-clash-protection -fcf-protection=full -mbranch-protection=standard)
  string(MAKE_C_IDENTIFIER "qrt_takes${option}" taken)
  check_cxx_compiler_flag("${option} -Werror" ${taken})
  if(${taken})
    add_compile_options(${option})
  endif()
endforeach()
add_link_options(-Wl,-z,relro,-z,now,-z,noexecstack)
set(CMAKE_EXE_LINKER_FLAGS "${CMAKE_EXE_LINKER_FLAGS} -pie")

if(QRT_FUZZ OR QRT_SANITIZE)
  # Without "vptr": that check makes a pipe, and takes a process without descriptors for one with broken objects. The
  # indicator: a variable that both a test and a library have, since the test looks into the library's objects.
  add_compile_options(-fsanitize=address,undefined -fno-sanitize=vptr -fno-sanitize-recover=all
                      -fno-omit-frame-pointer -fsanitize-address-use-odr-indicator)
  add_compile_definitions(QRT_SANITIZED)
  # clang links its sanitizers' runtime into programs only, so that the shared libraries refer to it undefined.
  add_link_options(-fsanitize=address,undefined)
else()
  # Not with the sanitizers, whose runtime pretends to have libcrypt's functions.
  add_link_options(-Wl,--as-needed -Wl,--no-undefined)
  # Fortification needs an optimised build. A level that the caller's flags choose is replaced.
  add_compile_options("SHELL:$<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3>")
endif()
if(QRT_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
if(QRT_THREADS)
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
endif()
if(QRT_COVERAGE)
  add_link_options(--coverage)
endif()

# Exports exactly the names that the map file lists.
function(qrt_version_script target map)
  target_link_options(${target} PRIVATE -Wl,--version-script=${CMAKE_SOURCE_DIR}/${map})
  set_target_properties(${target} PROPERTIES LINK_DEPENDS ${CMAKE_SOURCE_DIR}/${map})
endfunction()
