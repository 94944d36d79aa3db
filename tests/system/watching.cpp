#include "system/watching.h"

#include <sstream>

namespace test {
namespace {

Arguments withShell(const Arguments &arguments) {
    Arguments all = {"--norc", "--noprofile", "-c", "exec \"$0\" events watch \"$@\" 2>\"$ERR\"",
                     QLDAPX_PATH};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return all;
}

} // namespace

Watching::Watching(const Arguments &arguments)
    : process_("/bin/bash", withShell(arguments), {{{"ERR", err_}}, out_, {}}) {}

bool Watching::prints(const std::string &text) const {
    return soon([&] { return printed().find(text) != std::string::npos; });
}

bool Watching::says(const std::string &text) const {
    return soon([&] { return said().find(text) != std::string::npos; });
}

std::vector<Json> Watching::jsonLines(const std::string &text) {
    std::vector<Json> all;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        all.push_back(Json::parse(line));
    return all;
}

} // namespace test
