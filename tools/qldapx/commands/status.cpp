#include "base_search.h"
#include "errors.h"

#include <array>
#include <fmt/format.h>
#include <qldapx.h>

namespace qldapx {
namespace {

constexpr std::size_t flagCount = 7;
using Numbers = std::array<int, 4>;

struct Status {
    Numbers first = {0, 0, 0, 0};
    // What the server did not send stays as it was: then this differs.
    Numbers second = {1, 1, 1, 1};
};

int parseInto(LDAP *ld, LDAPControl **controls, Numbers &numbers) {
    return ldap_parse_sstatus_control(ld, controls, &numbers[0], &numbers[1], &numbers[2],
                                      &numbers[3]);
}

void print(Run &run, const Status &status) {
    Output::Json fields = Output::Json::object();
    Output::Rows rows;
    for (std::size_t i = 0; i < status.first.size(); ++i) {
        if (status.first[i] != status.second[i])
            continue;
        const std::string name = fmt::format("status{}", i);
        fields[name] = status.first[i];
        rows.push_back({name, std::to_string(status.first[i])});
    }
    if (run.out.isJson())
        run.out.json(fields);
    else
        run.out.table(rows);
}

void show(Run &run, std::vector<int> &flags) {
    run.attach([&](LDAP *ld, LDAPControl **control) {
        return ldap_create_sstatus_control(ld, flags.data(), 1, control);
    });
    Status status;
    searchForControls(run, "", [&](LDAP *ld, LDAPControl **controls) {
        const int code = parseInto(ld, controls, status.first);
        return code == LDAP_SUCCESS ? parseInto(ld, controls, status.second) : code;
    });
    print(run, status);
}

} // namespace

void addStatus(CLI::App &root, Tool &tool) {
    CLI::App &command =
        addCommand(root, "status", "Print the server's status, numbers whose meaning is its own",
                   {"status", "status --flags 1,1,-1,-1,-1,-1,-1"});
    auto flags = std::make_shared<std::vector<int>>(flagCount, 1);
    command
        .add_option("--flags", *flags,
                    "What to ask for, seven numbers: 1 or 0, or -1 to leave one out; all 1 unless "
                    "given. The last four all carry the second's value")
        ->type_name("N,N,N,N,N,N,N")
        ->delimiter(',')
        ->allow_extra_args(false);
    command.callback([&tool, flags] {
        if (flags->size() != flagCount)
            throw UsageError("--flags needs seven numbers", "--flags 1,1,1,1,1,1,1");
        tool.action = [flags](Run &run) { show(run, *flags); };
    });
}

} // namespace qldapx
