#include "schema/draft.h"

#include "result.h"
#include "schema/tokens.h"
#include "text.h"

#include <fmt/format.h>

namespace stratasim::schema {
namespace {

void requireChangeable(const Description &description) {
    if (isStandard(description))
        throw OperationError(ResultCode::UnwillingToPerform,
                             fmt::format("{} is a standard element", description.title()));
}

} // namespace

Draft::Draft(const Model &base) {
    for (std::size_t kind = 0; kind < kKinds; ++kind)
        kinds_[kind].elements = base.elements()[kind];
}

Draft::OfKind &Draft::indexed(Kind kind) {
    OfKind &all = kinds_[indexOf(kind)];
    if (!all.byId.empty())
        return all;
    all.byId.reserve(all.elements.size());
    for (std::size_t at = 0; at < all.elements.size(); ++at) {
        all.byId.emplace(lowerCase(all.elements[at]->id), at);
        for (const std::string &name : all.elements[at]->names)
            all.byName.emplace(lowerCase(name), at);
    }
    return all;
}

void Draft::append(OfKind &all, Element element) {
    const std::size_t at = all.elements.size();
    all.byId[lowerCase(element->id)] = at;
    for (const std::string &name : element->names)
        all.byName[lowerCase(name)] = at;
    all.elements.push_back(std::move(element));
}

void Draft::add(Element element) {
    OfKind &all = indexed(element->kind);
    const auto there = all.byId.find(lowerCase(element->id));
    if (there != all.byId.end() && all.elements[there->second])
        throw OperationError(
            ResultCode::AttributeOrValueExists,
            fmt::format("{} is there already: delete it in the same request to change it",
                        all.elements[there->second]->title()));
    append(all, std::move(element));
}

void Draft::remove(const Description &description) {
    OfKind &all = indexed(description.kind);
    const auto there = all.byId.find(lowerCase(description.id));
    if (there == all.byId.end() || !all.elements[there->second])
        throw OperationError(ResultCode::NoSuchAttribute,
                             fmt::format("there is no {}", description.title()));
    Element &element = all.elements[there->second];
    if (!isSame(*element, description))
        throw OperationError(ResultCode::NoSuchAttribute,
                             fmt::format("{} has another description: {}", description.title(),
                                         shorten(element->text)));
    requireChangeable(description);
    element = nullptr;
}

void Draft::replaceAll(Kind kind, const std::vector<Element> &elements) {
    TextMap<Element> wanted;
    for (const Element &element : elements)
        if (!wanted.emplace(lowerCase(element->id), element).second)
            throw OperationError(ResultCode::AttributeOrValueExists,
                                 fmt::format("{} is there twice", element->title()));
    for (Element &element : indexed(kind).elements) {
        if (!element)
            continue;
        const auto kept = wanted.find(lowerCase(element->id));
        if (kept != wanted.end() && isSame(*kept->second, *element))
            continue;
        requireChangeable(*element);
        element = nullptr;
    }
    for (const Element &element : elements) {
        OfKind &all = indexed(kind);
        const auto there = all.byId.find(lowerCase(element->id));
        if (there == all.byId.end() || !all.elements[there->second])
            append(all, element);
    }
}

void Draft::put(Element element) {
    OfKind &all = indexed(element->kind);
    const auto clear = [&](const TextMap<std::size_t> &map, const std::string &key) {
        if (const auto there = map.find(lowerCase(key)); there != map.end())
            all.elements[there->second] = nullptr;
    };
    clear(all.byId, element->id);
    for (const std::string &name : element->names)
        clear(all.byName, name);
    append(all, std::move(element));
}

Model::Elements Draft::finish() const {
    Model::Elements elements;
    for (std::size_t kind = 0; kind < kKinds; ++kind)
        for (const Element &element : kinds_[kind].elements)
            if (element)
                elements[kind].push_back(element);
    return elements;
}

} // namespace stratasim::schema
