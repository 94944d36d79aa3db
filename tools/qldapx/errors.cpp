#include "errors.h"

#include "harmless_json.h"
#include "output.h"
#include "standard_streams.h"
#include "text.h"

#include <cstring>
#include <fmt/format.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

namespace qldapx {
namespace {

using Json = nlohmann::ordered_json;

std::string headline(const Problem &problem) {
    std::string line = problem.operation;
    if (!problem.object.empty())
        line += " " + printable(problem.object);
    if (!problem.name.empty())
        line += ": " + printable(problem.name);
    if (problem.code)
        line += fmt::format(" ({})", *problem.code);
    return line;
}

void printLabelled(const char *label, const std::string &text) {
    constexpr std::size_t indent = 16;
    const char *shown = label;
    for (const std::string &line : wrapped(text, screenWidth - indent)) {
        tell(fmt::format("  {:<13} {}\n", shown, line));
        shown = "";
    }
}

// A message that begins with the program's name needs it only once.
void printHeadline(const char *kind, std::string line) {
    constexpr std::string_view program = "qldapx ";
    if (line.starts_with(program))
        line.erase(0, program.size());
    const Style style(STDERR_FILENO);
    tell(fmt::format("{} {}\n", style.red(fmt::format("qldapx{}:", kind)), line));
}

void printLine(const Json &json) {
    tell(harmlessJson(jsonText(json)) + "\n");
}

Json asJson(const Problem &problem) {
    Json error = {{"operation", problem.operation},
                  {"object", problem.object},
                  {"code", nullptr},
                  {"name", problem.name},
                  {"reason", problem.reason},
                  {"diagnostic", problem.diagnostic},
                  {"matchedDN", problem.matchedDn},
                  {"hint", problem.hint}};
    if (problem.code)
        error["code"] = *problem.code;
    return {{"error", std::move(error)}};
}

} // namespace

Failure::Failure(Problem problem)
    : std::runtime_error(headline(problem)), problem_(std::move(problem)) {}

OutputError::OutputError(int error)
    : std::runtime_error(fmt::format("cannot write the result: {}", std::strerror(error))),
      error_(error) {}

std::string problemLine(const Problem &problem) {
    return harmlessJson(jsonText(asJson(problem))) + "\n";
}

void report(const Problem &problem, bool json) {
    if (json) {
        tell(problemLine(problem));
        return;
    }
    printHeadline("", headline(problem));
    printLabelled("reason:", problem.reason);
    printLabelled(problem.code.value_or(0) < 0 ? "libldap says:" : "server says:",
                  printable(problem.diagnostic));
    printLabelled("matched DN:", printable(problem.matchedDn));
    printLabelled("try:", problem.hint);
}

void report(const UsageError &error, bool json) {
    if (json) {
        Problem problem;
        problem.operation = "command line";
        problem.reason = error.what();
        problem.hint = error.hint();
        tell(problemLine(problem));
        return;
    }
    printHeadline("", error.what());
    printLabelled("try:", error.hint());
}

void warn(const std::string &message, bool json) {
    if (json)
        printLine({{"warning", {{"message", message}}}});
    else
        printHeadline(": warning", message);
}

} // namespace qldapx
