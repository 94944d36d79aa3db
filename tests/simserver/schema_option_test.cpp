#include "program.h"
#include "wire.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <fstream>

namespace {

bool contains(const std::string &text, const std::string &part) {
    return text.find(part) != std::string::npos;
}

/** A file that is there as long as the test needs it. */
class TextFile {
  public:
    TextFile(const std::string &name, const std::string &text)
        : path_(std::string(TEST_DIR) + "/" + name) {
        std::ofstream(path_) << text;
    }
    ~TextFile() { std::remove(path_.c_str()); }
    TextFile(const TextFile &) = delete;
    TextFile &operator=(const TextFile &) = delete;

    const std::string &path() const { return path_; }

  private:
    std::string path_;
};

wire::Response subschema(const SimProgram &server, const std::vector<std::string> &attributes) {
    RawClient client(server.port());
    client.send(wire::message(
        1, wire::search({.base = "cn=schema", .scope = 0, .attributes = attributes})));
    return wire::parse(client.readMessages(2));
}

int modify(const SimProgram &server, const std::vector<wire::Mod> &changes) {
    RawClient client(server.port());
    client.send(wire::message(1, wire::bind("cn=admin,dc=example,dc=com", "secret")));
    client.readMessages(1);
    client.send(wire::message(2, wire::modify("cn=schema", changes)));
    return wire::parse(client.readMessages(1)).code;
}

bool has(const wire::Response &response, const std::string &text) {
    const auto &values = response.entryAttributes.at(0).at(0).values;
    return std::find(values.begin(), values.end(), text) != values.end();
}

TEST(SchemaOptions, FilesAreServedAndMayBeChanged) {
    const TextFile first("schema_first.schema", "attributetype ( 1.2.3 NAME 'x' SUP later )\n");
    const TextFile second("schema_second.ldif",
                          "attributeTypes: ( 1.2.4 NAME 'later' SUP name )\n");
    const SimProgram server({"--schema", first.path(), "--schema", second.path()});
    const std::string text = "( 1.2.3 NAME 'x' SUP later )";
    EXPECT_TRUE(has(subschema(server, {"attributeTypes"}), text));
    EXPECT_TRUE(has(subschema(server, {"attributeTypes"}), "( 1.2.4 NAME 'later' SUP name )"));
    EXPECT_EQ(modify(server, {{1, {"attributeTypes", {text}}}}), 0);
    EXPECT_FALSE(has(subschema(server, {"attributeTypes"}), text));
}

TEST(SchemaOptions, FaultsEndTheProgram) {
    const TextFile bad("schema_bad.schema", "# x\nattributetype ( 1.2.3 SUP gone )\n");
    const auto result = runCommand({STRATA_SIM, "--listen", "127.0.0.1:0", "--schema", bad.path()});
    EXPECT_EQ(result.code, 1);
    EXPECT_EQ(result.output, "strata-sim: " + bad.path() +
                                 ": line 2: attribute type 1.2.3: SUP: there is no attribute type "
                                 "gone\n");
    const TextFile rubbish("schema_rubbish.ldif", "attributeTypes: x\nrubbish\n");
    const auto verbatim =
        runCommand({STRATA_SIM, "--listen", "127.0.0.1:0", "--schema-verbatim", rubbish.path()});
    EXPECT_EQ(verbatim.code, 1);
    EXPECT_TRUE(contains(verbatim.output, "schema_rubbish.ldif: line 2: no colon in \"rubbish\""));
}

TEST(SchemaOptions, VerbatimIsShownAsItStands) {
    const TextFile file("schema_verbatim.ldif",
                        "dn: cn=schema\nATTRIBUTETYPES: ( 1.2.3 NAME 'x'\nATTRIBUTETYPES: y\n"
                        "objectClasses: (  1.2.4   NAME 'x' )\nATTRIBUTETYPES: ( 1.2.3 )\n"
                        "AttributeTypes: z\n");
    const SimProgram server({"--schema-verbatim", file.path()});
    const auto response = subschema(server, {"+"});
    std::vector<std::pair<std::string, std::vector<std::string>>> shown;
    for (const wire::Values &attribute : response.entryAttributes.at(0))
        if (contains(attribute.name, "YPES") || contains(attribute.name, "ypes") ||
            contains(attribute.name, "lasses") || contains(attribute.name, "ules"))
            shown.emplace_back(attribute.name, attribute.values);
    const decltype(shown) expected = {{"ATTRIBUTETYPES", {"( 1.2.3 NAME 'x'", "y"}},
                                      {"objectClasses", {"(  1.2.4   NAME 'x' )"}},
                                      {"ATTRIBUTETYPES", {"( 1.2.3 )"}},
                                      {"AttributeTypes", {"z"}}};
    EXPECT_EQ(shown, expected);
    EXPECT_EQ(modify(server, {{0, {"attributeTypes", {"( 1.2.9 SUP name )"}}}}), 53);
}

std::string bulkText(int number) {
    const std::string i = std::to_string(number);
    return "( 2.16.840.1.907341.9.99." + i + " NAME 'bulkType" + i + "' DESC 'Generated type " + i +
           "' EQUALITY caseIgnoreMatch SYNTAX 1.3.6.1.4.1.1466.115.121.1.15 )";
}

TEST(SchemaOptions, ManyTypesTakeNoTime) {
    using Clock = std::chrono::steady_clock;
    const auto begin = Clock::now();
    const SimProgram server({"--schema-size", "50000"});
    const auto started = Clock::now();
    const auto response = subschema(server, {"attributeTypes"});
    const auto read = Clock::now();
    EXPECT_GT(response.entryAttributes.at(0).at(0).values.size(), 50000U);
    EXPECT_TRUE(has(response, bulkText(50000)));
    wire::Values gone{"attributeTypes", {}};
    wire::Values come{"attributeTypes", {}};
    for (int i = 1; i <= 500; ++i) {
        gone.values.push_back(bulkText(100 * i));
        come.values.push_back("( 1.2." + std::to_string(i) + " SUP bulkType" +
                              std::to_string(100 * i - 1) + " )");
    }
    EXPECT_EQ(modify(server, {{1, gone}, {0, come}}), 0);
    const auto changed = Clock::now();
    const auto seconds = [](auto duration) {
        return std::chrono::duration<double>(duration).count();
    };
    RecordProperty("start", std::to_string(seconds(started - begin)));
    RecordProperty("read", std::to_string(seconds(read - started)));
    RecordProperty("change", std::to_string(seconds(changed - read)));
    // Whatever grows with the square takes minutes; a sanitizer takes ten times as long as none.
    EXPECT_LT(seconds(changed - begin), 30);
}

TEST(SchemaOptions, MistakesAreExplained) {
    const std::pair<std::vector<std::string>, const char *> cases[] = {
        {{"--schema", "/no/such/file"}, "/no/such/file"},
        {{"--schema-verbatim", "/no/such/file"}, "/no/such/file"},
        {{"--schema-size", "-1"}, "--schema-size"},
        {{"--schema-size", "1000001"}, "--schema-size"},
    };
    for (const auto &[arguments, part] : cases) {
        std::vector<std::string> command = {STRATA_SIM};
        command.insert(command.end(), arguments.begin(), arguments.end());
        const auto result = runCommand(command);
        EXPECT_EQ(result.code, 2) << arguments[0];
        EXPECT_TRUE(contains(result.output, part)) << result.output;
    }
}

} // namespace
