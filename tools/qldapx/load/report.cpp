#include "load/report.h"

#include "text.h"

#include <fmt/format.h>
#include <ldap.h>

namespace qldapx {
namespace {

struct EndWords {
    const char *name;
    const char *sentence;
};

EndWords wordsOf(LoadOutcome::End end) {
    switch (end) {
    case LoadOutcome::End::Done:
        return {"success", "loaded"};
    case LoadOutcome::End::Failures:
        return {"failures", "loaded, but for what failed"};
    case LoadOutcome::End::Stopped:
        return {"stopped", "stopped at the first failure"};
    case LoadOutcome::End::Interrupted:
        return {"interrupted", "interrupted"};
    default:
        return {"broken", "broken off"};
    }
}

double rateOf(const LoadOutcome &outcome) {
    return outcome.seconds > 0 ? static_cast<double>(outcome.updates) / outcome.seconds : 0;
}

Output::Json tallyJson(const Tally &tally) {
    return {{"done", tally.done},
            {"failed", tally.failed},
            {"unknown", tally.unknown},
            {"inDoubt", tally.inDoubt}};
}

Output::Json outcomeJson(const LoadOutcome &outcome) {
    Output::Json updates, results = Output::Json::array();
    for (std::size_t i = 0; i < updateKinds; ++i)
        updates[updateNames[i]] = tallyJson(outcome.counts.updates[i]);
    for (const auto &[code, count] : outcome.counts.results)
        results.push_back({{"code", code}, {"name", ldap_err2string(code)}, {"count", count}});
    const auto path = [](const std::optional<std::string> &name) {
        return name ? Output::Json(*name) : Output::Json();
    };
    return {{"operation", "load"},
            {"result", wordsOf(outcome.end).name},
            {"file", outcome.file},
            {"mode", outcome.mode},
            {"records", outcome.records},
            {"skipped", outcome.skipped},
            {"malformed", outcome.counts.malformed},
            {"updates", std::move(updates)},
            {"results", std::move(results)},
            {"seconds", outcome.seconds},
            {"updatesPerSecond", rateOf(outcome)},
            {"rejects", path(outcome.rejects)},
            {"checkpoint", path(outcome.checkpoint)}};
}

void addTally(Output::Rows &rows, const char *name, const Tally &tally) {
    if (tally.done + tally.failed + tally.unknown + tally.inDoubt == 0)
        return;
    std::string text = fmt::format("{} done, {} failed", tally.done, tally.failed);
    if (tally.inDoubt > 0)
        text += fmt::format(", {} in doubt", tally.inDoubt);
    if (tally.unknown > 0)
        text += fmt::format(", {} unknown", tally.unknown);
    rows.push_back({name, text});
}

Output::Rows outcomeRows(const LoadOutcome &outcome) {
    Output::Rows rows;
    std::string records = std::to_string(outcome.records);
    if (outcome.skipped > 0)
        records += fmt::format(", {} of them before", outcome.skipped);
    if (outcome.counts.malformed > 0)
        records += fmt::format(", {} malformed", outcome.counts.malformed);
    rows.push_back({"records", records});
    for (std::size_t i = 0; i < updateKinds; ++i)
        addTally(rows, updateNames[i], outcome.counts.updates[i]);
    for (const auto &[code, count] : outcome.counts.results)
        rows.push_back(
            {fmt::format("result {}", code), fmt::format("{} ({})", count, ldap_err2string(code))});
    rows.push_back(
        {"time", fmt::format("{:.1f} s, {:.0f} updates/s", outcome.seconds, rateOf(outcome))});
    if (outcome.rejects)
        rows.push_back({"rejects", printable(*outcome.rejects)});
    if (outcome.checkpoint)
        rows.push_back({"checkpoint", printable(*outcome.checkpoint)});
    else if (outcome.cannotResume)
        rows.push_back({"checkpoint", "none: this load cannot be resumed"});
    return rows;
}

Output::Json checkJson(const LoadOutcome &outcome) {
    Output::Json updates;
    for (std::size_t i = 0; i < updateKinds; ++i)
        updates[updateNames[i]] = outcome.counts.updates[i].done;
    return {{"operation", "load"},
            {"result", outcome.end == LoadOutcome::End::Done ? "success" : "malformed"},
            {"file", outcome.file},
            {"mode", outcome.mode},
            {"records", outcome.records},
            {"malformed", outcome.counts.malformed},
            {"updates", std::move(updates)}};
}

Output::Rows checkRows(const LoadOutcome &outcome) {
    Output::Rows rows = {{"records", std::to_string(outcome.records)},
                         {"malformed", std::to_string(outcome.counts.malformed)}};
    for (std::size_t i = 0; i < updateKinds; ++i)
        rows.push_back({updateNames[i], std::to_string(outcome.counts.updates[i].done)});
    return rows;
}

} // namespace

void printOutcome(Output &out, const LoadOutcome &outcome) {
    const bool isCheck = outcome.mode == "dry run";
    if (out.isJson()) {
        out.json(isCheck ? checkJson(outcome) : outcomeJson(outcome));
        return;
    }
    if (isCheck) {
        out.table(checkRows(outcome));
        return;
    }
    const std::string sentence =
        fmt::format("{} {}", printable(outcome.file), wordsOf(outcome.end).sentence);
    out.line(outcome.end == LoadOutcome::End::Done ? out.style().green(sentence) : sentence);
    out.table(outcomeRows(outcome));
}

} // namespace qldapx
