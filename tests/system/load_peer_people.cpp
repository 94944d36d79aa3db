#include "system/load_peer_people.h"

#include <algorithm>
#include <cstdint>
#include <fmt/format.h>
#include <ldap.h>
#include <random>
#include <stdexcept>
#include <vector>

namespace test {
namespace {

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(c < 0x80 ? tolower(c) : c); });
    return text;
}

std::string base64(const std::string &bytes) {
    constexpr char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        std::uint32_t group = 0;
        for (std::size_t j = i; j < i + 3; ++j)
            group = group << 8U | (j < bytes.size() ? static_cast<unsigned char>(bytes[j]) : 0U);
        for (int shift = 18; shift >= 0; shift -= 6)
            text += digits[group >> shift & 63U];
    }
    for (std::size_t i = 0; i < (3 - bytes.size() % 3) % 3; ++i)
        text[text.size() - 1 - i] = '=';
    return text;
}

// RFC 2849: SAFE-STRING.
bool isSafe(const std::string &value) {
    const auto isSafeByte = [](char c) { return c > 0 && c != '\r' && c != '\n'; };
    return value.empty() ||
           (std::all_of(value.begin(), value.end(), isSafeByte) && value[0] != ' ' &&
            value[0] != ':' && value[0] != '<' && value.back() != ' ');
}

struct Person {
    std::string rdn;
    std::string name; // of the RDN
    int unit = 0;
    Entry attributes;
};

using Line = std::pair<std::string, std::string>;

class Writer {
  public:
    Writer(const PeoplePlan &plan, std::ostream &out, Tree *tree)
        : plan_(plan), out_(out), tree_(tree) {}

    PeopleCounts write();

  private:
    [[nodiscard]] std::string unitDn(int unit) const {
        return fmt::format("ou=Unit {:02},{}", unit, plan_.base);
    }
    [[nodiscard]] std::string dnOf(const Person &person) const {
        return person.rdn + "," + unitDn(person.unit);
    }
    [[nodiscard]] Person person(int number) const;
    void addOrganizationalUnit(const std::string &dn, const std::string &name);
    void add(const std::string &dn, const Entry &attributes);
    void change(int number);
    void modify(const Person &person, int kind);
    void remove(const std::string &dn);
    void rename(int number);
    void addAndRemoveBranch();
    void begin(const std::string &dn, const char *changeType);
    void changeLines(const std::vector<Line> &lines);
    Entry *entry(const std::string &dn) {
        return tree_ == nullptr ? nullptr : &tree_->at(normalizedDn(dn));
    }

    const PeoplePlan &plan_;
    std::ostream &out_;
    Tree *tree_;
    PeopleCounts counts_;
};

std::string photoOf(std::mt19937 &random) {
    std::string photo;
    for (int i = 0; i < 60; ++i)
        photo += static_cast<char>(random() & 0xffU);
    return photo;
}

Person Writer::person(int number) const {
    std::mt19937 random(static_cast<unsigned>(number));
    Person person;
    person.unit = number % plan_.units;
    person.name = fmt::format("Person {:06}", number);
    person.rdn = "cn=" + person.name;
    if (number % 50 == 7) {
        person.rdn += "\\, Jr.";
        person.name += ", Jr.";
    } else if (number % 60 == 11) {
        person.rdn += " J\xc3\xbcnger";
        person.name += " J\xc3\xbcnger";
    }
    Entry &all = person.attributes;
    all["objectclass"] = {"top", "person", "organizationalPerson", "inetOrgPerson"};
    all["cn"] = {person.name};
    all["sn"] = {fmt::format("Sur{}", random() % 1000)};
    all["givenname"] = {number % 13 == 0 ? "Zo\xc3\xab" : "Ada"};
    for (int i = 0; i <= number % 3; ++i)
        all["mail"].insert(fmt::format("p{}.{}@example.com", number, i));
    all["telephonenumber"] = {fmt::format("+49 30 {}", 100000 + number)};
    all["employeenumber"] = {std::to_string(number)};
    if (number % 3 == 0)
        all["description"].insert(std::string(200 + random() % 200, 'x') + std::to_string(number));
    if (number % 7 == 0)
        all["description"].insert("\xc3\x9c" + std::string(5, ' ') + "ber " +
                                  std::to_string(number));
    if (number % 10 == 0)
        all["jpegphoto"] = {photoOf(random)};
    return person;
}

void Writer::begin(const std::string &dn, const char *changeType) {
    writeLdifLine(out_, "dn", dn);
    if (changeType != nullptr)
        out_ << "changetype: " << changeType << '\n';
}

void Writer::add(const std::string &dn, const Entry &attributes) {
    begin(dn, counts_.adds % 5 == 4 ? "add" : nullptr);
    for (const auto &[type, values] : attributes)
        for (const std::string &value : values)
            writeLdifLine(out_, type, value);
    out_ << '\n';
    ++counts_.adds;
    if (tree_ != nullptr)
        (*tree_)[normalizedDn(dn)] = attributes;
}

void Writer::addOrganizationalUnit(const std::string &dn, const std::string &name) {
    add(dn, {{"objectclass", {"top", "organizationalUnit"}}, {"ou", {name}}});
}

void Writer::remove(const std::string &dn) {
    begin(dn, "delete");
    out_ << '\n';
    ++counts_.deletes;
    if (tree_ != nullptr)
        tree_->erase(normalizedDn(dn));
}

