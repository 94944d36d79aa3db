// model_entropy.h - what the pool gathers its start-up entropy from, foretold: linking this
// replaces srand, rand and the rest for the whole program.
#pragma once

#include <cstddef>
#include <vector>

namespace qldapx_test::pool_model {

// The results of rand that one gathering mixes in; what stands for the clock and rand goes on as if
// the gathering had taken place.
class Entropy {
  public:
    std::vector<int> gather();
    // Makes the clock of the program run as this one does.
    static void restartClock();

  private:
    long readings_ = 0;
};

// What the process id is, and which byte getrandom gives; how many bytes it has been asked for.
struct Chance {
    int pid = 0x12345;
    unsigned char byte = 'c';
    std::size_t asked = 0;
};
Chance &chance();

// How often each of the functions has been called in the program.
struct Calls {
    int pid = 0, user = 0, parent = 0, pageSize = 0, clock = 0, seeds = 0, numbers = 0;
};
const Calls &callsSoFar();

} // namespace qldapx_test::pool_model
