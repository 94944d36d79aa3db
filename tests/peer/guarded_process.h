// guarded_process.h - a program that ends, with everything it left behind, when the test ends:
// also when the test crashes or is killed together with its children.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace test {

class GuardedProcess {
  public:
    // Starts the program, arguments[0]. Once it has ended, or the test has, cleanUp runs in
    // another process.
    GuardedProcess(const std::vector<std::string> &arguments, const std::function<void()> &cleanUp);
    // Ends the program and waits until cleanUp is done.
    ~GuardedProcess();
    GuardedProcess(const GuardedProcess &) = delete;
    GuardedProcess &operator=(const GuardedProcess &) = delete;

    // Whether the program ended by itself within the time.
    [[nodiscard]] bool endedWithin(int milliseconds) const;

  private:
    int lifeline_ = -1;
};

} // namespace test
