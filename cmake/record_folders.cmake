# Runs before anything is installed: records the folders that the installation is about to make, those above its prefix
# included. `install_dirs` are the folders that it installs to, `record` is where records are kept.
include(${CMAKE_CURRENT_LIST_DIR}/record_name.cmake)
# A relative prefix is one of the working folder, for all that follows as well.
get_filename_component(CMAKE_INSTALL_PREFIX "${CMAKE_INSTALL_PREFIX}" ABSOLUTE)
foreach(folder IN LISTS install_dirs)
  get_filename_component(folder "${folder}" ABSOLUTE BASE_DIR "${CMAKE_INSTALL_PREFIX}")
  set(folder "${destination}${folder}")
  while(NOT EXISTS "${folder}")
    file(APPEND "${record_file}" "folder ${folder}\n")
    get_filename_component(folder "${folder}" DIRECTORY)
  endwhile()
endforeach()
