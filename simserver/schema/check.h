#pragma once

#include "result.h"
#include "schema/model.h"

namespace stratasim::schema {

/** Something in which the elements of a schema do not fit together. */
struct Problem {
    ResultCode code;
    Element element;
    std::string text; // names the element and whatever else it is about
    /** Servers in the field live with it: their own files have such elements. */
    bool bearable = false;
};

/** All of them, in the order of the elements. */
std::vector<Problem> check(const Model &model);

} // namespace stratasim::schema
