// A test program starts with its signals as a terminal's shell hands them to a program, whatever it was given itself:
// in the background of a script interrupts are ignored, and a runner may hold signals back. Only hangups stay as they
// are, since some tests are after a login under nohup. And it starts without a display: prompts would open windows on
// that of whoever runs the tests.
#include <csignal>
#include <cstdlib>

[[maybe_unused]] static const bool usual_signals = [] {
    for (int number = 1; number < NSIG; ++number)
        if (number != SIGHUP) signal(number, SIG_DFL);
    unsetenv("DISPLAY");
    unsetenv("WAYLAND_DISPLAY");
    sigset_t none;
    sigemptyset(&none);
    return sigprocmask(SIG_SETMASK, &none, nullptr) == 0;
}();
