#include "interruption.h"
#include "load/loader.h"
#include "load/record.h"
#include "load/rename_rule.h"
#include "load/report.h"

#include <fmt/format.h>

namespace qldapx {
namespace {

Failure malformed(const std::string &file, const RecordFault &fault) {
    Problem problem;
    problem.operation = "load";
    problem.object = fmt::format("{}:{}", file, fault.line);
    problem.reason = fault.reason;
    return Failure(std::move(problem));
}

} // namespace

void checkFile(Run &run, const LoadOptions &options) {
    LdifStream stream(options.file); // until it begins, which a pipe's other end decides, there is
    const Interruption interruption; // nothing to tell of
    RecordReader reader(stream);
    Record record;
    LoadOutcome outcome;
    outcome.file = options.file;
    outcome.mode = "dry run";
    while (!Interruption::requested()) {
        const RecordReader::Kind kind = reader.next(record);
        if (kind == RecordReader::Kind::End)
            break;
        if (kind != RecordReader::Kind::Unreadable) {
            const auto fault = kind == RecordReader::Kind::Malformed ? std::optional(reader.fault())
                                                                     : renameFault(record, options);
            ++(fault ? outcome.counts.malformed : outcome.counts.of(record.kind).done);
            if (fault)
                run.failed(malformed(stream.name(), *fault));
            continue;
        }
        run.failed(malformed(stream.name(), reader.fault()));
        break;
    }
    outcome.records = reader.count();
    if (run.exitStatus() != exitDone)
        outcome.end = LoadOutcome::End::Failures;
    printOutcome(run.out, outcome);
    run.out.flush();
    if (Interruption::requested())
        Interruption::endProcess();
}

} // namespace qldapx
