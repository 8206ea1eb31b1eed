// The tables of the configuration file, read key by key.
#ifndef PLATFORM_CLIENT_CORE_CONFIG_TABLE_H
#define PLATFORM_CLIENT_CORE_CONFIG_TABLE_H

#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/catalogue.h"
#include "platform/client/core/errors.h"
#include "platform/client/core/toml.h"
#include "platform/common/nearest_name.h"

// One table of the file: reads its keys by type, and refuses unknown ones.
class ConfigTable {
  public:
    ConfigTable(const std::string &path, const toml::table &values) : file_(path), table_(values) {}

    [[noreturn]] void refuse(const toml::source_region &where, const std::string &why) const {
        throw DataError(file_ + ":" + std::to_string(where.begin.line) + ":" + std::to_string(where.begin.column) +
                        ": " + why);
    }

    [[noreturn]] void refuse(const char *key, const std::string &why) const {
        const toml::node *node = table_.get(key);
        refuse(node == nullptr ? table_.source() : node->source(), why);
    }

    std::string text(const char *key, const std::string &otherwise) {
        const toml::node *node = get(key);
        if (node == nullptr) return otherwise;
        return textOf(*node, key);
    }

    std::string required(const char *key, size_t limit) {
        std::string value = text(key, "");
        if (value.empty() || value.size() > limit)
            refuse(key, catalogue_format("%1$s is required and must have 1 to %2$zu bytes", key, limit));
        return value;
    }

    bool texts(const char *key, std::vector<std::string> *values) {
        const toml::node *node = get(key);
        if (node == nullptr) return false;
        if (!node->is_array()) refuse(node->source(), catalogue_format("%s must be a list of strings", key));
        for (const toml::node &element : *node->as_array()) values->push_back(textOf(element, key));
        return true;
    }

    bool flag(const char *key, bool otherwise) {
        const toml::node *node = get(key);
        if (node != nullptr && !node->is_boolean())
            refuse(node->source(), catalogue_format("%s must be true or false", key));
        return node == nullptr ? otherwise : node->as_boolean()->get();
    }

    // Seconds, with or without a fraction.
    double seconds(const char *key, double otherwise) {
        const toml::node *node = get(key);
        std::optional<double> value = node == nullptr ? otherwise : node->value<double>();
        if (!value || !(*value > 0 && *value <= 3600))
            refuse(key, catalogue_format("%s must be a number of seconds greater than 0 and at most 3600", key));
        return *value;
    }

    // Days, with or without a fraction; 0 for none.
    double daysOrNone(const char *key, double otherwise) {
        const toml::node *node = get(key);
        std::optional<double> value = node == nullptr ? otherwise : node->value<double>();
        if (!value || !(*value >= 0 && *value <= 3650))
            refuse(key, catalogue_format("%s must be a number of days from 0 to 3650", key));
        return *value;
    }

    // The same, and more than none.
    double days(const char *key, double otherwise) {
        const toml::node *node = get(key);
        std::optional<double> value = node == nullptr ? otherwise : node->value<double>();
        if (!value || !(*value > 0 && *value <= 3650))
            refuse(key, catalogue_format("%s must be a number of days greater than 0 and at most 3650", key));
        return *value;
    }

    // A table of texts.
    std::vector<std::pair<std::string, std::string>> pairs(const char *key) {
        std::vector<std::pair<std::string, std::string>> found;
        const toml::node *node = get(key);
        if (node != nullptr && !node->is_table())
            refuse(node->source(), catalogue_format("%s must be a table of strings", key));
        if (node != nullptr)
            for (auto &&[name, value] : *node->as_table())
                found.emplace_back(std::string(name.str()), textOf(value, key));
        return found;
    }

    bool has(const char *key) const { return table_.get(key) != nullptr; }

    template <typename Each>
    void tables(const char *key, Each each) {
        const toml::node *node = get(key);
        if (node == nullptr) return;
        if (!node->is_array_of_tables())
            refuse(node->source(), catalogue_format("%1$s must be written as [[%1$s]]", key));
        for (const toml::node &element : *node->as_array()) {
            ConfigTable one(file_, *element.as_table());
            each(one);
            one.checkAllKnown();
        }
    }

    template <typename Each>
    void section(const char *key, Each each) {
        const toml::node *node = get(key);
        if (node == nullptr) return;
        if (!node->is_table()) refuse(node->source(), catalogue_format("%1$s must be written as [%1$s]", key));
        ConfigTable one(file_, *node->as_table());
        each(one);
        one.checkAllKnown();
    }

    void checkAllKnown() const {
        for (auto &&[key, node] : table_)
            if (known_.count(std::string(key.str())) == 0) refuse(key.source(), unknown(std::string(key.str())));
    }

  private:
    std::string unknown(const std::string &key) const {
        const std::string near(nearest_name(key, {known_.begin(), known_.end()}));
        if (near.empty()) return catalogue_format("unknown key %s", key.c_str());
        return catalogue_format("unknown key %1$s; did you mean %2$s?", key.c_str(), near.c_str());
    }

    const toml::node *get(const char *key) {
        known_.insert(key);
        return table_.get(key);
    }

    std::string textOf(const toml::node &node, const char *key) const {
        if (!node.is_string()) refuse(node.source(), catalogue_format("%s must be a string", key));
        const std::string &value = node.as_string()->get();
        if (value.find('\0') != std::string::npos)
            refuse(node.source(), catalogue_format("%s contains a NUL byte", key));
        return value;
    }

    const std::string &file_;
    const toml::table &table_;
    std::set<std::string> known_;
};

#endif
