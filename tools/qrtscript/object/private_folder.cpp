#include "tools/qrtscript/object/private_folder.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <system_error>

#include "platform/catalogue.h"
#include "platform/common/opened.h"
#include "platform/common/write_all.h"
#include "platform/terminal_text.h"
#include "tools/qrtlogin/failure.h"
#include "tools/qrtscript/object/line_end.h"
#include "tools/qrtscript/object/options.h"

static constexpr size_t text_limit = size_t{16} << 20; // of a script
static constexpr int ending_signals[] = {SIGINT, SIGTERM, SIGHUP};

// What the handler of an ending signal may use: prepared before, since it can make hardly any call.
static char folder_to_remove[4096];
static char files_to_remove[16][4096];
static volatile sig_atomic_t files_count = 0;
static char last_words[8192];

static void end_by(int number) {
    [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, last_words, strlen(last_words));
    if (last_words[0] == '\0') {
        for (int i = 0; i < files_count; i++) unlink(files_to_remove[i]);
        rmdir(folder_to_remove);
    }
    signal(number, SIG_DFL);
    raise(number);
}

static void handle_endings(sighandler_t handler) {
    for (const int number : ending_signals) {
        struct sigaction before = {};
        sigaction(number, nullptr, &before);
        if (before.sa_handler == SIG_IGN) continue;
        struct sigaction action = {};
        action.sa_handler = handler;
        sigfillset(&action.sa_mask);
        sigaction(number, &action, nullptr);
    }
}

static Failure cannot_write(const std::string &path) {
    return Failure(exit_not_created, catalogue_format("cannot write %1$s: %2$s", path.c_str(), strerror(errno)));
}

PrivateFolder::PrivateFolder() {
    const char *top = getenv("TMPDIR");
    path_ = std::string(top != nullptr && *top == '/' ? top : "/tmp") + "/qrtscript-XXXXXX";
    if (path_.size() + 300 > sizeof folder_to_remove) path_ = "/tmp/qrtscript-XXXXXX";
    if (mkdtemp(path_.data()) == nullptr) throw cannot_write(path_);
    files_count = 0;
    last_words[0] = '\0';
    strncpy(folder_to_remove, path_.c_str(), sizeof folder_to_remove - 1);
    handle_endings(end_by);
}

PrivateFolder::~PrivateFolder() {
    handle_endings(SIG_DFL);
    std::error_code ignored;
    if (!kept_) std::filesystem::remove_all(path_, ignored);
}

std::string PrivateFolder::write(const std::string &name, std::string_view text) const {
    const std::string file = path(name);
    bool isKnown = false;
    for (int i = 0; i < files_count; i++) isKnown = isKnown || file == files_to_remove[i];
    if (!isKnown && files_count < static_cast<int>(std::size(files_to_remove))) {
        strncpy(files_to_remove[files_count], file.c_str(), sizeof files_to_remove[0] - 1);
        files_count = files_count + 1;
    }
    const Opened made(open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600));
    if (!made.isOpen() || !write_all(made.number(), text)) throw cannot_write(file);
    return file;
}

void PrivateFolder::remove(const std::string &name) const {
    unlink(path(name).c_str());
}

bool PrivateFolder::hasOthers(const std::string &name) const {
    std::error_code problem;
    for (const auto &item : std::filesystem::directory_iterator(path_, problem))
        if (item.path().filename() != name) return true;
    return bool(problem);
}

void PrivateFolder::keep(const std::string &file) {
    kept_ = !file.empty();
    if (kept_) {
        snprintf(last_words, sizeof last_words, "\n%s\n",
                 catalogue_format("The text is kept in %s.", terminal_text(file).c_str()).c_str());
    } else {
        last_words[0] = '\0';
    }
}

std::string text_of_file(const std::string &path) {
    const bool isInput = path == "-";
    const auto refuse = [&](const char *why) {
        return Failure(
            exit_no_script,
            catalogue_format("cannot read %1$s: %2$s", isInput ? catalogue_text("standard input") : path.c_str(), why));
    };
    const Opened opened(isInput ? -1 : open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
    if (!isInput && !opened.isOpen()) throw refuse(strerror(errno));
    const int descriptor = isInput ? STDIN_FILENO : opened.number();
    std::string text;
    char part[65536];
    for (;;) {
        const ssize_t got = TEMP_FAILURE_RETRY(read(descriptor, part, sizeof part));
        if (got < 0) throw refuse(strerror(errno));
        if (got == 0) return text_with_line_end(std::move(text));
        text.append(part, static_cast<size_t>(got));
        if (text.size() > text_limit) throw refuse(catalogue_text("the script is larger than 16 MiB"));
    }
}

std::string file_name_of(const std::string &object) {
    constexpr size_t longest = 200;
    std::string name;
    for (const char c : object.substr(0, longest)) {
        const bool isPlain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
                             c == '_' || (c == '.' && !name.empty());
        name += isPlain ? c : '_';
    }
    return name + ".qrt";
}
