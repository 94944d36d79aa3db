#include "schema/built_in.h"

#include "schema/files.h"

#include <sstream>

namespace stratasim::schema {

Model::Elements builtInElements() {
    Files files;
    for (const std::string_view text : {kBuiltInRules, kBuiltInTypes, kBuiltInClasses}) {
        std::istringstream in{std::string(text)};
        files.read(in, "the built-in schema");
    }
    Model::Elements elements;
    for (Element &element : files.parse())
        elements[indexOf(element->kind)].push_back(std::move(element));
    return elements;
}

} // namespace stratasim::schema
