// Files that may be on a mount whose server is dead. Whoever asks for one waits in the kernel, and nothing ends that
// but the end of the process, so that each request runs on a thread of its own, which is left to itself when there is
// no answer within the limit.
//
// Such a thread may go on at any time, beside scripts that set variables: what it runs reads no environment, which is
// why it translates nothing and fails with a FileTrouble, and owns all that it uses.
#ifndef PLATFORM_CLIENT_CORE_FILE_ACCESS_H
#define PLATFORM_CLIENT_CORE_FILE_ACCESS_H

#include <atomic>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "platform/client/core/bounded.h"
#include "platform/client/core/descriptor.h"

// What is wrong with a file; the sentence is made by whoever reports it.
struct FileTrouble {
    enum class Kind { unopened, unread, unmade, refused };
    Kind kind;
    std::string path;              // for messages; empty: they say "the file"
    int error = 0;                 // of errno
    const char *message = nullptr; // for the catalogue, of what is refused
};

std::string file_trouble_text(const FileTrouble &trouble);

// The parts of a request that have been answered: while there are more and more, the server is not dead.
using FileSteps = std::atomic<size_t>;

// Reads the whole of a regular file of at most `limit` bytes. Throws FileTrouble, with that path.
std::string file_read(const Descriptor &file, size_t limit, const std::string &path, FileSteps *steps);

class FileAccess {
  public:
    // In seconds for the next step; 0: the work runs on the caller's thread, as long as it takes.
    explicit FileAccess(double limit) : limit_(limit) {}

    // What the work returns or throws. When it is not done in time, that is FileTrouble, ETIMEDOUT, with that path; so
    // is every further request until it is done, at once. Without a thread there is no limit.
    template <typename Result>
    Result run(const std::string &path, std::function<Result(FileSteps *)> work);

  private:
    template <typename Result>
    struct Answer {
        FileSteps steps{0};
        std::optional<Result> result;
        std::exception_ptr failure;
    };

    void await(const std::string &path, const FileSteps &steps, const std::function<void()> &work);

    double limit_;
    std::shared_ptr<const Bounded> silent_; // what was given up last
};

template <typename Result>
Result FileAccess::run(const std::string &path, std::function<Result(FileSteps *)> work) {
    auto answer = std::make_shared<Answer<Result>>();
    await(path, answer->steps, [answer, task = std::move(work)] {
        try {
            answer->result.emplace(task(&answer->steps));
        } catch (...) {
            answer->failure = std::current_exception();
        }
    });
    if (answer->failure != nullptr) std::rethrow_exception(answer->failure);
    return std::move(*answer->result);
}

#endif
