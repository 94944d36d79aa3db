#pragma once

#include <string>

namespace qldapx {

/** A result code and what is known about how it came about. */
struct Outcome {
    int code;
    bool answered; // the server answered success: the refusal is the library's
    bool opening;  // the session was not yet bound: nothing was asked for
    std::string uri;
    int timeout; // seconds
};

/** What a result code means, where its name says too little, and what to try. */
struct Words {
    std::string reason;
    std::string hint;
};

Words explain(const Outcome &outcome);

} // namespace qldapx
