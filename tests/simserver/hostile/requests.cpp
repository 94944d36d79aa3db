#include "hostile/requests.h"

#include "digest.h"
#include "events.h"
#include "lburp.h"
#include "request_values.h"

namespace {

using wire::tlv;

void add(std::vector<std::string> &all, const std::vector<std::string> &more) {
    all.insert(all.end(), more.begin(), more.end());
}

std::vector<std::string> binds() {
    const std::string text = digest_client::Response{.nonce = "x"}.text();
    return {wire::bind("", ""),
            wire::bind(kAdmin, "secret"),
            wire::bind(kAda, "wrong"),
            wire::bind("", "", 2),
            digest_client::begin(),
            digest_client::request("DIGEST-MD5", &text),
            digest_client::request("EXTERNAL")};
}

std::vector<std::string> filters() {
    const std::string substrings =
        tlv(0xa4, wire::text("cn") + tlv(0x30, tlv(0x80, "a") + tlv(0x81, "b") + tlv(0x82, "c")));
    const std::string extensible = tlv(0xa9, tlv(0x81, "caseIgnoreMatch") + tlv(0x82, "cn") +
                                                 tlv(0x83, "Ada Brandt") + tlv(0x84, "\xff"));
    return {wire::equality("cn", "Ada Brandt"),
            wire::present("sn"),
            substrings,
            extensible,
            tlv(0xa5, wire::text("uid") + wire::text("m")),
            tlv(0xa6, wire::text("uid") + wire::text("m")),
            tlv(0xa8, wire::text("uid") + wire::text("m")),
            tlv(0xa0, tlv(0xa1, wire::present("a") + wire::present("b")) +
                          tlv(0xa2, wire::equality("objectClass", "top")))};
}

std::vector<std::string> searches() {
    std::vector<std::string> all;
    for (const std::string &filter : filters())
        all.push_back(wire::search({.filter = filter, .attributes = {"cn", "+"}}));
    all.push_back(wire::search({.base = "", .scope = 0}));
    all.push_back(wire::search({.base = "cn=schema", .scope = 0, .attributes = {"*", "+"}}));
    all.push_back(wire::search({.scope = 1, .sizeLimit = 1, .typesOnly = true}));
    return all;
}

std::vector<std::string> writes() {
    const std::string nova = lburp::dn("Nova");
    const std::string type = "( 1.2.3.4 NAME 'x' SYNTAX 1.3.6.1.4.1.1466.115.121.1.15 )";
    return {lburp::add("Nova"),
            wire::modify(nova, {{2, {"description", {"a", "b"}}}, {1, {"sn", {}}}}),
            wire::modify(kAda, {{0, {"mail", {"a@b"}}}, {3, {"uidNumber", {"1"}}}}),
            wire::modify("cn=schema", {{0, {"attributeTypes", {type}}}}),
            wire::rename(nova, "cn=Nova2", true),
            wire::rename(nova, "cn=Nova+sn=x", false, kEmea),
            wire::compare(kAda, "sn", "Brandt"),
            wire::remove(nova),
            tlv(0x50, "\x05"),
            tlv(0x42, "")};
}

std::vector<std::string> extendedOnes() {
    std::vector<std::string> all = {
        wire::extended("1.3.6.1.4.1.4203.1.11.3"), // who am I
        wire::extended("1.3.6.1.4.1.1466.20037"),  // StartTLS, which is not served
        registration({{1}, {13, 2}}),
        registration({{1, 0, "(&(cn=a*b)(!(sn=\\2a)))"}}, true),
        lburp::start(),
        lburp::operations(1, {lburp::add("a"), lburp::withControls(lburp::describe("a", "b"), "")}),
        lburp::operations(2, {lburp::rename(lburp::dn("a"), "cn=b", kEmea)}),
        lburp::end(2)};
    for (const auto &operation : request_values::operations())
        all.push_back(wire::extended(wire::strataOid(operation.number),
                                     operation.value.empty() ? nullptr : &operation.value));
    return all;
}

} // namespace

std::vector<std::string> knownOperations() {
    std::vector<std::string> all;
    for (const auto &family : {binds(), searches(), writes(), extendedOnes()})
        add(all, family);
    return all;
}

std::vector<std::string> knownControls() {
    const std::string persistent =
        tlv(0x30, wire::number(15) + wire::boolean(false) + wire::boolean(true));
    const std::string rights = tlv(0x30, tlv(0x81, tlv(0x80, "cn") + tlv(0x81, "person")));
    const std::string status = tlv(0x30, tlv(0x80, "\xff") + tlv(0x82, "\xff"));
    const std::string proxied = "dn:" + std::string(kAda);
    const std::string arc = "2.16.840.1.907341.1.27.101.";
    return {"",
            wire::control("2.16.840.1.113730.3.4.2", true),
            wire::control("2.16.840.1.113730.3.4.3", true, &persistent),
            wire::control("2.16.840.1.113730.3.4.18", true, &proxied),
            wire::control(arc + "33", false, &rights),
            wire::control(arc + "40", false, &status),
            wire::control("2.16.840.1.907341.1.1.5150.101.1", true),
            wire::control("1.2.3", false)};
}
