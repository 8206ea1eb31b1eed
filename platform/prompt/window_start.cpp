#include "platform/prompt/window_start.h"

#include <fcntl.h>
#include <spawn.h>
#include <unistd.h>
#include <csignal>
#include <vector>

#include "platform/prompt/window_environment.h"

namespace {

class SpawnSettings {
  public:
    explicit SpawnSettings(int conversation) {
        posix_spawn_file_actions_init(&actions_);
        posix_spawnattr_init(&attributes_);
        posix_spawn_file_actions_adddup2(&actions_, conversation, window_descriptor);
        for (int standard = STDIN_FILENO; standard <= STDERR_FILENO; ++standard)
            posix_spawn_file_actions_addopen(&actions_, standard, "/dev/null", O_RDWR, 0);
        posix_spawn_file_actions_addclosefrom_np(&actions_, window_descriptor + 1);
        posix_spawn_file_actions_addchdir_np(&actions_, "/");

        sigset_t none = {}, all = {};
        sigemptyset(&none);
        sigfillset(&all);
        posix_spawnattr_setsigmask(&attributes_, &none);
        posix_spawnattr_setsigdefault(&attributes_, &all);
        posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSID);
    }
    ~SpawnSettings() {
        posix_spawn_file_actions_destroy(&actions_);
        posix_spawnattr_destroy(&attributes_);
    }
    SpawnSettings(const SpawnSettings &) = delete;
    SpawnSettings &operator=(const SpawnSettings &) = delete;

    // An errno, or 0.
    int start(const std::string &path, pid_t *child) const {
        std::vector<std::string> variables = window_environment();
        std::vector<char *> environment;
        environment.reserve(variables.size() + 1);
        for (std::string &variable : variables) environment.push_back(variable.data());
        environment.push_back(nullptr);
        std::string name = path;
        char *arguments[] = {name.data(), nullptr};
        return posix_spawn(child, path.c_str(), &actions_, &attributes_, arguments, environment.data());
    }

  private:
    posix_spawn_file_actions_t actions_;
    posix_spawnattr_t attributes_;
};

} // namespace

int window_spawn(const std::string &path, int conversation, pid_t *child) {
    return SpawnSettings(conversation).start(path, child);
}
