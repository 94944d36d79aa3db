#include "reference/reference.h"

#include "command.h"
#include "text.h"

#include <algorithm>
#include <fmt/format.h>

namespace qldapx {

const char *const exampleNote = "with strata-sim running";
const char *const exitStatusNote =
    "0 done; 1 the server or the library refused, or the result could not be written; 2 the "
    "command line cannot be used as it stands; 130 ended by Ctrl-C; 141 nobody reads the output.";
const char *const jsonNote =
    "With --json the result is one JSON value on standard output, and an error one line on "
    "standard error: {\"error\": {...}} with operation, object, code, name, reason, diagnostic, "
    "matchedDN and hint.";

namespace {

OptionText describeOption(const CLI::Option &option) {
    OptionText text;
    for (const std::string &name : option.get_snames())
        text.names.push_back("-" + name);
    for (const std::string &name : option.get_lnames())
        text.names.push_back("--" + name);
    text.value = option.get_type_name();
    text.description = option.get_description();
    if (!option.get_default_str().empty())
        text.description += fmt::format(" (default {})", option.get_default_str());
    text.required = option.get_required();
    text.ofConnection = option.get_group() == "Connection";
    return text;
}

bool isHidden(const CLI::App &app) {
    return app.get_group().empty();
}

/** The words of a shell command, an option together with its value. */
std::vector<std::string> shellPieces(const std::string &command) {
    std::vector<std::string> pieces(1);
    bool quoted = false;
    for (const std::string &word : split(command, ' ')) {
        const bool isValue = pieces.back().starts_with('-') && !word.starts_with('-') &&
                             pieces.back().find(' ') == std::string::npos;
        if (quoted || isValue)
            pieces.back() += " " + word;
        else
            pieces.push_back(word);
        for (const char c : word)
            quoted = quoted != (c == '\'');
    }
    pieces.erase(pieces.begin());
    return pieces;
}

const std::string &firstExample(const std::vector<CommandText> &commands) {
    const CommandText &first = commands.front();
    return first.examples.empty() ? firstExample(first.commands) : first.examples.front();
}

} // namespace

CommandText describe(const CLI::App &app) {
    CommandText text;
    text.name = app.get_parent() == nullptr ? app.get_name() : "qldapx " + commandPath(app);
    text.description = app.get_description();
    for (const CLI::Option *option : app.get_options())
        if (option->get_positional())
            text.arguments.push_back({option->get_single_name(), option->get_description(),
                                      option->get_required(), option->get_expected_max() > 1});
        else
            text.options.push_back(describeOption(*option));
    for (const CLI::App *sub : app.get_subcommands(nullptr))
        if (!isHidden(*sub))
            text.commands.push_back(describe(*sub));
    if (!app.get_footer().empty())
        text.examples = split(app.get_footer(), '\n');
    else if (!text.commands.empty())
        text.examples = {firstExample(text.commands)};
    return text;
}

std::vector<std::string> exampleLines(const std::string &command, std::size_t width) {
    constexpr std::size_t backslash = 2;
    std::vector<std::string> lines;
    for (const std::string &piece : shellPieces(command)) {
        if (lines.empty()) {
            lines.push_back(piece);
        } else if (lines.back().size() + 1 + piece.size() + backslash > width) {
            lines.back() += " \\";
            lines.push_back("  " + piece);
        } else {
            lines.back() += " " + piece;
        }
    }
    return lines;
}

std::string optionSyntax(const OptionText &option) {
    std::string syntax;
    for (const std::string &name : option.names)
        syntax += (syntax.empty() ? "" : ", ") + name;
    return option.value.empty() ? syntax : syntax + " " + option.value;
}

std::string usageLine(const CommandText &command) {
    std::string line = command.name;
    if (!command.commands.empty())
        line += " COMMAND";
    for (const ArgumentText &argument : command.arguments) {
        const std::string name = argument.name + (argument.repeatable ? "..." : "");
        line += argument.required ? " " + name : " [" + name + "]";
    }
    for (const OptionText &option : command.options)
        if (option.required)
            line += " " + optionSyntax(option);
    return line + " [OPTION...]";
}

} // namespace qldapx
