#include "command.h"
#include "errors.h"
#include "events/screen.h"
#include "events/top.h"
#include "events/watch.h"
#include "search.h"
#include "text.h"

#include <charconv>
#include <fmt/format.h>

namespace qldapx {
namespace {

struct Arguments {
    std::vector<std::string> types;
    EventOptions events;
    std::optional<std::size_t> count;
    std::optional<std::string> time;
    std::optional<double> seconds;
};

std::optional<std::int32_t> number(std::string_view text) {
    const bool isHexadecimal = text.starts_with("0x") || text.starts_with("0X");
    if (isHexadecimal)
        text.remove_prefix(2);
    std::int32_t value = 0;
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), value, isHexadecimal ? 16 : 10);
    const bool whole = error == std::errc() && end == text.data() + text.size();
    return whole ? std::optional(value) : std::nullopt;
}

EventSpecification specification(const std::string &text) {
    const std::vector<std::string> parts = split(text, ':');
    const auto type = number(parts[0]);
    const auto result = parts.size() == 1 ? 0 : number(parts[1]);
    if (!type || !result || parts.size() > 2)
        throw UsageError(fmt::format("\"{}\" is no event", printable(text)),
                         "its number, as in 7, or with the results wanted, as in 7:1");
    return {*type, *result};
}

double secondsOf(const std::string &text) {
    constexpr double longest = 1e8;
    double seconds = 0;
    const char *end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, seconds);
    if (error != std::errc() || rest != end || !(seconds > 0 && seconds <= longest))
        throw UsageError(fmt::format("--for {}: no time in seconds", printable(text)),
                         "a number such as 2.5, at most 100000000");
    return seconds;
}

void sortArguments(Arguments &args) {
    if (args.time)
        args.seconds = secondsOf(*args.time);
    for (const std::string &type : args.types)
        args.events.events.push_back(specification(type));
    if (args.events.filter)
        checkFilter(*args.events.filter);
}

/** Opens the first session, unless that may fail for now. */
void begin(Run &run, const Arguments &args) {
    if (args.events.reconnect)
        run.keepPassword();
    else
        run.open();
}

void watch(Run &run, Arguments &args) {
    sortArguments(args);
    begin(run, args);
    watchEvents(run, args.events, {args.count, args.seconds});
}

void top(Run &run, Arguments &args) {
    if (run.out.isJson())
        throw UsageError("events top draws on a terminal and prints no JSON",
                         "qldapx events watch --json");
    Screen::requireTerminal();
    sortArguments(args);
    begin(run, args);
    run.takeTerminal();
    showEvents(run, args.events, args.seconds);
}

void addRegistration(CLI::App &command, Arguments &args) {
    command
        .add_option("--type", args.types,
                    "Events by their number; RESULT, 0 unless given, says with which results")
        ->type_name("N[:RESULT],...")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->required();
    command
        .add_option("--filter", args.events.filter,
                    "Only events that match, as in '(string1=*ou=people*)'")
        ->type_name("FILTER");
    command.add_flag(
        "--reconnect", args.events.reconnect,
        "When the server is gone or ends the registration, try again until it is back");
    command.add_option("--for", args.time, "End after so long")->type_name("SECONDS");
}

void addWatch(CLI::App &group, Tool &tool) {
    CLI::App &command = addCommand(group, "watch", "Print events as the server reports them",
                                   {"events watch --type 1,2,3,4 --for 2",
                                    "events watch --type 13:1 --filter '(string1=*dc=com)' "
                                    "--json --reconnect --for 0.5"});
    auto args = std::make_shared<Arguments>();
    addRegistration(command, *args);
    command.add_option("--count", args->count, "End after so many events")
        ->type_name("N")
        ->check(CLI::PositiveNumber.description(""));
    command.callback([&tool, args] { tool.action = [args](Run &run) { watch(run, *args); }; });
}

void addTop(CLI::App &group, Tool &tool) {
    CLI::App &command =
        addCommand(group, "top", "Show on the terminal which events come, and how often",
                   {"events top --type 1,2,3,4,10,13 --for 2"});
    auto args = std::make_shared<Arguments>();
    addRegistration(command, *args);
    command.callback([&tool, args] { tool.action = [args](Run &run) { top(run, *args); }; });
}

} // namespace

void addEvents(CLI::App &root, Tool &tool) {
    CLI::App &group = addGroup(root, "events", "Monitor what happens on the server");
    addWatch(group, tool);
    addTop(group, tool);
}

} // namespace qldapx
