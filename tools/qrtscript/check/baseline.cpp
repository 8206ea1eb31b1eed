#include "tools/qrtscript/check/baseline.h"

#include <filesystem>
#include <nlohmann/json.hpp>

#include "platform/catalogue.h"
#include "tools/qrtscript/check/location.h"

namespace fs = std::filesystem;
using Json = nlohmann::ordered_json;

constexpr int baseline_version = 1;

// A file's name without what depends on the current folder; the name itself when its folder is not there.
static fs::path real_path(const std::string &name) {
    const fs::path path(name);
    std::error_code error;
    const fs::path folder = fs::canonical(path.has_parent_path() ? path.parent_path() : ".", error);
    return error ? path : folder / path.filename();
}

Baseline::Baseline(const std::string &path) : folder_(real_path(path).parent_path().string()) {}

std::string Baseline::scriptName(const std::string &name) const {
    // Standard input and objects have names of their own.
    std::error_code error;
    const bool isFile = name != "-" && fs::exists(name, error);
    return utf8_text(isFile ? real_path(name).lexically_relative(folder_).string() : name);
}

Baseline::Key Baseline::key(const std::string &script, const Lines &lines, const Finding &finding) {
    std::string_view line = line_for_report(lines, lines.line(finding.place));
    line.remove_prefix(std::min(line.find_first_not_of(" \t"), line.size()));
    line = line.substr(0, line.find_last_not_of(" \t") + 1);
    return {script, finding.code->name, utf8_text(line)};
}

static std::string member_text(const Json &entry, const char *name) {
    const auto found = entry.find(name);
    if (found == entry.end() || !found->is_string())
        throw BaselineError(catalogue_format("\"%s\" is missing or not a string", name));
    return found->get<std::string>();
}

void Baseline::read(std::string_view json) {
    const Json all = Json::parse(json, nullptr, false);
    if (all.is_discarded()) throw BaselineError(catalogue_text("not valid JSON"));
    const bool hasVersion = all.is_object() && all.contains("version") && all["version"].is_number_integer();
    if (!hasVersion || !all.contains("findings") || !all["findings"].is_array())
        throw BaselineError(catalogue_text("not a baseline"));
    if (all["version"] != baseline_version)
        throw BaselineError(catalogue_format("unknown version: %s", all["version"].dump().c_str()));
    for (const Json &entry : all["findings"]) {
        if (!entry.is_object()) throw BaselineError(catalogue_text("not a baseline"));
        const auto number = entry.find("count");
        if (number == entry.end() || !number->is_number_unsigned())
            throw BaselineError(catalogue_text("\"count\" is missing or not a number"));
        counts_[{member_text(entry, "script"), member_text(entry, "code"), member_text(entry, "line")}] +=
            number->get<size_t>();
    }
}

std::string Baseline::json() const {
    Json all = {{"version", baseline_version}, {"findings", Json::array()}};
    for (const auto &[known, number] : counts_)
        all["findings"].push_back({{"script", std::get<0>(known)},
                                   {"code", std::get<1>(known)},
                                   {"line", std::get<2>(known)},
                                   {"count", number}});
    return all.dump(2, ' ', true, Json::error_handler_t::replace) + "\n";
}

void Baseline::add(const CheckedScript &script) {
    const Lines lines(script.shown);
    const std::string name = scriptName(script.name);
    for (const Finding &finding : script.findings) ++counts_[key(name, lines, finding)];
}

void Baseline::hide(CheckedScript *script) const {
    const Lines lines(script->shown);
    const std::string name = scriptName(script->name);
    std::map<Key, size_t> left; // of what is known
    Findings unknown;
    for (Finding &finding : script->findings) {
        const Key known = key(name, lines, finding);
        const auto found = counts_.find(known);
        size_t &more = left.emplace(known, found == counts_.end() ? 0 : found->second).first->second;
        if (more > 0)
            --more;
        else
            unknown.push_back(std::move(finding));
    }
    script->findings = std::move(unknown);
}

size_t Baseline::count() const {
    size_t sum = 0;
    for (const auto &[known, number] : counts_) sum += number;
    return sum;
}
