#pragma once

#include "system/process.h"
#include "system/simulator.h"

#include <string>
#include <vector>

namespace test {

/** A command of the tool as the sweeps run it; a leading @ in an argument names a file. */
struct SweptCommand {
    std::string name;
    std::vector<Arguments> before; // commands that make it possible
    Arguments arguments;
    bool asksServer = true;
};

/** Each command once, and what else goes other ways inside. */
std::vector<SweptCommand> sweptCommands();

/** A server, and a folder with the files that the commands name. */
class Workplace {
  public:
    explicit Workplace(const std::string &tool, const Arguments &server = {});

    [[nodiscard]] const Simulator &simulator() const { return simulator_; }
    [[nodiscard]] std::string path(const std::string &name) const { return folder_.path(name); }
    [[nodiscard]] std::vector<std::string> names() const { return folder_.names(); }
    /** The command line, with the files in their places; `uri` stands for the server's. */
    [[nodiscard]] Arguments line(const Arguments &arguments, const std::string &uri = {}) const;
    [[nodiscard]] Result run(const Arguments &arguments) const;
    void prepare(const SweptCommand &command) const;

  private:
    const std::string &tool_;
    TemporaryFolder folder_;
    Simulator simulator_;
};

} // namespace test
