// Volumes' sources and mount options: whatever the text, what is taken can be an argument of a mount program and adds
// no option to it.
//
//     input ::= source LF options LF host
#include "platform/common/volume_source.h"

#include "platform/common/location.h"
#include "tests/fuzz/fuzz.h"

static void check_source(const VolumeSource &source, std::string_view text) {
    const bool local = source.kind == VolumeSource::Kind::local;
    FUZZ_CHECK(text.size() <= volume_source_limit && !source.path.empty());
    FUZZ_CHECK(local == source.host.empty());
    FUZZ_CHECK(local || volume_host_is_valid(source.host));
    FUZZ_CHECK(source.host.find_first_of(",/ %\\\"") == std::string::npos);
    FUZZ_CHECK(local || volume_host_is_listed({source.host}, source.host));
    FUZZ_CHECK((source.path[0] == '/') == (source.kind != VolumeSource::Kind::smb));
    if (source.kind == VolumeSource::Kind::smb) FUZZ_CHECK(source.path.find(',') == std::string::npos);
    const std::optional<std::vector<std::string>> folders = path_folders(source.path);
    std::string again;
    for (const std::string &folder : *folders) {
        FUZZ_CHECK(is_folder_name(folder));
        again += (again.empty() && source.kind == VolumeSource::Kind::smb ? "" : "/") + folder;
    }
    FUZZ_CHECK(again == source.path || source.path == "/");
}

static void check_options(VolumeSource::Kind kind, std::string_view text) {
    std::string why;
    const std::optional<std::vector<std::string>> options = volume_options_parse(kind, text, &why);
    FUZZ_CHECK(options.has_value() == why.empty());
    if (!options) return;
    std::string again;
    for (const std::string &option : *options) {
        FUZZ_CHECK(option != "suid" && option != "dev" && option.find_first_of(", \n\\\"/") == std::string::npos);
        again += (again.empty() ? "" : ",") + option;
    }
    FUZZ_CHECK(again == text);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::string_view rest = fuzz_view(data, size);
    const std::string_view text = fuzz_take(rest, '\n');
    const std::string_view options = fuzz_take(rest, '\n');
    std::string why;
    const std::optional<VolumeSource> source = volume_source_parse(text, &why);
    FUZZ_CHECK(source.has_value() == why.empty());
    if (source) check_source(*source, text);
    for (VolumeSource::Kind kind : {VolumeSource::Kind::smb, VolumeSource::Kind::nfs, VolumeSource::Kind::local})
        check_options(kind, options);
    if (volume_host_is_listed({std::string(rest)}, rest)) FUZZ_CHECK(volume_host_is_valid(rest));
    return 0;
}