void Writer::changeLines(const std::vector<Line> &lines) {
    for (const auto &[type, value] : lines)
        type == "-" ? void(out_ << "-\n") : writeLdifLine(out_, type, value);
}

// Each kind can be told from its absence, and would not succeed or not be the same twice.
void Writer::modify(const Person &person, int kind) {
    const std::string dn = dnOf(person);
    const std::string newMail = "new." + *person.attributes.at("mail").begin();
    Entry *changed = entry(dn);
    begin(dn, "modify");
    ++counts_.modifies;
    if (kind == 0) {
        changeLines({{"add", "mail"},
                     {"mail", newMail},
                     {"-", ""},
                     {"replace", "givenname"},
                     {"givenname", "R\xc3\xa9placed"},
                     {"-", ""}});
        if (changed != nullptr)
            (*changed)["mail"].insert(newMail), (*changed)["givenname"] = {"R\xc3\xa9placed"};
    } else if (kind == 1) {
        changeLines({{"delete", "telephonenumber"},
                     {"telephonenumber", *person.attributes.at("telephonenumber").begin()},
                     {"-", ""}});
        if (changed != nullptr)
            changed->erase("telephonenumber");
    } else {
        changeLines({{"delete", "employeenumber"},
                     {"-", ""},
                     {"add", "title"},
                     {"title", "one"},
                     {"title", "two"},
                     {"-", ""}});
        if (changed != nullptr)
            changed->erase("employeenumber"), (*changed)["title"] = {"one", "two"};
    }
    out_ << '\n';
}

// Of every tenth person, once some more were added.
void Writer::change(int number) {
    const Person changed = person(number);
    const int kind = number / 10 % 4;
    kind == 3 ? remove(dnOf(changed)) : modify(changed, kind);
}

// In place and to another unit, with and without the old RDN.
void Writer::rename(int number) {
    const Person renamed = person(number);
    const std::string name = fmt::format("Renamed {:06}", number);
    const bool keepsOldRdn = number % 3 == 0, moves = number % 2 == 0;
    const int unit = moves ? (renamed.unit + 1) % plan_.units : renamed.unit;
    begin(dnOf(renamed), number % 4 == 0 ? "moddn" : "modrdn");
    out_ << "newrdn: cn=" << name << "\ndeleteoldrdn: " << (keepsOldRdn ? 0 : 1) << '\n';
    if (moves)
        writeLdifLine(out_, "newsuperior", unitDn(unit));
    out_ << '\n';
    ++counts_.renames;
    if (tree_ == nullptr)
        return;
    auto node = tree_->extract(normalizedDn(dnOf(renamed)));
    node.key() = normalizedDn("cn=" + name + "," + unitDn(unit));
    if (!keepsOldRdn)
        node.mapped()["cn"].clear();
    node.mapped()["cn"].insert(name);
    tree_->insert(std::move(node));
}

// Children straight behind their parents, and gone before them.
void Writer::addAndRemoveBranch() {
    std::vector<std::string> dns = {fmt::format("ou=Branch {},{}", plan_.first, plan_.base)};
    for (int i = 0; i < 20; ++i)
        dns.push_back(fmt::format("ou=Deep {},{}", i, dns[static_cast<std::size_t>(i / 2)]));
    for (const std::string &dn : dns)
        addOrganizationalUnit(dn, dn.substr(3, dn.find(',') - 3));
    std::for_each(dns.rbegin(), dns.rend(), [this](const std::string &dn) { remove(dn); });
}

PeopleCounts Writer::write() {
    out_ << "version: 1\n\n# people, and what becomes of them\n";
    if (plan_.first == 0) {
        addOrganizationalUnit(plan_.base, plan_.base.substr(3, plan_.base.find(',') - 3));
        for (int unit = 0; unit < plan_.units; ++unit)
            addOrganizationalUnit(unitDn(unit), fmt::format("Unit {:02}", unit));
    }
    for (int i = 0; i < plan_.people; ++i) {
        const int number = plan_.first + i;
        const Person added = person(number);
        add(dnOf(added), added.attributes);
        if (plan_.changes && i % 10 == 9)
            change(number - 9);
    }
    if (plan_.changes)
        addAndRemoveBranch();
    // Of people to whom no change was made.
    for (int i = 0; i < plan_.renames && 10 * i + 1 < plan_.people; ++i)
        rename(plan_.first + 10 * i + 1);
    return counts_;
}

} // namespace

std::string normalizedDn(const std::string &dn) {
    LDAPDN parsed = nullptr;
    char *text = nullptr;
    if (ldap_str2dn(dn.c_str(), &parsed, LDAP_DN_FORMAT_LDAPV3) != LDAP_SUCCESS ||
        ldap_dn2str(parsed, &text, LDAP_DN_FORMAT_LDAPV3) != LDAP_SUCCESS)
        throw std::runtime_error("no DN: " + dn);
    std::string normalized = lowerCase(text);
    ldap_memfree(text);
    ldap_dnfree(parsed);
    return normalized;
}

void writeLdifLine(std::ostream &out, const std::string &type, const std::string &value) {
    constexpr std::size_t width = 76;
    const std::string line = isSafe(value) ? type + ": " + value : type + ":: " + base64(value);
    out << line.substr(0, width) << '\n';
    for (std::size_t at = width; at < line.size(); at += width - 1)
        out << ' ' << line.substr(at, width - 1) << '\n';
}

PeopleCounts writePeople(const PeoplePlan &plan, std::ostream &out, Tree *tree) {
    return Writer(plan, out, tree).write();
}

} // namespace test
