#include "entry.h"

#include "dn.h"
#include "schema.h"
#include "text.h"

#include <algorithm>

namespace stratasim {
namespace {

/** The OID or number that a description begins with, and an assertion consists of. */
std::string firstComponent(std::string_view value) {
    constexpr std::string_view blanks = " \t";
    std::string_view text = trim(value);
    if (text.starts_with('('))
        text = trim(text.substr(1));
    return lowerCase(text.substr(0, text.find_first_of(blanks)));
}

} // namespace

Attribute *Entry::find(std::string_view key) {
    const auto found = std::find_if(attributes_.begin(), attributes_.end(),
                                    [key](const Attribute &a) { return a.key == key; });
    return found == attributes_.end() ? nullptr : &*found;
}

const Attribute *Entry::find(std::string_view key) const {
    return const_cast<Entry *>(this)->find(key);
}

Attribute &Entry::ensure(std::string_view name) {
    std::string key = schema::keyOf(name);
    if (Attribute *attribute = find(key))
        return *attribute;
    return attributes_.emplace_back(Attribute{std::string(name), std::move(key), {}});
}

void Entry::add(std::string_view name, std::string_view value) {
    ensure(name).values.emplace_back(value);
}

void Entry::set(std::string_view name, std::vector<std::string> values) {
    ensure(name).values = std::move(values);
}

void Entry::remove(std::string_view key) {
    std::erase_if(attributes_, [key](const Attribute &a) { return a.key == key; });
}

std::string normaliseValue(std::string_view key, std::string_view value) {
    switch (schema::ruleOf(key)) {
    case schema::Rule::Exact:
        return std::string(value);
    case schema::Rule::Telephone: {
        std::string digits = lowerCase(value);
        std::erase_if(digits, [](char c) { return c == ' ' || c == '-'; });
        return digits;
    }
    case schema::Rule::Integer: {
        const auto number = parseInteger(trim(value));
        return number ? std::to_string(*number) : std::string(value);
    }
    case schema::Rule::Dn:
        if (const auto dn = Dn::parse(value))
            return dn->key;
        return foldText(value);
    case schema::Rule::FirstComponent:
        return firstComponent(value);
    case schema::Rule::CaseIgnore:
        break;
    }
    return foldText(value);
}

std::size_t indexOfValue(const Attribute &attribute, std::string_view value) {
    const std::string wanted = normaliseValue(attribute.key, value);
    std::size_t index = 0;
    while (index < attribute.values.size() &&
           normaliseValue(attribute.key, attribute.values[index]) != wanted)
        ++index;
    return index;
}

} // namespace stratasim
