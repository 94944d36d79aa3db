#include "schema.h"

#include "text.h"

#include <algorithm>
#include <utility>

namespace stratasim::schema {
namespace {

// A thread works on one directory at a time, and names and values are compared everywhere.
thread_local const Slot *slotInForce = nullptr;

const Model &model() {
    return slotInForce != nullptr ? **slotInForce : *Model::builtIn();
}

const TypeFacts *factsOf(std::string_view key) {
    return model().typeOfKey(key.substr(0, key.find(';')));
}

bool isDescription(std::string_view text) {
    const auto allowed = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '.' || c == ';';
    };
    return !text.empty() && text.front() != '-' && text.front() != ';' && text.front() != '.' &&
           std::all_of(text.begin(), text.end(), allowed);
}

} // namespace

InForce::InForce(const Slot &slot) : previous_(std::exchange(slotInForce, &slot)) {}

InForce::~InForce() {
    slotInForce = previous_;
}

std::string keyOf(std::string_view description) {
    std::string key = lowerCase(description);
    if (!isDescription(key))
        return {};
    const std::size_t end = std::min(key.find(';'), key.size());
    if (const TypeFacts *type = model().type(std::string_view(key).substr(0, end)))
        key.replace(0, end, type->key);
    return key;
}

bool isSubtype(std::string_view key, std::string_view wanted) {
    return key.starts_with(wanted) && (key.size() == wanted.size() || key[wanted.size()] == ';');
}

Rule ruleOf(std::string_view key) {
    const TypeFacts *type = factsOf(key);
    return type == nullptr ? Rule::CaseIgnore : type->rule;
}

bool isOperational(std::string_view key) {
    const TypeFacts *type = factsOf(key);
    return type != nullptr && type->operational;
}
bool isReadOnly(std::string_view key) {
    const TypeFacts *type = factsOf(key);
    return type != nullptr && type->readOnly;
}
bool isSingleValued(std::string_view key) {
    const TypeFacts *type = factsOf(key);
    return type != nullptr && type->single;
}

std::vector<std::string> attributesOfClass(std::string_view name) {
    return model().attributesOfClass(name);
}

} // namespace stratasim::schema
