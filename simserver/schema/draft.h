#pragma once

#include "schema/model.h"

namespace stratasim::schema {

/** The elements of a schema while they are being changed; nothing is checked across them. */
class Draft {
  public:
    explicit Draft(const Model &base);

    /** Throws attributeOrValueExists when there is an element with that OID. */
    void add(Element element);
    /** Throws noSuchAttribute unless the element is there, with the same content. */
    void remove(const Description &description);
    /** Makes these the elements of that kind; those that are there stay in their place. */
    void replaceAll(Kind kind, const std::vector<Element> &elements);
    /** Adds the element in the place of those with its OID or one of its names. */
    void put(Element element);

    Model::Elements finish() const;

  private:
    struct OfKind {
        std::vector<Element> elements; // null where one was
        TextMap<std::size_t> byId;     // built when the first change needs it
        TextMap<std::size_t> byName;
    };

    OfKind &indexed(Kind kind);
    static void append(OfKind &all, Element element);

    std::array<OfKind, kKinds> kinds_;
};

} // namespace stratasim::schema
