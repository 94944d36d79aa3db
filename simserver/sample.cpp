#include "sample.h"

#include "text.h"

#include <fmt/format.h>

#include <array>
#include <string>
#include <vector>

namespace stratasim {
namespace {

// The two numbers have no common divisor, so that walking both lists in step gives each pair of
// names once before it repeats.
constexpr std::array kGivenNames = {"Ada",   "Bruno", "Celia", "Dario", "Elin",  "Farid",
                                    "Greta", "Hanno", "Ines",  "Jonas", "Kiran", "Livia",
                                    "Marek", "Noemi", "Oskar", "Petra", "Quinn", "Rosa",
                                    "Soren", "Tamar", "Ugo",   "Vera",  "Wanda", "Yusuf"};
constexpr std::array kSurnames = {
    "Brandt", "Castell",   "Duarte", "Ekholm", "Farkas",  "Grieg",   "Halloran", "Ibsen",  "Jansen",
    "Kovac",  "Lindqvist", "Moreau", "Nakano", "Okafor",  "Pereira", "Quist",    "Rahman", "Sorel",
    "Tanaka", "Ulmer",     "Valdez", "Weaver", "Xenakis", "Yamada",  "Zeller"};
constexpr std::array kTitles = {"Engineer", "Analyst", "Manager", "Technician", "Consultant"};

struct Location {
    const char *ou;
    const char *description;
    const char *dialCode;
    std::array<const char *, 3> cities;
    int people;
};

constexpr std::array kLocations = {
    Location{"people", "Head office", "+49 30 5550", {"Berlin", "Berlin", "Potsdam"}, 120},
    Location{"emea",
             "Europe, Middle East and Africa",
             "+46 8 5550",
             {"Stockholm", "Paris", "Lagos"},
             80},
    Location{"apac", "Asia and Pacific", "+81 3 5550", {"Tokyo", "Singapore", "Sydney"}, 60},
    Location{"americas", "The Americas", "+1 617 5550", {"Boston", "Toronto", "Lima"}, 60},
};

Dn under(const std::string &rdn, const std::string &parent) {
    return requireDn(fmt::format("{},{}", rdn, parent));
}

std::string addUnit(Tree &tree, const std::string &ou, const std::string &description) {
    Entry entry;
    entry.set("objectClass", {"top", "organizationalUnit"});
    entry.add("ou", ou);
    entry.add("description", description);
    return tree.add(under("ou=" + ou, kSampleSuffix), std::move(entry)).dn;
}

std::string addPerson(Tree &tree, const Location &location, const std::string &parent, int number) {
    const auto index = static_cast<std::size_t>(number);
    const std::string given = kGivenNames[index % kGivenNames.size()];
    const std::string surname = kSurnames[index % kSurnames.size()];
    const std::string uid = lowerCase(given + "." + surname);
    Entry entry;
    entry.set("objectClass", {"top", "person", "organizationalPerson", "inetOrgPerson"});
    entry.add("cn", given + " " + surname);
    entry.add("sn", surname);
    entry.add("givenName", given);
    entry.add("uid", uid);
    entry.add("mail", uid + "@example.com");
    entry.add("title", kTitles[index % kTitles.size()]);
    entry.add("l", location.cities[index % location.cities.size()]);
    entry.add("telephoneNumber", fmt::format("{}{:03}", location.dialCode, number));
    entry.add("employeeNumber", fmt::format("{}", 1000 + number));
    entry.add("userPassword", "changeme");
    return tree.add(under("cn=" + given + " " + surname, parent), std::move(entry)).dn;
}

void addGroup(Tree &tree, const std::string &parent, const std::string &cn,
              std::vector<std::string> members) {
    Entry entry;
    entry.set("objectClass", {"top", "groupOfNames"});
    entry.add("cn", cn);
    entry.set("member", std::move(members));
    tree.add(under("cn=" + cn, parent), std::move(entry));
}

void addServers(Tree &tree) {
    constexpr std::array cities = {"Berlin", "Stockholm", "Tokyo"};
    const std::string parent = addUnit(tree, "servers", "Directory servers");
    for (std::size_t i = 0; i < cities.size(); ++i) {
        Entry entry;
        entry.set("objectClass", {"top", "applicationProcess"});
        entry.add("cn", fmt::format("strata{}", i + 1));
        entry.add("l", cities[i]);
        entry.add("description", fmt::format("Directory server {}", i + 1));
        tree.add(under(fmt::format("cn=strata{}", i + 1), parent), std::move(entry));
    }
}

void addTop(Tree &tree) {
    Entry entry;
    entry.set("objectClass", {"top", "dcObject", "organization"});
    entry.add("dc", "example");
    entry.add("o", "Example");
    entry.add("description", "Sample organisation");
    tree.addRoot(requireDn(kSampleSuffix), std::move(entry));
}

} // namespace

void loadSample(Tree &tree) {
    addTop(tree);
    std::vector<std::vector<std::string>> people;
    int number = 0;
    for (const Location &location : kLocations) {
        const std::string parent = addUnit(tree, location.ou, location.description);
        auto &here = people.emplace_back();
        for (int i = 0; i < location.people; ++i)
            here.push_back(addPerson(tree, location, parent, number++));
    }
    const std::string groups = addUnit(tree, "groups", "Groups");
    addGroup(tree, groups, "helpdesk", {people[0][1], people[0][2]});
    addGroup(tree, groups, "operators", {people[0][3]});
    for (std::size_t i = 0; i < kLocations.size(); ++i)
        addGroup(tree, groups, fmt::format("all-{}", kLocations[i].ou), people[i]);
    addServers(tree);
}

} // namespace stratasim
