#include "reference/reference.h"

#include "text.h"

#include <fmt/format.h>

namespace qldapx {
namespace {

/** Builds a help text of at most 80 columns. */
class HelpWriter {
  public:
    explicit HelpWriter(const Style &style) : style_(style) {}

    void paragraph(const std::string &text, std::size_t indent = 0) {
        for (const std::string &line : wrapped(text, screenWidth - indent))
            text_ += std::string(indent, ' ') + line + "\n";
    }
    void heading(const std::string &text) { text_ += "\n" + style_.bold(text) + "\n"; }
    void item(const std::string &term, const std::string &description);
    void example(const std::string &command);
    [[nodiscard]] const std::string &text() const { return text_; }

  private:
    static constexpr std::size_t termWidth = 22;
    const Style &style_;
    std::string text_;
};

void HelpWriter::item(const std::string &term, const std::string &description) {
    const std::string margin(termWidth + 2, ' ');
    std::string line = "  " + term;
    if (line.size() + 2 > margin.size())
        text_ += line + "\n", line.clear();
    for (const std::string &part : wrapped(description, screenWidth - margin.size())) {
        line.resize(margin.size(), ' ');
        text_ += line;
        text_ += part;
        text_ += '\n';
        line.clear();
    }
}

void HelpWriter::example(const std::string &command) {
    for (const std::string &line : exampleLines(command, screenWidth - 2))
        text_ += "  " + line + "\n";
}

/** What a group does, and the names of its commands. */
std::string summary(const CommandText &command) {
    std::string text = command.description;
    const char *separator = ": ";
    for (const CommandText &sub : command.commands) {
        text += separator + sub.name.substr(command.name.size() + 1);
        separator = ", ";
    }
    return text;
}

void writeItems(HelpWriter &help, const CommandText &command) {
    if (!command.arguments.empty())
        help.heading("Arguments");
    for (const ArgumentText &argument : command.arguments)
        help.item(argument.name, argument.description);
    if (!command.commands.empty())
        help.heading("Commands");
    for (const CommandText &sub : command.commands)
        help.item(sub.name.substr(command.name.size() + 1), summary(sub));
}

void writeOptions(HelpWriter &help, const CommandText &command, bool ofConnection) {
    for (const OptionText &option : command.options)
        if (option.ofConnection == ofConnection)
            help.item(optionSyntax(option), option.description);
}

} // namespace

std::string helpText(const CLI::App &app, const Style &style) {
    const CommandText command = describe(app);
    const bool isRoot = app.get_parent() == nullptr;
    HelpWriter help(style);
    help.paragraph("Usage: " + usageLine(command));
    help.paragraph(command.description + ".");
    writeItems(help, command);
    if (isRoot) {
        help.heading("Connection, before or after the command");
        writeOptions(help, command, true);
    }
    help.heading("Options");
    writeOptions(help, command, false);
    if (!isRoot)
        help.paragraph("and those of the connection, and --json: see qldapx --help", 2);
    help.heading(fmt::format("Example{}, {}", command.examples.size() > 1 ? "s" : "", exampleNote));
    for (const std::string &example : command.examples)
        help.example(example);
    if (isRoot) {
        help.heading("Exit status");
        help.paragraph(exitStatusNote, 2);
        help.heading("JSON");
        help.paragraph(jsonNote, 2);
    }
    return help.text();
}

} // namespace qldapx
