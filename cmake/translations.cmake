# Compiles po/*.po; `update-po` takes what changed in the code into them.
find_program(MSGFMT msgfmt REQUIRED)
find_program(MSGMERGE msgmerge REQUIRED)
find_program(MSGATTRIB msgattrib REQUIRED)
find_program(XGETTEXT xgettext REQUIRED)
set(catalogue brasca-client-script)
set(template ${CMAKE_SOURCE_DIR}/po/${catalogue}.pot)
set(locale_dir ${CMAKE_BINARY_DIR}/locale)

file(STRINGS ${CMAKE_SOURCE_DIR}/po/LINGUAS languages)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/po/LINGUAS)
set(compiled)
set(merges)
foreach(language IN LISTS languages)
  set(po ${CMAKE_SOURCE_DIR}/po/${language}.po)
  set(folder ${locale_dir}/${language}/LC_MESSAGES)
  add_custom_command(
    OUTPUT ${folder}/${catalogue}.mo
    COMMAND ${CMAKE_COMMAND} -E make_directory ${folder}
    COMMAND ${MSGFMT} -c --check-format -o ${folder}/${catalogue}.mo ${po}
    DEPENDS ${po}
    VERBATIM)
  list(APPEND compiled ${folder}/${catalogue}.mo)
  list(APPEND merges COMMAND ${CMAKE_COMMAND} -E env LC_ALL=C.UTF-8
                             ${MSGMERGE} --quiet --update --backup=none --no-location ${po} ${template}
                     COMMAND ${MSGATTRIB} --no-obsolete --output-file=${po} ${po})
endforeach()
add_custom_target(translations ALL DEPENDS ${compiled})
add_custom_target(update-po COMMAND ${CMAKE_SOURCE_DIR}/po/template.sh ${template} ${merges} VERBATIM)
