#pragma once

#include "operations/search_operation.h"

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace stratasim {

/**
 * A search that stays open: after the entries that match now it reports the changes that match,
 * until it is abandoned. The changes wait for the client as messages, up to a bound.
 */
class PersistentSearch : public SearchOperation, private ChangeWatcher {
  public:
    /** Throws adminLimitExceeded when the connection has too many of them. */
    PersistentSearch(Context &context, SearchRequest request, std::shared_ptr<Node> base);
    ~PersistentSearch() override;
    PersistentSearch(const PersistentSearch &) = delete;
    PersistentSearch &operator=(const PersistentSearch &) = delete;

    void onReady(std::function<void()> wake) override { wake_ = std::move(wake); }

  protected:
    Progress produceRest(std::string &out, std::size_t enough) override;

  private:
    void onChange(const Change &change, std::uint64_t number) override;
    bool isInScope(std::string_view key) const;
    bool concerns(const Change &change) const;
    void keep(std::string message);

    Directory &directory_;
    Connection &connection_;
    std::string baseKey_;
    std::deque<std::string> waiting_;
    std::optional<Result> ending_; // when what waits has been sent
    std::function<void()> wake_;
};

} // namespace stratasim
