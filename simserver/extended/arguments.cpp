#include "extended/arguments.h"

#include <fmt/format.h>

namespace stratasim {
namespace {

std::vector<std::string_view> readList(ber::Reader list, const std::string &what) {
    std::vector<std::string_view> texts;
    while (!list.atEnd())
        texts.push_back(list.text(what));
    return texts;
}

std::vector<FilterClass> readFilter(ber::Reader groups, const std::string &what) {
    std::vector<FilterClass> filter;
    while (!groups.atEnd()) {
        ber::Reader group = groups.sequence(what);
        FilterClass &added = filter.emplace_back();
        added.name = group.text(what);
        for (const std::string_view name : readList(group.sequence(what), what))
            added.attributes.emplace_back(name);
        group.expectEnd(what);
    }
    return filter;
}

/** Reads count and SET with `read`, which takes what is in each SEQUENCE of the SET. */
template <typename Item, typename Read>
std::vector<Item> readCounted(ber::Reader fields, const std::string &what, const Read &read) {
    const std::int32_t count = fields.integer32(ber::kInteger, what);
    ber::Reader set(fields.take(ber::kSet, what));
    fields.expectEnd(what);
    std::vector<Item> items;
    while (!set.atEnd()) {
        ber::Reader element = set.sequence(what);
        items.push_back(read(element));
        element.expectEnd(what);
    }
    if (static_cast<std::int64_t>(items.size()) != count)
        throw ber::Error(
            fmt::format("{}: {} elements where {} are announced", what, items.size(), count));
    return items;
}

std::vector<std::int32_t> readSizes(ber::Reader fields, const std::string &what) {
    return readCounted<std::int32_t>(
        fields, what, [&](ber::Reader &element) { return element.integer32(ber::kInteger, what); });
}

std::vector<RequestedEvent> readEvents(ber::Reader fields, bool filtered, const std::string &what) {
    return readCounted<RequestedEvent>(fields, what, [&](ber::Reader &element) {
        RequestedEvent event;
        event.type = element.integer32(ber::kInteger, what);
        event.result = element.integer32(ber::kEnumerated, what);
        if (filtered)
            event.filter = element.text(what);
        return event;
    });
}

} // namespace

Arguments::Arguments(std::string_view format, const std::optional<Bytes> &value) {
    if (format.empty()) {
        if (value)
            throw ber::Error("request value: the operation takes none");
        return;
    }
    const bool optional = format.front() == '?';
    if (optional)
        format.remove_prefix(1);
    if (!value) {
        if (optional)
            return;
        throw ber::Error("request value: missing");
    }
    ber::Reader reader(*value);
    for (const char kind : format) {
        const std::string what = fmt::format("request value, element {}", elements_.size() + 1);
        if (kind == 'i')
            elements_.emplace_back(reader.integer32(ber::kInteger, what));
        else if (kind == 's')
            elements_.emplace_back(reader.text(what));
        else if (kind == 'v')
            elements_.emplace_back(asText(reader.rest()));
        else if (kind == 'l')
            elements_.emplace_back(readList(reader.sequence(what), what));
        else if (kind == 'c')
            elements_.emplace_back(readSizes(reader.sequence(what), what));
        else if (kind == 'e' || kind == 'E')
            elements_.emplace_back(readEvents(reader.sequence(what), kind == 'E', what));
        else
            elements_.emplace_back(readFilter(reader.sequence(what), what));
    }
    reader.expectEnd("request value");
}

std::int32_t Arguments::integer(std::size_t index) const {
    return std::get<std::int32_t>(elements_.at(index));
}

std::string_view Arguments::text(std::size_t index) const {
    return std::get<std::string_view>(elements_.at(index));
}

const std::vector<std::string_view> &Arguments::list(std::size_t index) const {
    return std::get<std::vector<std::string_view>>(elements_.at(index));
}

const std::vector<FilterClass> &Arguments::filter(std::size_t index) const {
    return std::get<std::vector<FilterClass>>(elements_.at(index));
}

const std::vector<std::int32_t> &Arguments::sizes(std::size_t index) const {
    return std::get<std::vector<std::int32_t>>(elements_.at(index));
}

const std::vector<RequestedEvent> &Arguments::events(std::size_t index) const {
    return std::get<std::vector<RequestedEvent>>(elements_.at(index));
}

} // namespace stratasim
