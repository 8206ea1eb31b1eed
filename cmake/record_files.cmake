# Runs when all is installed: records the files.
foreach(file IN LISTS CMAKE_INSTALL_MANIFEST_FILES)
  file(APPEND "${record_file}" "file ${destination}${file}\n")
endforeach()
