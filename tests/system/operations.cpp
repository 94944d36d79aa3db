#include "system/operations.h"

#include <algorithm>

namespace test {
namespace {

constexpr const char *emea = "ou=emea,dc=example,dc=com";
constexpr const char *people = "ou=people,dc=example,dc=com";
constexpr const char *strata1 = "cn=strata1,ou=servers,dc=example,dc=com";
constexpr const char *strata2 = "cn=strata2,ou=servers,dc=example,dc=com";
constexpr const char *ada = "cn=Ada Brandt,ou=people,dc=example,dc=com";
constexpr const char *admin = "cn=admin,dc=example,dc=com";

using enum Operation::Value;

Json done(const char *operation, Json fields) {
    Json json = {{"result", "success"}, {"operation", operation}};
    json.update(fields);
    return json;
}

std::vector<Operation> partitionOperations() {
    return {
        {"split-partition",
         {},
         {"partition", "split", people, "--flags", "0"},
         "partition ou=people,dc=example,dc=com split off\n",
         done("partition split", {{"partition", people}, {"flags", 0}}),
         Ignored},
        {"merge-partitions",
         {},
         {"partition", "merge", emea},
         "partition ou=emea,dc=example,dc=com merged\n",
         done("partition merge", {{"partition", emea}, {"flags", 0}}),
         Ignored},
        {"abort-partition-operation",
         {{"partition", "split", people, "--flags", "1"}},
         {"partition", "abort", people, "--flags=2"},
         "partition ou=people,dc=example,dc=com operation aborted\n",
         done("partition abort", {{"partition", people}, {"flags", 2}}),
         Ignored},
        {"partition-entry-count",
         {},
         {"partition", "count", emea},
         "      81  ou=emea,dc=example,dc=com\n",
         Json::array({{{"dn", emea}, {"entries", 81}}}),
         Decoded},
        {"split-orphan-partition",
         {},
         {"partition", "split-orphan", strata2, people},
         "orphan partition ou=people,dc=example,dc=com on "
         "cn=strata2,ou=servers,dc=example,dc=com split off\n",
         done("partition split-orphan", {{"server", strata2}, {"partition", people}}),
         Ignored},
        {"remove-orphan-partition",
         {{"partition", "split-orphan", strata2, people}},
         {"partition", "remove-orphan", strata2, people},
         "orphan partition ou=people,dc=example,dc=com on "
         "cn=strata2,ou=servers,dc=example,dc=com removed\n",
         done("partition remove-orphan", {{"server", strata2}, {"partition", people}}),
         Ignored},
    };
}

std::vector<Operation> replicaOperations() {
    const Json replica = {{"partition", emea}, {"server", strata2}};
    const auto with = [&replica](const char *field, int value, const char *other = nullptr) {
        Json json = replica;
        json[field] = value;
        if (other != nullptr)
            json[other] = 0;
        return json;
    };
    return {
        {"add-replica",
         {{"replica", "remove", emea, strata2}},
         {"replica", "add", emea, strata2, "--type", "2"},
         "replica of ou=emea,dc=example,dc=com added on cn=strata2,ou=servers,dc=example,dc=com\n",
         done("replica add", with("type", 2, "flags")),
         Ignored},
        {"remove-replica",
         {},
         {"replica", "remove", emea, strata2},
         "replica of ou=emea,dc=example,dc=com removed from "
         "cn=strata2,ou=servers,dc=example,dc=com\n",
         done("replica remove", with("flags", 0)),
         Ignored},
        {"change-replica-type",
         {},
         {"replica", "retype", emea, strata2, "--type", "3"},
         "replica of ou=emea,dc=example,dc=com on cn=strata2,ou=servers,dc=example,dc=com has "
         "another type\n",
         done("replica retype", with("type", 3, "flags")),
         Ignored},
        {"get-replica-info",
         {},
         {"replica", "info", emea, strata1},
         "number1  1\nnumber2  1\nnumber3  0\nnumber4  TIME\nnumber5  81\n"
         "dn       cn=strata1,ou=servers,dc=example,dc=com\nnumber6  0\nnumber7  0\n",
         {{"number1", 1},
          {"number2", 1},
          {"number3", 0},
          {"number5", 81},
          {"dn", strata1},
          {"number6", 0},
          {"number7", 0}},
         Decoded},
        {"list-replicas",
         {{"replica", "remove", emea, "cn=strata3,ou=servers,dc=example,dc=com"}},
         {"replica", "list", emea},
         "cn=strata1,ou=servers,dc=example,dc=com\ncn=strata2,ou=servers,dc=example,dc=com\n",
         {{"partition", emea}, {"replicas", {strata1, strata2}}},
         Decoded},
        {"receive-all-updates",
         {},
         {"replica", "receive-updates", emea, strata2},
         "updates of ou=emea,dc=example,dc=com are being received on "
         "cn=strata2,ou=servers,dc=example,dc=com\n",
         done("replica receive-updates", replica),
         Ignored},
        {"send-all-updates",
         {},
         {"replica", "send-updates", emea},
         "updates of ou=emea,dc=example,dc=com are being sent\n",
         done("replica send-updates", {{"partition", emea}}),
         Ignored},
        {"request-partition-sync",
         {},
         {"replica", "sync", emea, strata2, "--delay", "5"},
         "synchronisation of ou=emea,dc=example,dc=com on "
         "cn=strata2,ou=servers,dc=example,dc=com requested\n",
         done("replica sync", with("delay", 5)),
         Ignored},
        {"request-schema-sync",
         {},
         {"replica", "schema-sync", strata1},
         "synchronisation of the schema on cn=strata1,ou=servers,dc=example,dc=com requested\n",
         done("replica schema-sync", {{"server", strata1}, {"delay", 0}}),
         Ignored},
    };
}

std::vector<Operation> filterOperations() {
    const Arguments set = {"filter",       "set",     strata1, "--class",
                           "person=cn,sn", "--class", "device"};
    return {
        {"set-replication-filter",
         {},
         set,
         "filter of cn=strata1,ou=servers,dc=example,dc=com set: 2 classes\n",
         done("filter set", {{"server", strata1}, {"filter", "person$cn$sn$$device$$$"}}),
         Ignored},
        {"get-replication-filter",
         {set},
         {"filter", "get", strata1},
         "person  cn sn\ndevice\n",
         Json::array({{{"class", "person"}, {"attributes", {"cn", "sn"}}},
                      {{"class", "device"}, {"attributes", Json::array()}}}),
         DecodedAny},
    };
}

std::vector<Operation> identityOperations() {
    const auto rights = [](const Json &attributes) -> Json {
        return {{"dn", ada}, {"trustee", admin}, {"attributes", attributes}};
    };
    const auto right = [](const char *attribute) -> Json {
        return {{"attribute", attribute}, {"privileges", 31}, {"hex", "0x0000001f"}};
    };
    return {
        {"get-bind-dn", {}, {"whoami"}, "cn=admin,dc=example,dc=com\n", {{"dn", admin}}, Decoded},
        // Its name is a command's too: after a command it is an argument.
        {"get-effective-privileges",
         {},
         {"privileges", ada, "name"},
         "name  31  0x0000001f\n",
         rights(Json::array({right("name")})),
         Decoded},
        {"get-effective-privileges-list",
         {},
         {"privileges", ada, "cn", "mail", "--trustee", admin},
         "cn    31  0x0000001f\nmail  31  0x0000001f\n",
         rights({right("cn"), right("mail")}),
         Decoded},
        {"kora-to-ldap",
         {},
         {"name", "from-kora", "example.com/people/Ada Brandt"},
         "cn=Ada Brandt,ou=people,dc=example,dc=com\n",
         {{"name", "example.com/people/Ada Brandt"}, {"dn", ada}},
         Decoded},
        {"dns-to-x500-dn",
         {},
         {"name", "from-dns", "people.example.com"},
         "ou=people,dc=example,dc=com\n",
         {{"name", "people.example.com"}, {"dn", people}},
         Decoded},
    };
}

Operation trigger(const char *process) {
    const std::string name = process;
    return {"trigger-" + name,
            {},
            {"trigger", process},
            name + " started\n",
            done(("trigger " + name).c_str(), {{"process", process}}),
            Ignored};
}

std::vector<Operation> triggerOperations() {
    std::vector<Operation> all = {{"refresh-server",
                                   {},
                                   {"refresh"},
                                   "server refreshed\n",
                                   done("refresh", Json::object()),
                                   Ignored}};
    for (const char *process :
         {"backlink", "janitor", "limber", "skulker", "schema-sync", "partition-purge"})
        all.push_back(trigger(process));
    return all;
}

std::vector<Operation> collect() {
    std::vector<Operation> all;
    for (const auto &family : {partitionOperations(), replicaOperations(), filterOperations(),
                               identityOperations(), triggerOperations()})
        all.insert(all.end(), family.begin(), family.end());
    return all;
}

} // namespace

void PrintTo(const Operation &operation, std::ostream *stream) {
    *stream << operation.name;
}

std::string operationCase(const testing::TestParamInfo<Operation> &info) {
    std::string name = info.param.name;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

const std::vector<Operation> &operations() {
    static const std::vector<Operation> all = collect();
    return all;
}

} // namespace test
