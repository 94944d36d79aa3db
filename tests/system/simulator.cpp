#include "system/simulator.h"

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <stdexcept>
#include <unistd.h>

namespace test {
namespace {

Arguments withDefaults(const Arguments &options, const std::string &readyFile) {
    Arguments all = {"--ready-file", readyFile};
    if (std::find(options.begin(), options.end(), "--listen") == options.end())
        all.insert(all.end(), {"--listen", "127.0.0.1:0"});
    all.insert(all.end(), options.begin(), options.end());
    return all;
}

std::string waitForUri(const std::string &readyFile) {
    constexpr int attempts = 3000;
    for (int i = 0; i < attempts && !std::filesystem::exists(readyFile); ++i)
        usleep(10000);
    std::string uri = readFile(readyFile);
    if (uri.empty())
        throw std::runtime_error("strata-sim does not start");
    uri.pop_back();
    return uri;
}

} // namespace

Simulator::Simulator(const Arguments &options)
    : process_(STRATA_SIM_PATH, withDefaults(options, folder_.path("uri"))),
      uri_(waitForUri(folder_.path("uri"))) {}

Simulator::~Simulator() {
    process_.signal(SIGTERM);
    process_.wait();
}

Result Simulator::run(const Arguments &arguments) const {
    return runTool(arguments, {{{"LDAPURI", uri_}}, {}, {}});
}

void Simulator::change(const std::string &ldif) const {
    const Result result = runShell(
        "ldapmodify -x -H \"$URI\" -D \"$DN\" -w \"$PASSWORD\" <<<\"$LDIF\"",
        {{{"URI", uri_}, {"DN", adminDn}, {"PASSWORD", adminPassword}, {"LDIF", ldif}}, {}, {}});
    if (result.status != 0)
        throw std::runtime_error("ldapmodify: " + result.err);
}

Arguments Simulator::asAdministrator(const Arguments &arguments) const {
    Arguments all = {"-H", uri_, "-D", adminDn, "-w", adminPassword};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return all;
}

Result Simulator::administer(const Arguments &arguments) const {
    return runTool(asAdministrator(arguments));
}

} // namespace test
