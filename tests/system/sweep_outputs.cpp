#include "system/sweep.h"
#include "system/sweep_commands.h"

#include <csignal>
#include <fmt/format.h>
#include <regex>

namespace test {
namespace {

using Stream = Setting::Stream;

struct Variant {
    const char *name;
    Stream out, err;
    const char *words; // of the error; none: it is not said
};

constexpr Variant variants[] = {
    {"a reader that has gone", Stream::ClosedPipe, Stream::Pipe, ""},
    {"no standard output", Stream::Closed, Stream::Pipe, "Bad file descriptor"},
    {"a full disk", Stream::Full, Stream::Pipe, "No space left on device"},
    {"no standard error", Stream::Pipe, Stream::Closed, nullptr},
    {"standard error on a full disk", Stream::Pipe, Stream::Full, nullptr},
    {"standard error without a reader", Stream::Pipe, Stream::ClosedPipe, nullptr},
    {"neither output", Stream::Closed, Stream::Closed, nullptr},
    {"both on a full disk", Stream::Full, Stream::Full, nullptr},
};

/** The same for each run of a command. */
std::string withoutTimes(const std::string &text) {
    static const std::regex times(
        R"([0-9.]+ s, [0-9]+ updates/s|[0-9]{9,}|"seconds": [^,]*,|)"
        R"("updatesPerSecond": [^,]*,|[0-9-]+[ T][0-9:.]+Z?|)"
        R"(127\.0\.0\.1:[0-9]+|/[^ ]*qldapx-system-[A-Za-z0-9]+|ms[0-9]+|status[0-9] +[0-9]+)");
    return std::regex_replace(text, times, "");
}

int lostStatus(const SweptCommand &command, Stream out) {
    if (out == Stream::ClosedPipe)
        return 128 + SIGPIPE;
    return command.name == "schema diff" ? 2 : 1;
}

Faults judge(const SweptCommand &command, const Variant &variant, const Result &reference,
             const Outcome &outcome) {
    const Result &result = outcome.result;
    const bool outIsLost = variant.out != Stream::Pipe && !reference.out.empty();
    Faults faults;
    faults.unless(!outcome.late, "it does not end");
    faults.unless(result.status ==
                      (outIsLost ? lostStatus(command, variant.out) : reference.status),
                  "the status is another one");
    if (variant.out == Stream::Pipe)
        faults.unless(withoutTimes(result.out) == withoutTimes(reference.out),
                      "standard output is not what it is otherwise:\n" +
                          withoutTimes(reference.out));
    if (outIsLost && variant.words != nullptr)
        faults.unless(*variant.words == '\0' ? result.err == reference.err
                                             : result.err.find(variant.words) != std::string::npos,
                      "standard error is not as it should be");
    return faults;
}

} // namespace

void sweepOutputs(Sweep &sweep) {
    const std::string &tool = sweep.options().tool;
    for (const SweptCommand &command : sweptCommands()) {
        std::optional<Result> reference;
        for (const Variant &variant : variants) {
            if (!sweep.isDue())
                continue;
            if (!reference) {
                const Workplace workplace(tool);
                workplace.prepare(command);
                reference = workplace.run(command.arguments);
            }
            const Workplace workplace(tool);
            workplace.prepare(command);
            const Setting setting = {
                variant.out, variant.err, -1, leakRules(command.arguments), {}};
            const Outcome outcome = runSupervised(tool, workplace.line(command.arguments), setting,
                                                  {Watched::Files, workplace.path("")});
            sweep.tried(fmt::format("{} with {}", command.name, variant.name), outcome.result,
                        judge(command, variant, *reference, outcome).all());
        }
    }
}

} // namespace test
