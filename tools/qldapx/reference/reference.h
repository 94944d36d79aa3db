#pragma once

#include "output.h"

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

// What the command line says about itself, read from its definition: help, manual page and
// completion are written from this and so cannot drift apart.
namespace qldapx {

struct OptionText {
    std::vector<std::string> names; // short ones first, with their dashes
    std::string value;              // what it takes, empty for a flag
    std::string description;
    bool required;
    bool ofConnection;
};

struct ArgumentText {
    std::string name;
    std::string description;
    bool required;
    bool repeatable;
};

struct CommandText {
    std::string name; // in full, such as "qldapx partition split"
    std::string description;
    std::vector<ArgumentText> arguments;
    std::vector<OptionText> options;
    std::vector<std::string> examples; // shell commands
    std::vector<CommandText> commands; // those that are not hidden
};

CommandText describe(const CLI::App &app);

/** The arguments and own options after a command's name. */
std::string usageLine(const CommandText &command);
/** Such as "-H URI" or "-h, --help". */
std::string optionSyntax(const OptionText &option);
/** A shell command in lines of at most that many columns, where it can be broken. */
std::vector<std::string> exampleLines(const std::string &command, std::size_t width);
/** Explanations of what all examples need, and of the exit status; the same in all texts. */
extern const char *const exampleNote;
extern const char *const exitStatusNote;
extern const char *const jsonNote;

std::string helpText(const CLI::App &app, const Style &style);
std::string bashCompletion(const CLI::App &root);
std::string manualPage(const CLI::App &root);

} // namespace qldapx
