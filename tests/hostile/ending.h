// ending.h - how a call ends: by returning, or where the process would end.
#pragma once

#include <functional>
#include <string>

namespace hostile {

struct Ending {
    enum class Kind {
        returned,
        // An assertion that the contract requires, and another one.
        assertion,
        otherAssertion,
        // The process' end with a message, otherwise.
        abort,
    };
    Kind kind = Kind::returned;
    // Where, and with which words.
    std::string place;
};

// Before the first call: takes over SIGABRT, and what is written to standard error while a call
// runs.
void prepareEndings();

// What a call that did not return has allocated and locked stays so.
Ending endingOf(const std::function<void()> &call);

// What the process says when it ends after all, by a signal or by a sanitizer.
void setEpitaph(const std::string &text);

} // namespace hostile
