#pragma once

#include "command.h"

#include <set>
#include <string>
#include <vector>

namespace qldapx {

/** The options that go before or after any command. */
void addConnectionOptions(CLI::App &root, Tool &tool);

/** The names of all options, of all commands, that take a value. */
std::set<std::string> optionsWithValue(const CLI::App &app);

/**
 * Parses. Throws UsageError, or CLI::CallForHelp and CLI::CallForVersion. Afterwards the command
 * is complete: no group, nothing left over, no two passwords.
 */
void parse(CLI::App &root, Tool &tool, std::vector<std::string> arguments);

/** Whether errors are to be JSON, before or without a successful parse. */
bool asksForJson(const std::vector<std::string> &arguments);

} // namespace qldapx
