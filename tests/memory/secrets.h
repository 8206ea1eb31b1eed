// The passwords of the memory tests. The tests' own process never has them as text: a copy of its own would be found
// in every process that it forks.
#ifndef TESTS_MEMORY_SECRETS_H
#define TESTS_MEMORY_SECRETS_H

#include <array>
#include <cstddef>
#include <cstdint>

constexpr char password_question[] = "Password"; // where one is typed

constexpr unsigned char secret_mask = 0x5a;

struct HiddenSecret {
    static constexpr size_t length = 32;
    std::array<unsigned char, length> masked;
    const char *crypt; // what the directory keeps of it

    // The character at a place, for whoever types it.
    char at(size_t place) const { return static_cast<char>(masked[place] ^ secret_mask); }
    // Writes the text and its NUL: length + 1 bytes.
    void put(char *to) const;
};

constexpr HiddenSecret secret_hide(const char (&text)[HiddenSecret::length + 1], const char *crypt) {
    HiddenSecret hidden = {{}, crypt};
    for (size_t i = 0; i < HiddenSecret::length; ++i)
        hidden.masked[i] = static_cast<unsigned char>(text[i] ^ static_cast<char>(secret_mask));
    return hidden;
}

// Made with little work, so that the tests are quick.
inline constexpr HiddenSecret users_secret =
    secret_hide("q7Xz/kVb3-wPj9:Rm2.Tg8_Lc5+Hd4nY",
                "{CRYPT}$y$j7T$Qq3hM8nT5vXc2bJr9wLd1/$xayYnDgL7tMlgoblJ3XnvL7Dlg.7uE5vfvgOWMRaje1");
inline constexpr HiddenSecret wrong_secret =
    secret_hide("u6Fs/eJc8-xQh1:Vk7.Zb3_Nw9+Ga2tM",
                "{CRYPT}$y$j7T$Qq3hM8nT5vXc2bJr9wLd1/$7O04/BPn/KhAQR/yJ1zaHBvaLecncNGd58d3DIFXNZ8");
inline constexpr HiddenSecret other_trees_secret =
    secret_hide("y5Dr/oBm4-vKt6:Sx8.Wf2_Pz7+Jc9hE",
                "{CRYPT}$y$j7T$Qq3hM8nT5vXc2bJr9wLd1/$cdBBgLGcqjOZ09cR7awW9.ozLskBxxq7UK7idTcHf1.");
// No tree's: one whose signs look like references to a script's identifiers and variables.
inline constexpr HiddenSecret referring_secret = secret_hide("z4K%dY/s7<gP:w2Rn9.Jb6_Fc3+Xv8qL", "");
inline constexpr HiddenSecret servers_secret =
    secret_hide("i8Lg/aUn5-zRd3:Cy4.Xk6_Qs1+Tv7bW",
                "{CRYPT}$y$j7T$Qq3hM8nT5vXc2bJr9wLd1/$.bSxqBvGFTznYg/Bj1nkdMj8R0m/B06kFfo71WLoMV8");

#endif
