#pragma once

#include "schema/class_graph.h"

namespace qldapx {

struct GraphStyle {
    std::string title;
    GraphDetail detail = GraphDetail::None;
    std::vector<const Element *> chosen; // drawn with a thick border
};

/** Inheritance of classes as a text for Graphviz's dot. */
std::string drawInheritance(const Model &model, const ClassGraph &graph, const GraphStyle &style);

/** What an entry of the class must and may hold, class by class, as a text for dot. */
std::string drawEntry(const Model &model, const Element &element, const std::string &title);

} // namespace qldapx
