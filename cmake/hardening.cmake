# Warnings are errors, and every object is hardened; the sanitizers and the counters are switched on by options.
add_compile_options(-Wall -Wextra -Wshadow $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor> -Wcast-qual -Wformat=2 -Werror)
add_compile_options(-fstack-protector-strong)
add_link_options(-Wl,-z,relro,-z,now -Wl,--no-undefined)
set(CMAKE_EXE_LINKER_FLAGS "${CMAKE_EXE_LINKER_FLAGS} -pie")

if(QRT_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
elseif(QRT_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
else()
  # Not with the sanitizers, whose runtime pretends to have libcrypt's functions.
  add_link_options(-Wl,--as-needed)
  # Fortification needs an optimised build.
  add_compile_definitions($<$<NOT:$<CONFIG:Debug>>:_FORTIFY_SOURCE=2>)
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
