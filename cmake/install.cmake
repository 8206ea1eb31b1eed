# What `cmake --install` puts below a prefix, which may be chosen then, and what `uninstall` takes away again. It is two
# components: "windows", which needs a window toolkit, and "base", everything else.
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME base)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/qrtscript)
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
set(catalogue_dirs)
foreach(language IN LISTS languages)
  list(APPEND catalogue_dirs ${CMAKE_INSTALL_LOCALEDIR}/${language}/LC_MESSAGES)
endforeach()
set(manual_dirs)
foreach(page IN LISTS manual_pages)
  string(REGEX MATCH "[1-8]$" section ${page})
  list(APPEND manual_dirs ${CMAKE_INSTALL_MANDIR}/man${section})
endforeach()
# The same files for Vim and for Neovim, which look for them in different places.
set(vim_dirs)
foreach(part IN ITEMS syntax indent ftplugin ftdetect lua)
  list(APPEND vim_dirs ${CMAKE_INSTALL_DATADIR}/vim/vimfiles/${part} ${CMAKE_INSTALL_DATADIR}/nvim/site/${part})
endforeach()
set(vscode_dir ${CMAKE_INSTALL_DATADIR}/qrtscript/vscode)

# What a desktop knows of the login by: with the windows alone.
set(desktop_dirs)
set(desktop_suffixes desktop svg metainfo.xml)
if(windows_built)
  set(desktop_dirs ${CMAKE_INSTALL_DATADIR}/applications ${CMAKE_INSTALL_DATADIR}/icons/hicolor/scalable/apps
                   ${CMAKE_INSTALL_DATADIR}/metainfo)
endif()

# ---- first: which folders are missing ----
# `install_dirs` has to name every folder that something below is installed to, for uninstalling.
set(record ${CMAKE_BINARY_DIR}/installed)
set(install_dirs ${CMAKE_INSTALL_BINDIR} ${CMAKE_INSTALL_SBINDIR} ${command_programs_dir} ${CMAKE_INSTALL_LIBDIR} ${CMAKE_INSTALL_LIBDIR}/${client_modules_dir}
                 ${CMAKE_INSTALL_INCLUDEDIR} ${package_dir} ${pkgconfig_dir} ${catalogue_dirs}
                 ${manual_dirs} ${completion_dirs} ${vim_dirs}
                 ${CMAKE_INSTALL_DATADIR}/nano ${vscode_dir}/syntaxes ${desktop_dirs})
install(CODE "set(record \"${record}\")\nset(install_dirs \"${install_dirs}\")" ALL_COMPONENTS)
install(SCRIPT ${CMAKE_SOURCE_DIR}/cmake/record_folders.cmake ALL_COMPONENTS)

# ---- the programs ----
# Linked once more: an installed program finds its libraries in another folder than one that was just built, and a
# search path that is changed while installing has to be padded with an empty element, which means the current folder.
set(installed_programs)
function(qrt_install_program target name folder component)
  cmake_path(ABSOLUTE_PATH folder BASE_DIRECTORY ${CMAKE_INSTALL_PREFIX} OUTPUT_VARIABLE full_folder)
  file(RELATIVE_PATH libraries ${full_folder} ${CMAKE_INSTALL_FULL_LIBDIR})
  add_executable(${target}_installed $<TARGET_OBJECTS:${target}>)
  target_link_libraries(${target}_installed PRIVATE $<TARGET_PROPERTY:${target},LINK_LIBRARIES>)
  set_target_properties(${target}_installed PROPERTIES
    OUTPUT_NAME ${name} RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/to-install LINKER_LANGUAGE CXX
    BUILD_WITH_INSTALL_RPATH ON INSTALL_RPATH "$ORIGIN/${libraries}")
  install(TARGETS ${target}_installed RUNTIME DESTINATION ${folder} COMPONENT ${component})
  set(installed_programs ${installed_programs} ${target}_installed PARENT_SCOPE)
endfunction()
foreach(tool IN ITEMS qrtlogin map qrtscript_command)
  string(REPLACE _command "" name ${tool})
  qrt_install_program(${tool} ${name} ${CMAKE_INSTALL_BINDIR} base)
endforeach()
foreach(program IN LISTS command_programs)
  qrt_install_program(qrtscript_${program} qrtscript-${program} ${command_programs_dir} base)
endforeach()
if(windows_built)
  qrt_install_program(prompt_window qrt-prompt-window ${command_programs_dir} windows)
  qrt_install_program(login_window qrt-login-window ${command_programs_dir} windows)
  set(desktop_name share/org.libqrtscript.qrtlogin)
  foreach(suffix folder IN ZIP_LISTS desktop_suffixes desktop_dirs)
    install(FILES ${desktop_name}.${suffix} DESTINATION ${folder} COMPONENT windows)
  endforeach()
endif()
# The automounter is root's. mount(8) looks for its helper in /sbin.
qrt_install_program(automount qrt-automount ${CMAKE_INSTALL_SBINDIR} base)
add_custom_command(TARGET automount_installed POST_BUILD VERBATIM
  COMMAND ${CMAKE_COMMAND} -E create_symlink qrt-automount ${CMAKE_BINARY_DIR}/to-install/mount.qrt)
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

# ---- the manual pages ----
foreach(page folder IN ZIP_LISTS manual_pages manual_dirs)
  install(FILES ${page} DESTINATION ${folder})
endforeach()

# ---- the completions ----
foreach(shell folder IN ZIP_LISTS completion_shells completion_dirs)
  install(FILES ${${shell}_completions} DESTINATION ${folder})
endforeach()

# ---- the editors' files ----
foreach(folder IN LISTS vim_dirs)
  cmake_path(GET folder FILENAME part)
  install(DIRECTORY editors/vim/${part}/ DESTINATION ${folder})
endforeach()
install(FILES editors/nano/qrtscript.nanorc DESTINATION ${CMAKE_INSTALL_DATADIR}/nano)
install(DIRECTORY editors/vscode/ DESTINATION ${vscode_dir} PATTERN node_modules EXCLUDE)

# ---- last: what has been installed ----
install(SCRIPT ${CMAKE_SOURCE_DIR}/cmake/record_files.cmake ALL_COMPONENTS)
add_custom_target(uninstall COMMAND ${CMAKE_COMMAND} -D record=${record} -P ${CMAKE_SOURCE_DIR}/cmake/uninstall.cmake
                  VERBATIM)

# All that is installed, and the programs as they run from the build: what quickstart.sh builds.
add_custom_target(product DEPENDS qrtlogin map automount qrtscript_command zkclient_ldap ${installed_programs}
                  translations manuals completions)
