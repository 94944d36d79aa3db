#include "base_search.h"
#include "errors.h"
#include "operation.h"

#include <algorithm>
#include <fmt/format.h>

namespace qldapx {
namespace {

constexpr std::size_t flagCount = 7;

struct Status {
    controls::status first = {{0, 0, 0, 0}};
    // What the server did not send stays as it was: then this differs.
    controls::status second = {{1, 1, 1, 1}};
};

result<void> read(session_ref at, control_list_ref list, Status &status) {
    for (controls::status *each : {&status.first, &status.second}) {
        const auto numbers = controls::server_status_answer(at, list, *each);
        if (!numbers)
            return unexpected(numbers.error().code());
        *each = *numbers;
    }
    return {};
}

void print(Run &run, const Status &status) {
    Output::Json fields = Output::Json::object();
    Output::Rows rows;
    for (std::size_t i = 0; i < std::size(status.first.numbers); ++i) {
        const int number = status.first.numbers[i];
        if (number != status.second.numbers[i])
            continue;
        const std::string name = fmt::format("status{}", i);
        fields[name] = number;
        rows.push_back({name, std::to_string(number)});
    }
    if (run.out.isJson())
        run.out.json(fields);
    else
        run.out.table(rows);
}

void show(Run &run, const std::vector<int> &given) {
    int flags[flagCount];
    std::copy_n(given.begin(), flagCount, flags);
    run.attach([&](session_ref at) { return controls::server_status(at, flags); });
    Status status;
    searchForControls(run, "", [&](LDAP *ld, LDAPControl **list) {
        const auto done = read(session_ref(borrow, ld), control_list_ref(borrow, list), status);
        return done ? LDAP_SUCCESS : done.error().code();
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
