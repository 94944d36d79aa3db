#include "options.h"

#include "dn.h"
#include "extended/registry.h"
#include "output.h"
#include "text.h"
#include "tls_options.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <sstream>

namespace stratasim {
namespace {

constexpr const char *kFooter =
    "Example:\n"
    "  strata-sim --listen 127.0.0.1:1389 &\n"
    "  ldapsearch -x -H ldap://127.0.0.1:1389 -b dc=example,dc=com '(cn=Ada Brandt)'\n\n"
    "Within TLS, with a certificate of its own:\n"
    "  strata-sim --tls auto --tls-ca-file ca.pem &\n"
    "  LDAPTLS_CACERT=ca.pem ldapwhoami -x -H ldaps://localhost:1389\n\n"
    "A fault that answers every entry count without its value:\n"
    "  strata-sim --fault partition-entry-count=no-value";

/** Gives the problem in words, as CLI11's checks do, or nothing. */
std::string splitAddress(const std::string &text, Options &options) {
    const std::size_t colon = text.rfind(':');
    const auto port = parseInteger(text.substr(colon + 1));
    if (colon == std::string::npos || colon == 0 || !port || *port < 0 || *port > 65535)
        return fmt::format("\"{}\" is no address: write HOST:PORT, as in 127.0.0.1:1389", text);
    options.host = text.substr(0, colon);
    if (options.host.starts_with('[') && options.host.ends_with(']'))
        options.host = options.host.substr(1, options.host.size() - 2);
    options.port = static_cast<std::uint16_t>(*port);
    return {};
}

void listOperations() {
    for (const ExtendedOperation &operation : extendedOperations())
        fmt::print("{:<30} {}\n", operation.name, operation.oid);
}

void addServing(CLI::App &app, Options &options, std::string &address) {
    app.add_option("--listen", address, "Address to listen at; port 0 takes any free one")
        ->type_name("HOST:PORT")
        ->capture_default_str()
        ->check([&options](const std::string &text) { return splitAddress(text, options); });
    app.add_option("--max-message", options.maxMessage,
                   "Bytes of the largest message that is taken; a larger one ends the connection")
        ->type_name("BYTES")
        ->capture_default_str()
        ->check(CLI::Range(std::size_t{64}, std::size_t{1} << 30U));
    app.add_option("--max-connections", options.maxConnections,
                   "Connections at once; more of them wait until one ends")
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::Range(std::size_t{1}, std::size_t{1000000}));
    app.add_option_function<unsigned>(
           "--idle-time",
           [&options](unsigned seconds) { options.idleTime = std::chrono::seconds(seconds); },
           "Seconds after which a connection ends that has nothing under way, or takes nothing of "
           "its answers; 0 is never")
        ->type_name("SECONDS")
        ->default_val(options.idleTime.count())
        ->check(CLI::Range(0, 1000000));
    app.add_option("--backup-piece", options.backupPiece,
                   "Bytes of an entry's image in one answer to a backup")
        ->type_name("BYTES")
        ->capture_default_str()
        ->check(CLI::Range(std::size_t{64}, std::size_t{16} << 20U));
    app.add_option("--ready-file", options.readyFile,
                   "Write the server's URI to this file when it is listening")
        ->type_name("FILE");
    app.add_flag("--verbose", options.verbose, "Say each operation on standard error");
}

void addLburp(CLI::App &app, Options &options) {
    app.add_option("--lburp-transaction-size", options.lburp.transactionSize,
                   "Operations that one request of a bulk update may have")
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::Range(std::size_t{1}, std::size_t{0x7fffffff}));
    app.add_flag("--no-lburp{false}", options.lburp.served, "Serve no bulk updates");
}

void listEvents() {
    for (const EventRow &row : eventRows()) {
        const std::string_view record = findRecordType(row.kind)->name;
        fmt::print("{:>3} {:<20} {} {}\n", static_cast<int>(row.type), row.name, row.kind,
                   record.empty() ? "-" : record);
    }
}

void addEvents(CLI::App &app, Options &options) {
    app.add_option("--event-queue", options.eventQueue,
                   "Bytes of events that a registration keeps for a client that does not read")
        ->type_name("BYTES")
        ->capture_default_str()
        ->check(CLI::Range(std::size_t{1}, std::size_t{1} << 30U));
    app.add_option("--replay", options.replay.file,
                   "Report the events of this file, one JSON object a line, as if they happened; "
                   "- is the standard input")
        ->type_name("FILE");
    app.add_option("--replay-rate", options.replay.rate,
                   "Events a second; 0 is as fast as they are taken")
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::Range(0, 1000000));
    app.add_option("--replay-repeat", options.replay.repeat,
                   "How often a regular file is replayed; 0 is for ever")
        ->type_name("N")
        ->capture_default_str()
        ->check(CLI::NonNegativeNumber);
}

