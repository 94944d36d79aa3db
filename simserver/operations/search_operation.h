#pragma once

#include "operations/search_answer.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>

namespace stratasim {

/** Sends the entries that match as it comes to them, and then what else there may be. */
class SearchOperation : public OpenOperation {
  public:
    SearchOperation(Context &context, SearchRequest request, std::shared_ptr<Node> base);

    Progress produce(std::string &out, std::size_t budget) override;

  protected:
    /** Goes on when all entries are sent, until `out` has `enough` bytes. */
    virtual Progress produceRest(std::string &out, std::size_t enough);
    Progress finish(std::string &out, const Result &result) const;

    SearchAnswer &answer() { return answer_; }
    const SearchAnswer &answer() const { return answer_; }

  private:
    SearchAnswer answer_;
    Walk walk_;
    std::optional<std::chrono::steady_clock::time_point> deadline_;
};

} // namespace stratasim
