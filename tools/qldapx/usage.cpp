#include "usage.h"

#include "errors.h"
#include "text.h"

#include <algorithm>
#include <fmt/format.h>
#include <strings.h>

namespace qldapx {
namespace {

std::string fullName(const CLI::App &app) {
    return app.get_parent() == nullptr ? app.get_name() : "qldapx " + commandPath(app);
}

std::string helpOf(const CLI::App &app) {
    return fullName(app) + " --help";
}

std::string subcommandNames(const CLI::App &app) {
    std::string names;
    for (const CLI::App *sub : app.get_subcommands(nullptr))
        if (!sub->get_group().empty())
            names += (names.empty() ? "" : ", ") + sub->get_name();
    return names;
}

// What follows the "=" of an unknown option may be a secret.
std::string withoutValue(const std::string &argument) {
    const bool isOption = argument.starts_with("-");
    return printable(isOption ? argument.substr(0, argument.find('=')) : argument);
}

/** A group without its command, or with a word that is none of its commands. */
void requireCommand(const CLI::App &chosen, const std::vector<std::string> &extras) {
    if (chosen.get_subcommands(nullptr).empty())
        return;
    const auto word = std::find_if(extras.begin(), extras.end(),
                                   [](const auto &extra) { return !extra.starts_with("-"); });
    if (word == extras.end() && !extras.empty())
        return;
    const std::string name = fullName(chosen);
    throw UsageError(word == extras.end()
                         ? fmt::format("name a command of {}", name)
                         : fmt::format("{} has no command \"{}\"", name, printable(*word)),
                     fmt::format("{}, or {}", subcommandNames(chosen), helpOf(chosen)));
}

void refuseExtras(const CLI::App &chosen, const std::vector<std::string> &extras) {
    if (extras.empty())
        return;
    const std::string first = withoutValue(extras.front());
    throw UsageError(first.starts_with("-") ? fmt::format("there is no option {} here", first)
                                            : fmt::format("\"{}\" is one argument too many for {}",
                                                          first, fullName(chosen)),
                     helpOf(chosen));
}

std::string inWords(const CLI::ParseError &error) {
    std::string text = printable(error.what());
    const std::size_t colon = text.find(": ");
    // All values that are converted are numbers.
    if (dynamic_cast<const CLI::ConversionError *>(&error) == nullptr || colon == std::string::npos)
        return text;
    return fmt::format("not a number of 32 bits: {}", text.substr(colon + 2));
}

void requireOnePassword(const ConnectionOptions &connection) {
    const int ways = static_cast<int>(connection.hasPassword) + static_cast<int>(connection.ask) +
                     static_cast<int>(connection.passwordFile.has_value());
    if (ways > 1)
        throw UsageError("give the password once: -w, -W or -y");
}

bool isGiven(const CLI::App &root, const char *option) {
    return root.count(option) > 0;
}

bool breaksQuotation(char32_t value) {
    return value == U'"' || value == U'\\' || value < 0x20 || (value >= 0x7f && value < 0xa0);
}

// Names go to the server between quotes, as they stand.
void checkName(const char *option, const std::string &name) {
    for (std::string_view rest = name; !rest.empty();) {
        const CodePoint point = firstCodePoint(rest);
        if (point.length != 0 && breaksQuotation(point.value))
            throw UsageError(
                fmt::format("{} \"{}\": a name with a quotation mark, a backslash or a "
                            "control character would read otherwise on the server",
                            option, printable(name)),
                "another name of the same user or realm, without such characters");
        rest.remove_prefix(std::max<std::size_t>(point.length, 1));
    }
}

void checkExternal(const CLI::App &root) {
    for (const char *other : {"-D", "-x", "-U", "-R", "-w", "-W", "-y"})
        if (isGiven(root, other))
            throw UsageError(fmt::format("{} does not go with -Y EXTERNAL", other),
                             "the client's certificate says who binds, and proves it: --cert and "
                             "--key, or --p12");
}

void checkSasl(const CLI::App &root, const ConnectionOptions &connection) {
    if (!connection.mechanism) {
        if (connection.user || connection.realm)
            throw UsageError(fmt::format("{} is for binds by SASL", connection.user ? "-U" : "-R"),
                             "add -Y DIGEST-MD5");
        return;
    }
    if (connection.bindsExternally())
        return checkExternal(root);
    if (strcasecmp(connection.mechanism->c_str(), "DIGEST-MD5") != 0)
        throw UsageError(
            fmt::format("-Y {}: there is no such mechanism here", printable(*connection.mechanism)),
            "-Y DIGEST-MD5 or -Y EXTERNAL, the only ones");
    for (const char *simple : {"-D", "-x"})
        if (isGiven(root, simple))
            throw UsageError(fmt::format("{} is for a simple bind and does not go with -Y", simple),
                             "name the user with -U alone");
    if (connection.user.value_or("").empty())
        throw UsageError(connection.user ? "-U is empty" : "-Y needs a user", "-U USER");
    checkName("-U", *connection.user);
    checkName("-R", connection.realm.value_or(""));
}

} // namespace

void addConnectionOptions(CLI::App &root, Tool &tool) {
    constexpr int aDay = 24 * 60 * 60;
    ConnectionOptions &connection = tool.connection;
    const auto add = [&](CLI::Option *option, const char *value = nullptr) {
        option->group("Connection");
        return value == nullptr ? option : option->type_name(value);
    };
    add(root.add_option("-H", connection.uri,
                        "The server, as in ldap://HOST:PORT; without it ldap.conf and LDAPURI say"),
        "URI");
    add(root.add_flag("-x")->description("Simple bind, which it is without -Y"));
    add(root.add_option("-D", connection.bindDn, "Bind as this entry; without it, anonymous"),
        "DN");
    add(root.add_option("-Y", connection.mechanism,
                        "Bind by SASL with this mechanism: DIGEST-MD5, as the user of -U, or "
                        "EXTERNAL, as whom the client's certificate names"),
        "MECH");
    add(root.add_option("-U", connection.user, "Whom to bind as with -Y"), "USER");
    add(root.add_option("-R", connection.realm,
                        "The realm of -U; needed where the server offers several and there is no "
                        "terminal to ask on"),
        "REALM");
    add(root.add_flag("-W", connection.ask, "Ask for the password on the terminal"));
    add(root.add_option("-y", connection.passwordFile,
                        "Read the password from this file, whole, line end and all"),
        "FILE");
    add(root.add_option("-w", "The password; safer are -W and -y"), "PASSWORD");
    add(root.add_flag("-Z", connection.startTls,
                      "Encrypt with StartTLS; -ZZ refuses to go on without"));
    addTlsOptions(root, connection.tls);
    add(root.add_option("--as", connection.actAs,
                        "Act as this entry, with its rights, where the server allows it"),
        "DN");
    add(root.add_option("--timeout", connection.timeout, "Wait so long for each answer")
            ->check(CLI::Range(1, aDay).description(""))
            ->capture_default_str(),
        "SECONDS");
    root.add_flag("--json", tool.json, "Print JSON, errors as well");
}

std::set<std::string> optionsWithValue(const CLI::App &app) {
    std::set<std::string> names;
    for (const CLI::Option *option : app.get_options()) {
        if (option->get_positional() || option->get_items_expected_max() == 0)
            continue;
        for (const std::string &name : option->get_snames())
            names.insert("-" + name);
        for (const std::string &name : option->get_lnames())
            names.insert("--" + name);
    }
    for (const CLI::App *sub : app.get_subcommands(nullptr))
        names.merge(optionsWithValue(*sub));
    return names;
}

void parse(CLI::App &root, Tool &tool, std::vector<std::string> arguments) {
    std::reverse(arguments.begin(), arguments.end()); // as CLI11 wants them
    try {
        root.parse(std::move(arguments));
    } catch (const CLI::Success &) {
        throw;
    } catch (const CLI::ParseError &error) {
        const CLI::App &chosen = chosenCommand(root);
        std::vector<std::string> extras = root.remaining(true);
        std::erase(extras, "--");
        requireCommand(chosen, extras);
        refuseExtras(chosen, extras);
        throw UsageError(inWords(error), helpOf(chosen));
    }
    const CLI::App &chosen = chosenCommand(root);
    requireCommand(chosen, {});
    tool.connection.hasPassword = isGiven(root, "-w");
    requireOnePassword(tool.connection);
    checkSasl(root, tool.connection);
    checkTls(tool.connection.tls);
}

bool asksForJson(const std::vector<std::string> &arguments) {
    const auto end = std::find(arguments.begin(), arguments.end(), "--");
    return std::find(arguments.begin(), end, "--json") != end;
}

} // namespace qldapx
