#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace stratasim {

struct Attribute {
    std::string name; // as its writer spelled it
    std::string key;  // schema::keyOf(name)
    std::vector<std::string> values;
};

/** The attributes of an entry in the order in which they came. */
class Entry {
  public:
    const std::vector<Attribute> &attributes() const { return attributes_; }

    const Attribute *find(std::string_view key) const;
    Attribute *find(std::string_view key);

    /** The attribute with that description, made empty when it is not there yet. */
    Attribute &ensure(std::string_view name);
    void add(std::string_view name, std::string_view value);
    void set(std::string_view name, std::vector<std::string> values);
    void remove(std::string_view key);
    /** Adds an attribute that is not there yet. */
    Attribute &append(Attribute attribute) {
        return attributes_.emplace_back(std::move(attribute));
    }

  private:
    std::vector<Attribute> attributes_;
};

/** The form of a value in which two values of the attribute that match are equal. */
std::string normaliseValue(std::string_view key, std::string_view value);

/** Position of the matching value, or the number of values when there is none. */
std::size_t indexOfValue(const Attribute &attribute, std::string_view value);
inline bool hasValue(const Attribute &attribute, std::string_view value) {
    return indexOfValue(attribute, value) < attribute.values.size();
}

} // namespace stratasim
