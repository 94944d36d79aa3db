#include "wire.h"

#include <gtest/gtest.h>

namespace wire {

std::string tlv(std::uint8_t tag, std::string_view content) {
    std::string out(1, static_cast<char>(tag));
    if (content.size() < 128) {
        out += static_cast<char>(content.size());
    } else {
        out += '\x84';
        for (int shift = 24; shift >= 0; shift -= 8)
            out += static_cast<char>(content.size() >> shift);
    }
    return out.append(content);
}

std::string hex(std::string_view digits) {
    std::string out;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2) {
        if (digits[i] == ' ') {
            --i;
            continue;
        }
        out += static_cast<char>(std::stoi(std::string(digits.substr(i, 2)), nullptr, 16));
    }
    return out;
}

std::string wideNumber(std::string_view digits) {
    return tlv(0x02, hex(digits));
}

std::string message(std::uint8_t id, std::string_view op, std::string_view controls) {
    std::string content = number(id).append(op);
    if (!controls.empty())
        content += tlv(0xa0, controls);
    return tlv(0x30, content);
}

std::string control(std::string_view oid, bool critical, const std::string *value) {
    return tlv(0x30, text(oid) + boolean(critical) + (value != nullptr ? text(*value) : ""));
}

std::string bind(std::string_view dn, std::string_view password, std::uint8_t version) {
    return tlv(0x60, number(version) + text(dn) + tlv(0x80, password));
}

std::string equality(std::string_view attribute, std::string_view value) {
    return tlv(0xa3, text(attribute) + text(value));
}

std::string present(std::string_view attribute) {
    return tlv(0x87, attribute);
}

std::string search(const Search &search) {
    std::string names;
    for (const std::string &name : search.attributes)
        names += text(name);
    return tlv(0x63, text(search.base) + enumerated(search.scope) + enumerated(0) +
                         number(search.sizeLimit) + number(0) + boolean(search.typesOnly) +
                         search.filter + tlv(0x30, names));
}

std::string attribute(const Values &attribute) {
    std::string values;
    for (const std::string &value : attribute.values)
        values += text(value);
    return tlv(0x30, text(attribute.name) + tlv(0x31, values));
}

std::string add(std::string_view dn, const std::vector<Values> &attributes) {
    std::string list;
    for (const Values &values : attributes)
        list += attribute(values);
    return tlv(0x68, text(dn) + tlv(0x30, list));
}

std::string modify(std::string_view dn, const std::vector<Mod> &changes) {
    std::string list;
    for (const Mod &mod : changes)
        list += tlv(0x30, enumerated(mod.kind) + attribute(mod.attribute));
    return tlv(0x66, text(dn) + tlv(0x30, list));
}

std::string remove(std::string_view dn) {
    return tlv(0x4a, dn);
}

std::string rename(std::string_view dn, std::string_view newRdn, bool deleteOld,
                   const char *newSuperior) {
    return tlv(0x6c, text(dn) + text(newRdn) + boolean(deleteOld) +
                         (newSuperior != nullptr ? tlv(0x80, newSuperior) : ""));
}

std::string compare(std::string_view dn, std::string_view attribute, std::string_view value) {
    return tlv(0x6e, text(dn) + tlv(0x30, text(attribute) + text(value)));
}

std::string extended(std::string_view oid, const std::string *value) {
    return tlv(0x77, tlv(0x80, oid) + (value != nullptr ? tlv(0x81, *value) : ""));
}

std::string strataOid(int number) {
    return "2.16.840.1.907341.1.27.100." + std::to_string(number);
}

std::vector<Element> elements(std::string_view data) {
    std::vector<Element> all;
    while (data.size() >= 2) {
        std::size_t length = static_cast<unsigned char>(data[1]);
        std::size_t header = 2;
        if (length >= 0x80) {
            header += length - 0x80;
            length = 0;
            for (std::size_t i = 2; i < header && i < data.size(); ++i)
                length = length * 256 + static_cast<unsigned char>(data[i]);
        }
        if (header + length > data.size())
            break;
        all.push_back(
            {static_cast<std::uint8_t>(data[0]), std::string(data.substr(header, length))});
        data.remove_prefix(header + length);
    }
    EXPECT_TRUE(data.empty()) << data.size() << " bytes are no element";
    return all;
}

namespace {

int smallNumber(const std::string &content) {
    int value = 0;
    for (const char c : content)
        value = value * 256 + static_cast<unsigned char>(c);
    return value;
}

std::vector<Values> readAttributes(const std::string &list) {
    std::vector<Values> attributes;
    for (const Element &element : elements(list)) {
        const auto parts = elements(element.content);
        Values &read = attributes.emplace_back(Values{parts.at(0).content, {}});
        for (const Element &value : elements(parts.at(1).content))
            read.values.push_back(value.content);
    }
    return attributes;
}

/** The controls of a message, whose elements these are. */
std::vector<Control> readControls(const std::vector<Element> &message) {
    std::vector<Control> controls;
    if (message.size() < 3)
        return controls;
    EXPECT_EQ(message[2].tag, 0xa0);
    for (const Element &control : elements(message[2].content)) {
        const auto parts = elements(control.content);
        controls.push_back({parts.at(0).content, parts.at(1).content});
    }
    return controls;
}

} // namespace

Response parse(std::string_view data) {
    Response response;
    for (const Element &whole : elements(data)) {
        ++response.messages;
        const auto parts = elements(whole.content);
        response.id = smallNumber(parts.at(0).content);
        response.op = parts.at(1).tag;
        const auto fields = elements(parts.at(1).content);
        if (response.op == 0x79) {
            EXPECT_EQ(fields.at(0).tag, 0x80);
            EXPECT_EQ(fields.at(0).content, strataOid(81));
            EXPECT_EQ(fields.at(1).tag, 0x81);
            response.events.push_back(fields.at(1).content);
            continue;
        }
        if (response.op == 0x64) {
            response.entries.push_back(fields.at(0).content);
            response.entryAttributes.push_back(readAttributes(fields.at(1).content));
            response.entryControls.push_back(readControls(parts));
            continue;
        }
        response.controls = readControls(parts);
        response.code = smallNumber(fields.at(0).content);
        response.matched = fields.at(1).content;
        response.diagnostic = fields.at(2).content;
        for (std::size_t i = 3; i < fields.size(); ++i)
            (fields[i].tag == 0x8a ? response.oid : response.value) = fields[i].content;
    }
    return response;
}

} // namespace wire
