# Generates the parser and holds the number of its conflicts to the ones that the grammar declares in the comment lines
# "expect-shift-reduce: N" and "expect-reduce-reduce: N".
execute_process(
  COMMAND ${BISON} -Wall -Wno-yacc -Wno-precedence --output=${OUTPUT}.cpp --defines=${OUTPUT}.h ${GRAMMAR}
  RESULT_VARIABLE failed
  ERROR_VARIABLE messages)
if(failed)
  message(FATAL_ERROR "${messages}")
endif()
foreach(kind IN ITEMS shift-reduce reduce-reduce)
  file(STRINGS ${GRAMMAR} declared REGEX "expect-${kind}: [0-9]+")
  string(REGEX MATCH "[0-9]+$" declared "${declared}")
  string(REPLACE "-" "/" name ${kind})
  set(found 0)
  if(messages MATCHES "([0-9]+) ${name} conflicts?")
    set(found ${CMAKE_MATCH_1})
  endif()
  if(NOT found EQUAL declared)
    file(REMOVE ${OUTPUT}.cpp ${OUTPUT}.h)
    message(FATAL_ERROR "${GRAMMAR}: ${found} ${name} conflicts, declared are ${declared}\n${messages}")
  endif()
endforeach()
