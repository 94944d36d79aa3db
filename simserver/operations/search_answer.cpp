#include "operations/search_answer.h"

#include "events/operation_events.h"

#include <utility>

namespace stratasim {

SearchAnswer::SearchAnswer(const Context &context, SearchRequest request)
    : directory_(context.directory), connection_(context.connection), who_(context.identity),
      request_(std::move(request)) {
    ++directory_.monitor.openSearches;
}

void SearchAnswer::writeEntry(std::string &out, const Node &node, std::string controls) const {
    const std::size_t start = out.size();
    appendEntry(out, node, std::move(controls));
    raiseSearchEntry(directory_, connection_, request_.base, std::string_view(out).substr(start));
}

void SearchAnswer::appendEntry(std::string &out, const Node &node, std::string controls) const {
    const auto &rights = request_.controls.rights;
    if (!rights && controls.empty())
        return request_.selection.appendEntry(out, request_.id, node);
    Supplement supplement{{}, std::move(controls)};
    if (rights)
        supplement.attributes = rightsAttributes(directory_, who_, *rights, node);
    request_.selection.appendEntry(out, request_.id, node, &supplement);
}

bool SearchAnswer::countEntry() {
    if (request_.sizeLimit > 0 && sent_ == request_.sizeLimit)
        return false;
    ++sent_;
    ++directory_.monitor.entriesSent;
    return true;
}

void SearchAnswer::finish(std::string &out, const Result &result) const {
    const std::size_t start = out.size();
    appendResult(out, request_.id, tag::kSearchDone, result,
                 resultControls({directory_, request_, sent_}));
    raiseResponse(directory_, connection_,
                  {request_.id, tag::kSearchDone, result, out.size() - start});
}

} // namespace stratasim