void addSchema(CLI::App &app, Options &options) {
    app.add_option("--schema", options.schemaFiles,
                   "Add the descriptions of this file, LDIF or slapd's directives, to the schema")
        ->type_name("FILE")
        ->expected(1)
        ->take_all()
        ->check(CLI::ExistingFile);
    app.add_option("--schema-size", options.schemaSize,
                   "Add that many generated attribute types to the schema")
        ->type_name("N")
        ->check(CLI::Range(std::size_t{0}, std::size_t{1000000}));
    app.add_option("--schema-verbatim", options.schemaVerbatimFile,
                   "Show the attributes of this LDIF file in the subschema entry, unchecked")
        ->type_name("FILE")
        ->check(CLI::ExistingFile);
}

/** Gives the problem with a realm in words, or nothing. */
std::string checkRealm(const std::string &realm) {
    const bool bad = std::any_of(realm.begin(), realm.end(), [](char c) {
        return static_cast<unsigned char>(c) < 0x20 || c == 0x7f || c == '"' || c == '\\';
    });
    if (!realm.empty() && !bad)
        return {};
    return fmt::format("\"{}\" is no realm: it needs a character, and no quotes, backslashes and "
                       "control characters",
                       realm);
}

void addContent(CLI::App &app, Options &options) {
    app.add_option("--ldif", options.ldifFile, "Serve the entries of this file, not the sample")
        ->type_name("FILE")
        ->check(CLI::ExistingFile);
    app.add_option("--admin-dn", options.administrator.dn, "DN of the administrator")
        ->type_name("DN")
        ->capture_default_str()
        ->check([](const std::string &text) -> std::string {
            const auto dn = Dn::parse(text);
            return dn && !dn->isRoot() ? "" : fmt::format("\"{}\" is not a DN", text);
        });
    app.add_option("--admin-password", options.administrator.password, "Its password")
        ->type_name("PASSWORD")
        ->capture_default_str()
        ->check([](const std::string &text) -> std::string {
            return text.empty() ? "the administrator needs a password" : "";
        });
    app.add_option("--sasl-realm", options.saslRealms,
                   "Realm that DIGEST-MD5 offers, \"strata\" unless given")
        ->type_name("NAME")
        ->expected(1)
        ->take_all()
        ->allow_extra_args(false) // or CLI11 takes "[a,b]" for two of them
        ->check(checkRealm);
}

void addFaults(CLI::App &app, Options &options, std::vector<std::string> &faults) {
    app.add_option("--fault", faults,
                   "Spoil the answers to an operation: no-oid, oid:OID, no-value, truncate:BYTES, "
                   "value:HEX, code:NUMBER[:TEXT], delay:MS, drop or cut; lburp-operation also "
                   "partway:OPERATIONS; tls-handshake has silent, closed, garbage and delay:MS; "
                   "digest-md5-challenge and digest-md5-proof, the answers to a SASL "
                   "bind, have kinds of their own, which a wrong kind lists; "
                   "@N is for the Nth answer alone, @N+ for those after it, too")
        ->type_name("OPERATION[@N[+]]=KIND[:VALUE]")
        ->expected(1)
        ->take_all()
        ->check([&options](const std::string &text) { return options.faults.add(text); });
}

} // namespace

Options parseOptions(int argc, const char *const *argv, std::optional<int> &exitCode) {
    constexpr int usageError = 2;
    Options options;
    std::string address = fmt::format("{}:{}", options.host, options.port);
    std::vector<std::string> faults;
    bool listing = false;
    bool listingEvents = false;
    CLI::App app("strata-sim: a simulated Strata directory server", "strata-sim");
    app.set_version_flag("--version", fmt::format("strata-sim {}", kVendorVersion));
    app.footer(kFooter);
    app.add_flag("--list-operations", listing, "Print the extended operations and end");
    app.add_flag("--list-events", listingEvents, "Print the events that are monitored and end");
    addServing(app, options, address);
    addTls(app, options.tls);
    addLburp(app, options);
    addEvents(app, options);
    addContent(app, options);
    addFaults(app, options, faults);
    addSchema(app, options);
    app.final_callback([&options] { requireTlsFor(options); });
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success &asked) {
        std::ostringstream text;
        exitCode = app.exit(asked, text, text);
        std::fputs(text.str().c_str(), stdout); // where a failure can be told from others
    } catch (const CLI::ParseError &error) {
        report(fmt::format("strata-sim: {}\nTry: strata-sim --help", error.what()));
        exitCode = usageError;
    }
    if (exitCode || (!listing && !listingEvents))
        return options;
    if (listing)
        listOperations();
    if (listingEvents)
        listEvents();
    exitCode = 0;
    return options;
}

} // namespace stratasim
