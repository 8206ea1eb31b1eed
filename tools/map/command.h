// The command line of map, taken apart.
//
//     line    ::= item ( "," item )*                       ";" stands for ","
//     item    ::= keyword* [ drive ":" [ "=" target ] | target ]
//     keyword ::= "ROOT" | "NEXT" | "INS" | "DEL" | "DISPLAY" switch | "ERRORS" switch      in any letter case
//     switch  ::= "ON" | "OFF"
//     drive   ::= letter | "S" 1..16 | "*" 1..21
//     target  ::= a location as in location.h
//
// Double quotes are dropped; a comma between two of them belongs to the target.
#ifndef TOOLS_MAP_COMMAND_H
#define TOOLS_MAP_COMMAND_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// A drive: a letter, or a place in the search path. The name is the link's name, too.
struct Drive {
    static constexpr int search_drives = 16;
    static constexpr char first_local = 'F'; // "*1:"; the letters before it belong to the machine's own disks

    char letter = '\0'; // 'A' to 'Z'; NUL for a search drive
    int place = 0;      // 1 to search_drives

    bool isSearch() const { return letter == '\0'; }
    std::string name() const { return isSearch() ? "S" + std::to_string(place) : std::string(1, letter); }
};

// The drive that `text` (without its colon) names in any letter case, or nothing.
std::optional<Drive> drive_of(std::string_view text);

struct Command {
    enum class Action {
        list,    // every drive
        show,    // `drive`
        assign,  // `drive` to `target`
        insert,  // `target` before the search drive `drive`
        next,    // the next free letter to `target`
        remove,  // `drive`
        display, // confirmations on or off for the rest of the line
        errors   // refusals on or off for the rest of the line
    };
    Action action = Action::list;
    Drive drive;
    std::string target;
    bool on = false;
};

// The line's items in order, at least one. An item without a drive that follows a search drive's takes the place after
// it; a drive alone that follows DEL is removed, too. Throws Refusal: nothing of the line may be done then.
std::vector<Command> command_parse(const std::string &line);

#endif
