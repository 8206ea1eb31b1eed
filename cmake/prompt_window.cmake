# The program that shows the prompts' windows: the only part of the project that needs a window toolkit. Without GTK
# everything else is built, and the prompts ask on the terminal.
option(QRT_WINDOWS "Build the windows of the prompts (GTK 4)" ON)
set(windows_built OFF)
if(QRT_WINDOWS)
  pkg_check_modules(GTK IMPORTED_TARGET gtk4>=4.8)
  if(NOT GTK_FOUND)
    message(STATUS "GTK 4.8 is not installed: the windows of the prompts are left out, which ask on the terminal")
  else()
    set(windows_built ON)
  endif()
else()
  message(STATUS "QRT_WINDOWS is off: the windows of the prompts are left out, which ask on the terminal")
endif()

# What the window of a login makes of what it is told, which takes no toolkit.
add_library(login_window_objects OBJECT tools/qrtlogin/login_message.cpp tools/qrtlogin/window/output_text.cpp
                                        tools/qrtlogin/window/record.cpp platform/prompt/window/safe_text.cpp)
target_include_directories(login_window_objects PRIVATE ${CMAKE_SOURCE_DIR})

if(windows_built)
  # What the project's windows have in common. Objects, not an archive: nothing refers to the free() of wiped_memory,
  # which is for the libraries.
  set(window_parts platform/prompt/window/style.cpp platform/prompt/window/fields.cpp
                   platform/prompt/window/password_buffer.cpp platform/prompt/window/protection.cpp
                   platform/prompt/window/wiped_memory.cpp)
  add_library(window_objects OBJECT ${window_parts} ${program_parts})
  target_include_directories(window_objects PUBLIC ${CMAKE_SOURCE_DIR})
  target_compile_definitions(window_objects PRIVATE LOCALE_FROM_PROGRAMS="${locale_from_command_programs}")
  target_link_libraries(window_objects PUBLIC PkgConfig::GTK window_start common)

  sources_of(prompt_window_sources platform/prompt/window)
  list(TRANSFORM window_parts PREPEND ${CMAKE_SOURCE_DIR}/ OUTPUT_VARIABLE shared)
  list(REMOVE_ITEM prompt_window_sources ${shared})
  add_executable(prompt_window ${prompt_window_sources} platform/prompt/window_message.cpp)
  target_include_directories(prompt_window PRIVATE ${CMAKE_SOURCE_DIR})
  target_link_libraries(prompt_window PRIVATE ${resolved_first} window_objects)
  set_target_properties(prompt_window PROPERTIES OUTPUT_NAME qrt-prompt-window)

  # The window of qrtlogin.
  sources_of(login_window_sources tools/qrtlogin/window)
  list(FILTER login_window_sources EXCLUDE REGEX "/(output_text|record)\\.cpp$")
  add_executable(login_window ${login_window_sources})
  target_include_directories(login_window PRIVATE ${CMAKE_SOURCE_DIR})
  target_link_libraries(login_window PRIVATE ${resolved_first} login_window_objects window_objects)
  set_target_properties(login_window PROPERTIES OUTPUT_NAME qrt-login-window)
endif()
