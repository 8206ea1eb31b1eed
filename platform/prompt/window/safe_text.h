// Text from scripts, the directory and the caller on its way into a window.
#ifndef PLATFORM_PROMPT_WINDOW_SAFE_TEXT_H
#define PLATFORM_PROMPT_WINDOW_SAFE_TEXT_H

#include <string>
#include <string_view>

// `text` as valid UTF-8. Control characters other than the line end, bytes that are no characters, and characters
// that would change the order of what stands around them are shown as "\x1B".
std::string window_safe_text(std::string_view text);

// The same for one line, set apart from the direction of the text around it.
std::string window_safe_name(std::string_view name);

#endif
