// Shows what the scripts write while they run. The library's output, its traces, the output of the programs that
// scripts start and, where standard error is the same file as standard output, their error output all go through one
// pipe, so that they appear in the order in which they were written. A process of its own (relay_process.h) copies the
// pipe to standard output.
//
//     OutputRelay relay;          before anything secret is in memory
//     qrt_init(nullptr, nullptr);
//     relay.begin();
//     qrt_RunScripts(&args);      or qrt_exit()
//     relay.end();
#ifndef TOOLS_QRTLOGIN_OUTPUT_RELAY_H
#define TOOLS_QRTLOGIN_OUTPUT_RELAY_H

// The exit status of a process that an interrupt ends (BREAK ON): 0, unless the program sets another one.
extern int output_relay_interrupted;

// One at a time.
class OutputRelay {
  public:
    // Starts the process, which is a copy of this one and may live for long. What is standard output and standard error
    // now is what scripts write to. The window on the socket `window`, if there is one, is shown the same. Throws
    // Failure.
    explicit OutputRelay(int window = -1);
    ~OutputRelay();
    OutputRelay(const OutputRelay &) = delete;
    OutputRelay &operator=(const OutputRelay &) = delete;

    // After qrt_init with a pipe, which is replaced by the relay's. Takes over the library's interrupt handler: an
    // interrupt that ends the process wipes the library's password first, and waits until everything has been shown.
    // The library's stream may be replaced by another one from then on.
    void begin();
    // After qrt_exit: waits until all of it has been shown, and puts the standard descriptors back. What programs that
    // are still running write from here on is shown as it comes. Returns 0, or the errno of the first write that
    // failed.
    int end();

    // Waits until everything that has been written so far has been shown.
    static void catchUp();

    // For an end of the process during the run: waits until everything has been shown, and ends a line that is open.
    // This and catchUp make only calls that are safe in a signal handler.
    static void showAll();

  private:
    // A standard descriptor as it was before the run.
    struct Kept {
        int copy = -1;
        int flags = 0;
    };
    static Kept keep(int descriptor);
    static void restore(const Kept &kept, int descriptor);

    int pipe_ = -1; // the write end, until the run begins
    bool joinErrors_ = false;
    Kept output_, errors_;
};

// Whether both lead to the same file, device, pipe or socket; a terminal is the same under each of its names.
bool output_is_same_file(int first, int second);

#endif
