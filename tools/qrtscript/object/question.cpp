#include "tools/qrtscript/object/question.h"

#include <fcntl.h>
#include <unistd.h>
#include <cstdio>
#include <utility>

#include "platform/catalogue.h"
#include "platform/common/opened.h"
#include "platform/terminal_text.h"
#include "platform/treelogin.h"
#include "tools/qrtlogin/failure.h"

static constexpr int confirm_yes = 4;

bool question_can_be_asked() {
    return Opened(open("/dev/tty", O_RDWR | O_CLOEXEC)).isOpen();
}

bool question_ask(const std::string &text) {
    if (!question_can_be_asked())
        throw Failure(exit_usage, catalogue_text("there is no terminal to ask on: --yes writes without a question"));
    fflush(stdout);
    return auxconfirm_g(terminal_text(text).c_str(), "question", 0, 0) == confirm_yes;
}

Progress::Progress(std::string what, size_t all)
    : what_(std::move(what)), all_(all), isShown_(isatty(STDERR_FILENO) != 0) {}

void Progress::step() {
    done_++;
    if (isShown_) fprintf(stderr, "\r%s: %zu/%zu\033[K", what_.c_str(), done_, all_);
}

void Progress::clear() {
    if (isShown_ && done_ > 0) fputs("\r\033[K", stderr);
}

Progress::~Progress() {
    clear();
}
