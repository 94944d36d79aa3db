#include "operations/search_answer.h"

#include <utility>

namespace stratasim {

SearchAnswer::SearchAnswer(Directory &directory, Identity who, SearchRequest request)
    : directory_(directory), who_(std::move(who)), request_(std::move(request)) {
    ++directory_.monitor.openSearches;
}

void SearchAnswer::writeEntry(std::string &out, const Node &node, std::string controls) const {
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
    appendResult(out, request_.id, tag::kSearchDone, result,
                 resultControls({directory_, request_, sent_}));
}

} // namespace stratasim
