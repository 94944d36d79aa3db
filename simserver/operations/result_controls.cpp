#include "operations/search_answer.h"

#include "operations/controls.h"

#include <fmt/format.h>

namespace stratasim {
namespace {

// SEQUENCE { state [0] INTEGER, connections [1] INTEGER, searches [2] INTEGER, uptime [3] INTEGER
// }, each where the request has asked for it.
std::string statusValue(const Directory &directory, const StatusControl &asked) {
    constexpr std::int64_t running = 0;
    const Monitor &monitor = directory.monitor;
    const std::int64_t facts[] = {running, monitor.connections, monitor.openSearches,
                                  directory.now() - monitor.startedAt};
    std::string value;
    ber::Writer writer(value);
    const std::size_t sequence = writer.open(ber::kSequence);
    for (std::size_t i = 0; i < asked.wanted.size(); ++i)
        if (asked.wanted[i])
            writer.integer(facts[i], static_cast<std::uint8_t>(0x80 + i));
    writer.close(sequence);
    return value;
}

/** The DN as the path of a URL: what RFC 3986 does not take there is percent-encoded. */
std::string urlPath(std::string_view dn) {
    constexpr std::string_view plain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                                       "0123456789-._~!$&'()*+,;=:@";
    std::string path;
    for (const char c : dn) {
        if (plain.find(c) != std::string_view::npos)
            path += c;
        else
            path += fmt::format("%{:02X}", static_cast<unsigned char>(c));
    }
    return path;
}

/** Where an entry lies: all of it empty when that is in no partition. */
struct Whereabouts {
    std::string root;
    std::int32_t entryCount = 0;
    std::vector<std::string> servers;
};

Whereabouts locate(Directory &directory, const Dn &base) {
    const auto root = directory.tree.find(directory.topology.partitionOf(base.key));
    if (!root)
        return {};
    const Dn dn = requireDn(root->dn);
    return {root->dn, directory.topology.entryCount(dn), directory.topology.replicaServers(dn)};
}

// SET { base [1], entries sent [2] INTEGER, partition [3], entries of it [4] INTEGER,
//     servers [5] { SEQUENCE OF OCTET STRING }, reference [6] }; strings unless it says otherwise.
// 0x85 carries no constructed bit, although what it holds is constructed.
std::string referenceValue(const SearchFacts &facts) {
    const Dn base = requireDn(facts.request.base);
    const auto node = facts.directory.tree.find(base.key);
    const Whereabouts where = locate(facts.directory, base);
    std::string value;
    ber::Writer writer(value);
    const std::size_t set = writer.open(ber::kSet);
    writer.octets(facts.request.base, 0x81);
    writer.integer(facts.sent, 0x82);
    writer.octets(where.root, 0x83);
    writer.integer(where.entryCount, 0x84);
    const std::size_t servers = writer.open(0x85);
    const std::size_t list = writer.open(ber::kSequence);
    for (const std::string &server : where.servers)
        writer.octets(server);
    writer.close(list);
    writer.close(servers);
    writer.octets(facts.directory.uri + "/" + urlPath(node ? node->dn : base.text), 0x86);
    writer.close(set);
    return value;
}

} // namespace

std::string resultControls(const SearchFacts &facts) {
    const SearchControls &asked = facts.request.controls;
    std::string controls;
    if (asked.status)
        appendControl(controls, control::kServerStatus,
                      statusValue(facts.directory, *asked.status));
    if (asked.reference)
        appendControl(controls, control::kReference, referenceValue(facts));
    return controls;
}

} // namespace stratasim
