# What `cmake --install` puts below a prefix, which may be chosen then, and what `uninstall` takes away again.
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/qrtscript)
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
set(catalogue_dirs)
foreach(language IN LISTS languages)
  list(APPEND catalogue_dirs ${CMAKE_INSTALL_LOCALEDIR}/${language}/LC_MESSAGES)
endforeach()

# ---- first: which folders are missing ----
# `install_dirs` has to name every folder that something below is installed to, for uninstalling.
set(record ${CMAKE_BINARY_DIR}/installed)
set(install_dirs ${CMAKE_INSTALL_BINDIR} ${CMAKE_INSTALL_SBINDIR} ${CMAKE_INSTALL_LIBDIR} ${CMAKE_INSTALL_LIBDIR}/${client_modules_dir}
                 ${CMAKE_INSTALL_INCLUDEDIR} ${package_dir} ${pkgconfig_dir} ${catalogue_dirs})
install(CODE "set(record \"${record}\")\nset(install_dirs \"${install_dirs}\")")
install(SCRIPT ${CMAKE_SOURCE_DIR}/cmake/record_folders.cmake)

# ---- the programs ----
# Linked once more: an installed program finds its libraries in another folder than one that was just built, and a
# search path that is changed while installing has to be padded with an empty element, which means the current folder.
set(installed_programs)
foreach(tool IN ITEMS qrtlogin map)
  add_executable(${tool}_installed $<TARGET_OBJECTS:${tool}>)
  target_link_libraries(${tool}_installed PRIVATE $<TARGET_PROPERTY:${tool},LINK_LIBRARIES>)
  set_target_properties(${tool}_installed PROPERTIES
    OUTPUT_NAME ${tool} RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/to-install LINKER_LANGUAGE CXX
    BUILD_WITH_INSTALL_RPATH ON INSTALL_RPATH "$ORIGIN/${libraries_from_programs}")
  list(APPEND installed_programs ${tool}_installed)
endforeach()
install(TARGETS ${installed_programs})
# The automounter is root's. mount(8) looks for its helper in /sbin.
file(RELATIVE_PATH libraries_from_root_programs ${CMAKE_INSTALL_FULL_SBINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
add_executable(automount_installed $<TARGET_OBJECTS:automount>)
target_link_libraries(automount_installed PRIVATE $<TARGET_PROPERTY:automount,LINK_LIBRARIES>)
set_target_properties(automount_installed PROPERTIES
  OUTPUT_NAME qrt-automount RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/to-install LINKER_LANGUAGE CXX
  BUILD_WITH_INSTALL_RPATH ON INSTALL_RPATH "$ORIGIN/${libraries_from_root_programs}")
add_custom_command(TARGET automount_installed POST_BUILD VERBATIM
  COMMAND ${CMAKE_COMMAND} -E create_symlink qrt-automount ${CMAKE_BINARY_DIR}/to-install/mount.qrt)
install(TARGETS automount_installed RUNTIME DESTINATION ${CMAKE_INSTALL_SBINDIR})
install(FILES ${CMAKE_BINARY_DIR}/to-install/mount.qrt DESTINATION ${CMAKE_INSTALL_SBINDIR})

# ---- the libraries, and what a program needs to call them ----
# They stand side by side in both places. Only this one needs the others; who loads the module has loaded what it needs.
set_target_properties(qrtscript zkclient zkclient_ldap treelogin PROPERTIES BUILD_WITH_INSTALL_RPATH ON)
set_target_properties(qrtscript PROPERTIES INSTALL_RPATH "$ORIGIN")
install(TARGETS qrtscript zkclient treelogin EXPORT qrtscript INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS zkclient_ldap DESTINATION ${CMAKE_INSTALL_LIBDIR}/${client_modules_dir})
install(FILES include/qrtscript.h platform/zk.h platform/treelogin.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

include(CMakePackageConfigHelpers)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/qrtscriptConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(EXPORT qrtscript NAMESPACE qrtscript:: FILE qrtscriptConfig.cmake DESTINATION ${package_dir})
install(FILES ${CMAKE_BINARY_DIR}/qrtscriptConfigVersion.cmake DESTINATION ${package_dir})

file(RELATIVE_PATH prefix_from_pkgconfig ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX}/.)
string(REGEX REPLACE "/$" "" prefix_from_pkgconfig ${prefix_from_pkgconfig})
set(pkgconfig_libdir "\${prefix}")
cmake_path(APPEND pkgconfig_libdir ${CMAKE_INSTALL_LIBDIR})
set(pkgconfig_includedir "\${prefix}")
cmake_path(APPEND pkgconfig_includedir ${CMAKE_INSTALL_INCLUDEDIR})
configure_file(cmake/libqrtscript.pc.in ${CMAKE_BINARY_DIR}/libqrtscript.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/libqrtscript.pc DESTINATION ${pkgconfig_dir})

# ---- the translations ----
foreach(language IN LISTS languages)
  install(FILES ${locale_dir}/${language}/LC_MESSAGES/${catalogue}.mo
          DESTINATION ${CMAKE_INSTALL_LOCALEDIR}/${language}/LC_MESSAGES)
endforeach()

# ---- last: what has been installed ----
install(SCRIPT ${CMAKE_SOURCE_DIR}/cmake/record_files.cmake)
add_custom_target(uninstall COMMAND ${CMAKE_COMMAND} -D record=${record} -P ${CMAKE_SOURCE_DIR}/cmake/uninstall.cmake
                  VERBATIM)

# All that is installed, and the programs as they run from the build: what quickstart.sh builds.
add_custom_target(product DEPENDS qrtlogin map automount zkclient_ldap ${installed_programs} automount_installed
                  translations)
