#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

/** Messages put together by hand: nothing here knows how the server reads or writes them. */
namespace wire {

std::string tlv(std::uint8_t tag, std::string_view content);
inline std::string text(std::string_view value) {
    return tlv(0x04, value);
}
inline std::string number(std::uint8_t value) {
    return tlv(0x02, std::string(1, static_cast<char>(value)));
}
/** An INTEGER whose content is given in hexadecimal digits. */
std::string wideNumber(std::string_view digits);
inline std::string enumerated(std::uint8_t value) {
    return tlv(0x0a, std::string(1, static_cast<char>(value)));
}
inline std::string boolean(bool value) {
    return tlv(0x01, value ? "\xff" : std::string(1, '\0'));
}
std::string hex(std::string_view digits);

/** LDAPMessage { id, op } */
std::string message(std::uint8_t id, std::string_view op, std::string_view controls = {});
/** A null value is none. */
std::string control(std::string_view oid, bool critical, const std::string *value = nullptr);

std::string bind(std::string_view dn, std::string_view password, std::uint8_t version = 3);
std::string equality(std::string_view attribute, std::string_view value);
std::string present(std::string_view attribute);

struct Search {
    std::string base = "dc=example,dc=com";
    std::uint8_t scope = 2;
    std::uint8_t sizeLimit = 0;
    std::string filter = present("objectClass");
    std::vector<std::string> attributes = {"1.1"};
    bool typesOnly = false;
};
std::string search(const Search &search);

struct Values {
    std::string name;
    std::vector<std::string> values;
};
std::string attribute(const Values &attribute);
std::string add(std::string_view dn, const std::vector<Values> &attributes);
struct Mod {
    std::uint8_t kind; // 0 add, 1 delete, 2 replace, 3 increment
    Values attribute;
};
std::string modify(std::string_view dn, const std::vector<Mod> &changes);
std::string remove(std::string_view dn);
std::string rename(std::string_view dn, std::string_view newRdn, bool deleteOld,
                   const char *newSuperior = nullptr);
std::string compare(std::string_view dn, std::string_view attribute, std::string_view value);
/** Request 2.16.840.1.907341.1.27.100.`number`; a null value is none. */
std::string extended(std::string_view oid, const std::string *value = nullptr);
std::string strataOid(int number);

/** One element of received bytes. */
struct Element {
    std::uint8_t tag;
    std::string content;
};
/** All elements of `data`; a test failure when it is not a whole number of them. */
std::vector<Element> elements(std::string_view data);

/** A control of a response. */
struct Control {
    std::string oid;
    std::string value;
    bool operator==(const Control &) const = default;
};

/** What a response says, read on its own. */
struct Response {
    int id = -1;
    std::uint8_t op = 0;
    int code = -1;
    std::string matched;
    std::string diagnostic;
    std::string oid = "none";
    std::string value = "none";
    std::vector<std::string> entries;                 // DNs
    std::vector<std::vector<Values>> entryAttributes; // of each entry
    std::vector<std::vector<Control>> entryControls;  // of each entry
    std::vector<Control> controls;                    // of the result
    std::vector<std::string> events;                  // values of intermediate responses
    std::size_t messages = 0;
};
/** Reads the answer to one request: entries, if any, and the result. */
Response parse(std::string_view data);

} // namespace wire
