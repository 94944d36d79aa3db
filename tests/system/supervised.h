#pragma once

#include "system/process.h"

#include <functional>
#include <string>

namespace test {

/** Which system calls of a process are watched. */
enum class Watched {
    Files,     // that write, name and close files in a folder
    Everything // that read, write, wait, connect, open and close, from the start of main on
};

/** What happens at one of the watched calls. */
struct Trouble {
    Watched watched = Watched::Files;
    std::string folder;   // of Files: calls that have to do with it
    std::size_t call = 0; // the one that it happens at, from 1; 0: at none
    int error = 0;        // the call fails with that
    int signal = 0;       // or the process gets this signal
    bool after = false;   // the signal, when the call has begun
    bool givesUp = false; // the call, which would go on to its end, for the signal
};

/** What the process has for standard output and error, what it may write, and where it stands. */
struct Setting {
    enum class Stream { Pipe, ClosedPipe, Closed, Full, Terminal };
    Stream out = Stream::Pipe, err = Stream::Pipe;
    long mostBytes = -1; // of a file
    std::map<std::string, std::string> environment = {};
    std::string directory = {};
};

/** How a supervised process ended. */
struct Outcome {
    Result result;
    std::size_t calls = 0; // watched ones
    bool struck = false;   // there was such a call, or with a signal: it came to rest before
    std::string call;      // where it was struck
    bool second = false;   // it took a second signal
    bool late = false;     // and did not end then either, so that it was killed
    double seconds = 0;    // from the blow to the end
    bool echoes = true;    // the terminal, afterwards
};

/**
 * Runs a program with trouble at one of its system calls, which the kernel reports to this process
 * before it carries them out (seccomp). So each place is tried, whichever library calls there.
 */
Outcome runSupervised(const std::string &program, const Arguments &arguments,
                      const Setting &setting, const Trouble &trouble);

} // namespace test
