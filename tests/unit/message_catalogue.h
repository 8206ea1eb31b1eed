// Writes a compiled message catalogue, for tests of translated messages.
#ifndef MESSAGE_CATALOGUE_H
#define MESSAGE_CATALOGUE_H

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

// folder "/" language "/LC_MESSAGES/" domain ".mo". The layout is a header of seven numbers, the tables of lengths and
// offsets of the originals and of the translations, then the texts with their NULs; originals are in order.
inline void message_catalogue_write(const std::string &folder, const std::string &language, const std::string &domain,
                                    const std::map<std::string, std::string> &translations) {
    std::string tables[2];
    std::string texts;
    const auto count = static_cast<uint32_t>(translations.size());
    const uint32_t header = 28;
    const auto number = [](uint32_t value) {
        return std::string(reinterpret_cast<const char *>(&value), sizeof value);
    };
    const auto add = [&](std::string &table, const std::string &text) {
        table += number(static_cast<uint32_t>(text.size()));
        table += number(header + 16 * count + static_cast<uint32_t>(texts.size()));
        texts += text + '\0';
    };
    for (const auto &[original, translation] : translations) {
        add(tables[0], original);
        add(tables[1], translation);
    }
    const std::string place = folder + "/" + language + "/LC_MESSAGES";
    std::filesystem::create_directories(place);
    std::ofstream(place + "/" + domain + ".mo", std::ios::binary)
        << number(0x950412de) << number(0) << number(count) << number(header) << number(header + 8 * count) << number(0)
        << number(0) << tables[0] << tables[1] << texts;
}

#endif
