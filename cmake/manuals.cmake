# The manual pages: man/NAME.SECTION.scd is compiled by scdoc, man/NAME.SECTION is a page under a further name.
find_program(SCDOC scdoc)
set(manual_pages)
if(NOT SCDOC)
  message(STATUS "scdoc is not installed: the manual pages are left out")
  add_custom_target(manuals)
  return()
endif()

file(GLOB manual_sources CONFIGURE_DEPENDS man/*.scd)
file(GLOB manual_pages CONFIGURE_DEPENDS man/*.[1-8])
foreach(source IN LISTS manual_sources)
  cmake_path(GET source STEM LAST_ONLY page)
  set(output ${CMAKE_BINARY_DIR}/man/${page})
  add_custom_command(
    OUTPUT ${output}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/man
    COMMAND sh -c "\"$1\" <\"$2\" >\"$3.new\" && mv \"$3.new\" \"$3\"" sh ${SCDOC} ${source} ${output}
    DEPENDS ${source}
    VERBATIM)
  list(APPEND manual_pages ${output})
endforeach()
add_custom_target(manuals ALL DEPENDS ${manual_pages})
