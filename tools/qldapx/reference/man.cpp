#include "reference/reference.h"

#include <fmt/format.h>
#include <qldapx.h>

namespace qldapx {
namespace {

/** Text that troff shows as it stands. */
std::string escaped(const std::string &text) {
    std::string result;
    for (const char c : text)
        switch (c) {
        case '\\':
            result += "\\e";
            break;
        case '-':
            result += "\\-";
            break;
        case '\'':
            result += "\\(aq";
            break;
        case '"':
            result += "\\(dq";
            break;
        default:
            result += c;
        }
    // A dot at the start of a line would be a request.
    return result.starts_with('.') ? "\\&" + result : result;
}

std::string item(const std::string &term, const std::string &description) {
    return fmt::format(".TP\n\\fB{}\\fR\n{}.\n", escaped(term), escaped(description));
}

std::string options(const CommandText &command) {
    std::string page;
    for (const OptionText &option : command.options)
        if (option.names.back() != "--help" || command.name == "qldapx")
            page += item(optionSyntax(option), option.description);
    return page;
}

std::string examples(const CommandText &command) {
    constexpr std::size_t width = 64; // what man indents leaves less than a screen
    std::string page = ".PP\n.RS\n.nf\n";
    for (const std::string &example : command.examples)
        for (const std::string &line : exampleLines(example, width))
            page += escaped(line) + "\n";
    return page + ".fi\n.RE\n";
}

void appendCommands(std::string &page, const CommandText &command) {
    for (const CommandText &sub : command.commands) {
        if (!sub.commands.empty()) {
            appendCommands(page, sub);
            continue;
        }
        page += fmt::format(".SS \"{}\"\n{}.\n", escaped(usageLine(sub)), escaped(sub.description));
        for (const ArgumentText &argument : sub.arguments)
            page += item(argument.name, argument.description);
        page += options(sub) + examples(sub);
    }
}

} // namespace

std::string manualPage(const CLI::App &root) {
    const CommandText command = describe(root);
    std::string page =
        fmt::format(".TH QLDAPX 1 \"\" \"qldapx {}\" \"User Commands\"\n", QLDAPX_VERSION);
    page += ".SH NAME\nqldapx \\- administers a Strata directory server\n";
    page += fmt::format(".SH SYNOPSIS\n\\fB{}\\fR\n", escaped(usageLine(command)));
    page += fmt::format(".SH DESCRIPTION\n{}. Options of the connection go before or after the "
                        "command.\n",
                        escaped(command.description));
    page += ".SH OPTIONS\n" + options(command);
    page += fmt::format(".SH COMMANDS\nThe examples work {}.\n", exampleNote);
    appendCommands(page, command);
    page += fmt::format(".SH OUTPUT\n{}\n", escaped(jsonNote));
    page += fmt::format(".SH EXIT STATUS\n{}\n", escaped(exitStatusNote));
    page += ".SH ENVIRONMENT\n.TP\n\\fBLDAPURI\\fR and the other variables of ldap.conf(5)\n"
            "Where the server is, and how to reach it.\n"
            ".TP\n\\fBSSL_CERT_FILE\\fR, \\fBSSL_CERT_DIR\\fR\nThe system\\(aqs trust store.\n"
            ".TP\n\\fBNO_COLOR\\fR\nWhen set and not empty: no colour.\n";
    page += ".SH SEE ALSO\nldapsearch(1), ldap.conf(5)\n";
    return page;
}

} // namespace qldapx
