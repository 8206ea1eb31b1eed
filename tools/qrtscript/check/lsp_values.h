// The values that a chosen user's login would see, for help in an editor. `qrtscript plan` finds them out, for one name
// after the other, in a process that is ended when the directory takes too long. Nobody waits for it: who has asked is
// called by advance().
#ifndef TOOLS_QRTSCRIPT_CHECK_LSP_VALUES_H
#define TOOLS_QRTSCRIPT_CHECK_LSP_VALUES_H

#include <sys/types.h>
#include <chrono>
#include <deque>
#include <functional>
#include <optional>
#include <string>

#include "platform/common/opened.h"
#include "platform/common/secret.h"

// Whose values, as `qrtscript plan` takes it; none without a user.
struct LspUser {
    std::string user, tree, context;
};

class LspValues {
  public:
    // What is to be told of a value: a sentence in Markdown; empty when nobody asks for it any more.
    using Taker = std::function<void(const std::string &sentence)>;

    LspValues() = default;
    ~LspValues() { end(); }
    LspValues(const LspValues &) = delete;
    LspValues &operator=(const LspValues &) = delete;

    // By whom the directory is read; nobody unless this is called. The password may be empty.
    void readAs(std::string name, Secret password);
    // From now on; what has been asked for is not answered any more.
    void choose(LspUser user);
    const LspUser &chosen() const { return user_; }
    // The name as it can be asked for, of an identifier or an attribute; empty when there is no user, or no value that
    // is the user's own.
    std::string askable(std::string name) const;

    // `key` is for cancel(). The taker may be called at once.
    void ask(const std::string &key, const std::string &name, Taker taker);
    // Returns false when there is no such question.
    bool cancel(const std::string &key);
    // Answers all questions with nothing.
    void cancelAll();

    // What to poll for reading, and how many milliseconds to wait for at most; -1 for neither.
    int descriptor() const { return output_.number(); }
    int milliseconds() const;
    // Takes what there is by now. Never waits.
    void advance();

  private:
    using Clock = std::chrono::steady_clock;
    struct Question {
        std::string key, name; // cppcheck-suppress unusedStructMember
        Taker taker;
    };

    std::string start(const std::string &name);
    void next();
    void answer(const std::string &sentence);
    bool readOutput();
    std::string sentence() const;
    std::string complaint() const;
    std::string unknown(const std::string &why) const;
    void end();

    LspUser user_;
    std::string as_;
    Secret password_;
    std::deque<Question> questions_; // the first one's process runs
    pid_t program_ = -1;
    Opened output_{-1}, errors_{-1};
    std::string text_;
    Clock::time_point deadline_;
    std::optional<Clock::time_point> silentUntil_; // the directory has not answered, and is not asked again before
};

// A text from elsewhere as Markdown that shows it.
std::string lsp_code(std::string text);

#endif
