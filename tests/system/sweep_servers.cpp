#include "system/sweep.h"
#include "system/sweep_commands.h"
#include "system/sweep_relay.h"

#include <algorithm>
#include <csignal>
#include <fmt/format.h>
#include <limits>
#include <string_view>

namespace test {
namespace {

// Assertions of the interface, and libldap's own, of which SECURITY.md speaks.
constexpr std::string_view knownEnds[] = {
    "expectedTag == tag",
    "((ber_tag_t) 0x04UL) == tag",
    "libraries/lib",
};

bool isKnownEnd(const Result &result) {
    return result.status == 128 + SIGABRT &&
           std::any_of(std::begin(knownEnds), std::end(knownEnds), [&](std::string_view words) {
               return result.err.find(words) != std::string::npos;
           });
}

/** Whether a terminal would show the text as it stands. */
bool isHarmless(std::string_view text) {
    constexpr std::string_view overrides[] = {"\xe2\x80\xae", "\xe2\x80\xaa"};
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const bool isC1 =
            byte == 0xc2 && i + 1 < text.size() && static_cast<unsigned char>(text[i + 1]) < 0xa0;
        if ((byte < ' ' && byte != '\n') || byte == 0x7f || isC1)
            return false;
    }
    return std::none_of(std::begin(overrides), std::end(overrides), [&](std::string_view each) {
        return text.find(each) != std::string_view::npos;
    });
}

/** What waits for changes waits on when an answer is no answer any more: then it gets Ctrl-C. */
bool waitsForEver(const SweptCommand &command) {
    return command.name == "search --follow";
}

Trouble troubleOf(const SweptCommand &command, const Workplace &workplace) {
    if (!waitsForEver(command))
        return {Watched::Files, workplace.path("")};
    return {Watched::Everything, {}, std::numeric_limits<std::size_t>::max(), 0, SIGINT};
}

Faults judge(const Outcome &outcome) {
    const Result &result = outcome.result;
    Faults faults;
    faults.unless(!outcome.late, "it does not end");
    if (isKnownEnd(result))
        return faults;
    const bool isInterrupted = outcome.struck && result.status == 128 + SIGINT;
    faults.unless((result.status >= 0 && result.status <= 2) || isInterrupted,
                  "the status is another one");
    faults.unless(result.status == 0 || isInterrupted || !result.err.empty() || !result.out.empty(),
                  "it failed without a word");
    faults.unless(isHarmless(result.out) && isHarmless(result.err), "it steers the terminal");
    faults.unless(result.err.find("Sanitizer") == std::string::npos &&
                      result.err.find("runtime error") == std::string::npos,
                  "a sanitizer found something");
    return faults;
}

/**
 * What is lost as it has to be, or by others; LeakSanitizer does not tell of it, where it can see
 * who made it: libldap's request, when an answer to it has a tag that no answer has; the handle of
 * a schema that does not parse, and what libldap's parser had of the description.
 */
constexpr const char *losses = "leak:ldap_send_server_request\n"
                               "leak:ldap_schema_fetch\n"
                               "leak:ldap_str2\n";

std::map<std::string, std::string> knownLosses(const Arguments &command,
                                               const TemporaryFolder &folder) {
    std::map<std::string, std::string> environment = leakRules(command);
    if (environment.empty())
        environment = {{"ASAN_OPTIONS", "fast_unwind_on_malloc=0"},
                       {"LSAN_OPTIONS",
                        "print_suppressions=0:suppressions=" + folder.write("losses", losses)}};
    return environment;
}

/** What is not to be altered in the middle: it would only wait. */
Arguments impatient(Arguments line, const std::string &name) {
    line.insert(line.end(), {"--timeout", "1"});
    if (name.starts_with("events"))
        line.insert(line.end(), {"--for", "1.5"});
    return line;
}

} // namespace

void sweepServers(Sweep &sweep) {
    const std::string &tool = sweep.options().tool;
    const TemporaryFolder folder;
    unsigned long long number = sweep.options().seed;
    for (const SweptCommand &command : sweptCommands()) {
        if (!command.asksServer)
            continue;
        for (std::size_t round = 0; round < sweep.options().rounds; ++round) {
            ++number;
            if (!sweep.isDue())
                continue;
            const Workplace workplace(tool);
            workplace.prepare(command);
            AlteringRelay relay(workplace.simulator().uri());
            relay.begin(number);
            const Setting setting = {Setting::Stream::Pipe,
                                     Setting::Stream::Pipe,
                                     -1,
                                     knownLosses(command.arguments, folder),
                                     {}};
            const Outcome outcome = runSupervised(
                tool, impatient(workplace.line(command.arguments, relay.uri()), command.name),
                setting, troubleOf(command, workplace));
            sweep.tried(fmt::format("{}, answers {}", command.name, number), outcome.result,
                        judge(outcome).all());
        }
    }
}

} // namespace test
