#include "schema/graph.h"

#include "errors.h"
#include "new_file.h"
#include "schema/export.h"
#include "schema/graph_dot.h"
#include "schema/graphviz.h"
#include "text.h"

#include <fmt/format.h>
#include <unistd.h>

namespace qldapx {
namespace {

std::string formatOf(const GraphOptions &options) {
    if (!options.format.empty())
        return options.format;
    if (options.file.empty())
        return "dot";
    const std::string suffix = lowerCase(options.file.substr(options.file.rfind('.') + 1));
    if (suffix == "svg" || suffix == "png")
        return suffix;
    if (suffix == "dot" || suffix == "gv")
        return "dot";
    throw UsageError(fmt::format("the name {} does not say the format", printable(options.file)),
                     "a name that ends in .svg, .png or .dot, or --format");
}

void checkOutput(const GraphOptions &options, const std::string &format) {
    if (!options.file.empty())
        return checkTarget(options.file, options.replace);
    if (format == "png" && isatty(STDOUT_FILENO) == 1)
        throw UsageError("a terminal shows no PNG", "name a file: -o schema.png");
}

std::vector<const Element *> chosenClasses(const Run &run, const Source &source,
                                           const GraphOptions &options) {
    std::vector<const Element *> chosen;
    for (const std::string &name : options.classes)
        for (const Element *element : requireElements(run, source, name, Kind::object_class))
            chosen.push_back(element);
    return chosen;
}

GraphDetail detailOf(const std::string &name) {
    if (name == "must")
        return GraphDetail::Must;
    return name == "attributes" ? GraphDetail::Attributes : GraphDetail::None;
}

std::vector<const Element *> allClasses(const Model &model) {
    std::vector<const Element *> all;
    for (const Element &element : model.elements(Kind::object_class))
        all.push_back(&element);
    return all;
}

std::string dotText(const Run &run, const Source &source, const GraphOptions &options) {
    const auto chosen = chosenClasses(run, source, options);
    const GraphDetail detail = detailOf(options.with);
    if (chosen.size() == 1 && detail == GraphDetail::Attributes && !options.below)
        return drawEntry(
            source.model, *chosen.front(),
            fmt::format("An entry of {}, by {}", chosen.front()->title(), source.name));
    const auto classes = chosen.empty() ? allClasses(source.model)
                                        : relatedClasses(source.model, chosen, options.below);
    const std::string title = fmt::format("{} object class{} of {}", classes.size(),
                                          classes.size() == 1 ? "" : "es", source.name);
    return drawInheritance(source.model, groupClasses(source.model, classes),
                           {title, detail, chosen});
}

} // namespace

void drawSchema(Run &run, const GraphOptions &options) {
    const std::string format = formatOf(options);
    checkOutput(options, format);
    const Source source = readSource(run, options);
    std::string picture = dotText(run, source, options);
    if (format != "dot")
        picture = renderGraph(run.name(), picture, format);
    if (options.file.empty())
        return run.out.text(picture);
    writeNewFile(run, options.file, options.replace, picture);
    run.done(fmt::format("drawn: {}", printable(options.file)),
             {{"file", options.file}, {"format", format}, {"bytes", picture.size()}});
}

} // namespace qldapx
