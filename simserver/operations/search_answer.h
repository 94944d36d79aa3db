#pragma once

#include "filter.h"
#include "operations/operations.h"
#include "operations/search_controls.h"
#include "operations/selection.h"
#include "operations/walk.h"

#include <cstdint>
#include <string>

namespace stratasim {

struct SearchRequest {
    std::int32_t id = 0;
    std::string base; // as it was received
    Scope scope = Scope::Base;
    std::int32_t sizeLimit = 0; // 0 is none
    std::int32_t timeLimit = 0; // seconds; 0 is none
    Filter filter;
    Selection selection;
    SearchControls controls;
};

/** Writes the messages that answer one search, and keeps to its size limit. */
class SearchAnswer {
  public:
    SearchAnswer(const Context &context, SearchRequest request);
    ~SearchAnswer() { --directory_.monitor.openSearches; }
    SearchAnswer(const SearchAnswer &) = delete;
    SearchAnswer &operator=(const SearchAnswer &) = delete;

    Directory &directory() const { return directory_; }
    const SearchRequest &request() const { return request_; }
    bool matches(const Node &node) const {
        return request_.filter.evaluate(node) == Filter::Match::True;
    }

    /** Appends an entry; `controls` are those of its message. It does not count as sent. */
    void writeEntry(std::string &out, const Node &node, std::string controls = {}) const;
    /** Counts an entry as sent; false when the client wants no more of them. */
    bool countEntry();
    /** Appends the SearchResultDone. */
    void finish(std::string &out, const Result &result) const;

  private:
    void appendEntry(std::string &out, const Node &node, std::string controls) const;

    Directory &directory_;
    const Connection &connection_;
    Identity who_;
    SearchRequest request_;
    std::int32_t sent_ = 0;
};

/** What is to be known when a control of the result is written. */
struct SearchFacts {
    Directory &directory;
    const SearchRequest &request;
    std::int32_t sent;
};

/** The controls of a result, as its search asked for them. */
std::string resultControls(const SearchFacts &facts);

/** The attributes that tell the rights of `who` on the entry. */
std::vector<Attribute> rightsAttributes(const Directory &directory, const Identity &who,
                                        const RightsControl &asked, const Node &node);

} // namespace stratasim
