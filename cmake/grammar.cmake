# Generates the parser, makes it free what is on its stack when memory runs out in an action or in the tokenizer (Bison's
# skeleton is written in C and knows no exceptions), and compares the numbers of its conflicts and its size with the ones
# that the grammar declares in comment lines such as "expect-shift-reduce: N".
execute_process(
  COMMAND ${BISON} -Wall -Wno-yacc -Wno-precedence --output=${OUTPUT}.cpp --defines=${OUTPUT}.h ${GRAMMAR}
  RESULT_VARIABLE failed
  ERROR_VARIABLE messages)
if(failed)
  message(FATAL_ERROR "${messages}")
endif()
file(READ ${OUTPUT}.cpp parser)
set(differences "")
function(compare kind text pattern)
  file(STRINGS ${GRAMMAR} declared REGEX "expect-${kind}: [0-9]+")
  string(REGEX MATCH "[0-9]+$" declared "${declared}")
  set(found 0)
  if(text MATCHES "${pattern}")
    set(found ${CMAKE_MATCH_1})
  endif()
  if(NOT found EQUAL declared)
    set(differences "${differences}  expect-${kind}: ${declared}, found ${found}\n" PARENT_SCOPE)
  endif()
endfunction()
compare(shift-reduce "${messages}" "([0-9]+) shift/reduce conflicts?")
compare(reduce-reduce "${messages}" "([0-9]+) reduce/reduce conflicts?")
compare(terminals "${parser}" "#define YYNTOKENS +([0-9]+)")
compare(nonterminals "${parser}" "#define YYNNTS +([0-9]+)")
compare(rules "${parser}" "#define YYNRULES +([0-9]+)")
if(differences)
  file(REMOVE ${OUTPUT}.cpp ${OUTPUT}.h)
  message(FATAL_ERROR "${GRAMMAR} is not what it declares:\n${differences}"
                      "scripts/grammar-conflicts.py names the conflicts that came and went")
endif()

# Both places are left the way that a full stack leaves them: the report, and a destructor for each value, those of the
# rule that was being reduced included. No line is added, so that the skeleton's own line numbers stay true.
function(replace_once text from to)
  string(FIND "${${text}}" "${from}" first)
  string(FIND "${${text}}" "${from}" last REVERSE)
  if(first EQUAL -1 OR NOT first EQUAL last)
    file(REMOVE ${OUTPUT}.cpp ${OUTPUT}.h)
    message(FATAL_ERROR "${GRAMMAR}: Bison's skeleton is not the one expected at: ${from}")
  endif()
  string(REPLACE "${from}" "${to}" replaced "${${text}}")
  set(${text} "${replaced}" PARENT_SCOPE)
endfunction()
set(caught "catch (const std::bad_alloc &) { yylen = 0; say(\"memory exhausted\"); YYNOMEM; }")
replace_once(parser "yychar = yylex ();" "try { yychar = yylex (); } ${caught}")
replace_once(parser "YY_REDUCE_PRINT (yyn);\n  switch (yyn)\n" "YY_REDUCE_PRINT (yyn); try {\n  switch (yyn)\n")
replace_once(parser "default: break;\n    }\n  /* User semantic" "default: break;\n    } } ${caught}\n  /* User semantic")
file(WRITE ${OUTPUT}.cpp "${parser}")
