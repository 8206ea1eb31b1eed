// What a reference to an identifier or a variable in a text is: where its name ends, and what its value replaces.
// substitution.h shows the form.
#ifndef DIRECTORY_REFERENCE_H
#define DIRECTORY_REFERENCE_H

#include <array>
#include <string_view>

// A reference: its name, and the text that its value replaces.
struct Reference {
    std::string_view name;
    std::string_view replaced;
    bool isVariable = false; // of the environment; a "<" inside the quoted form is part of an ordinary name
    bool closedByQuote = false;
};

inline bool reference_ends_name(char c) {
    static constexpr std::array<bool, 256> ends = [] {
        std::array<bool, 256> table = {};
        for (const char sign : std::string_view(" \t\r\n\"#@\\/:(),.%-;>"))
            table[static_cast<unsigned char>(sign)] = true;
        return table;
    }();
    return ends[static_cast<unsigned char>(c)];
}

// Here and below, `rest` begins with the marker.
bool reference_is_without_name(std::string_view rest);

// Of a marker with a name.
Reference reference_parse(std::string_view rest);

#endif
