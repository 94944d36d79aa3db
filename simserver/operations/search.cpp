#include "operations/operations.h"

#include "filter.h"
#include "operations/selection.h"
#include "schema.h"

#include <fmt/format.h>

#include <chrono>
#include <optional>
#include <utility>
#include <vector>

namespace stratasim {
namespace {

enum class Scope { Base = 0, OneLevel = 1, Subtree = 2 };

struct SearchRequest {
    Scope scope = Scope::Base;
    std::int32_t sizeLimit = 0; // 0 is none
    std::int32_t timeLimit = 0; // seconds; 0 is none
    Filter filter;
    Selection selection;
};

/**
 * Goes through the entries of a scope from the top. It holds no more than the path to where it
 * is, and stays valid when entries come, go or move between two steps.
 */
class Walk {
  public:
    Walk(std::shared_ptr<Node> base, Scope scope) : scope_(scope), first_(std::move(base)) {}

    std::shared_ptr<Node> next() {
        if (first_)
            return begin(std::exchange(first_, nullptr));
        while (!path_.empty()) {
            Step &step = path_.back();
            const auto child = step.node->children.upper_bound(step.last);
            if (child == step.node->children.end()) {
                path_.pop_back();
                continue;
            }
            step.last = child->first;
            // The path may grow below: the step is not to be used after that.
            std::shared_ptr<Node> node = child->second;
            if (step.node->key.empty() && isServerEntry(node->key))
                continue;
            if (scope_ == Scope::Subtree)
                path_.push_back({node, 0});
            return node;
        }
        return nullptr;
    }

  private:
    struct Step {
        std::shared_ptr<Node> node;
        std::uint64_t last; // order of the child that was visited last
    };

    std::shared_ptr<Node> begin(const std::shared_ptr<Node> &base) {
        if (scope_ != Scope::Base)
            path_.push_back({base, 0});
        // The nameless top is no entry, and one level begins below the base.
        const bool included =
            scope_ == Scope::Base || (scope_ == Scope::Subtree && !base->key.empty());
        return included ? base : next();
    }

    Scope scope_;
    std::shared_ptr<Node> first_;
    std::vector<Step> path_;
};

class SearchOperation : public OpenOperation {
  public:
    SearchOperation(Monitor &monitor, std::int32_t id, SearchRequest request,
                    std::shared_ptr<Node> base)
        : monitor_(monitor), id_(id), request_(std::move(request)),
          walk_(std::move(base), request_.scope) {
        if (request_.timeLimit > 0)
            deadline_ = std::chrono::steady_clock::now() + std::chrono::seconds(request_.timeLimit);
    }

    Progress produce(std::string &out, std::size_t budget) override {
        // Entries that do not match produce nothing: without this bound a search through a large
        // tree would keep all other clients waiting.
        int candidates = 1000;
        const std::size_t enough = out.size() + budget;
        if (deadline_ && std::chrono::steady_clock::now() > *deadline_)
            return finish(out, {ResultCode::TimeLimitExceeded, {}, {}});
        while (out.size() < enough && candidates-- > 0) {
            const auto node = walk_.next();
            if (!node)
                return finish(out, {});
            if (request_.filter.evaluate(*node) != Filter::Match::True)
                continue;
            if (request_.sizeLimit > 0 && sent_ == request_.sizeLimit)
                return finish(out, {ResultCode::SizeLimitExceeded, {}, {}});
            request_.selection.appendEntry(out, id_, *node);
            ++sent_;
            ++monitor_.entriesSent;
        }
        return Progress::More;
    }

  private:
    Progress finish(std::string &out, const Result &result) const {
        appendResult(out, id_, tag::kSearchDone, result);
        return Progress::Done;
    }

    Monitor &monitor_;
    std::int32_t id_;
    SearchRequest request_;
    Walk walk_;
    std::int32_t sent_ = 0;
    std::optional<std::chrono::steady_clock::time_point> deadline_;
};

std::int64_t requireRange(std::int64_t value, std::int64_t most, const char *what) {
    if (value < 0 || value > most)
        throw OperationError(ResultCode::ProtocolError,
                             fmt::format("{} {} is out of range", what, value));
    return value;
}

std::int32_t readLimit(ber::Reader &fields, const char *what) {
    constexpr std::int64_t maxInt = 0x7fffffff;
    return static_cast<std::int32_t>(
        requireRange(fields.integer(ber::kInteger, what), maxInt, what));
}

std::shared_ptr<Node> findBase(Directory &directory, const Dn &base, Scope scope) {
    if (isWithin(base.key, kMonitorDn) && directory.tree.find(base.key))
        directory.monitor.refresh(directory.tree, directory.now());
    if (!base.isRoot())
        return directory.tree.require(base);
    return scope == Scope::Base ? makeRootDse(directory) : directory.tree.topNode();
}

} // namespace

// SearchRequest ::= [APPLICATION 3] SEQUENCE { baseObject LDAPDN, scope ENUMERATED,
//     derefAliases ENUMERATED, sizeLimit INTEGER, timeLimit INTEGER, typesOnly BOOLEAN,
//     filter Filter, attributes SEQUENCE OF LDAPString }
std::unique_ptr<OpenOperation> search(Context &context, std::int32_t id, Bytes body) {
    ber::Reader fields(body);
    SearchRequest request;
    const std::string_view baseName = fields.text("search base");
    request.scope =
        static_cast<Scope>(requireRange(fields.integer(ber::kEnumerated, "scope"), 2, "scope"));
    requireRange(fields.integer(ber::kEnumerated, "derefAliases"), 3, "derefAliases");
    request.sizeLimit = readLimit(fields, "sizeLimit");
    request.timeLimit = readLimit(fields, "timeLimit");
    const bool typesOnly = fields.boolean(ber::kBoolean, "typesOnly");
    request.filter = Filter::decode(fields);
    request.selection = Selection::decode(fields.sequence("attributes"), typesOnly);
    auto base = findBase(context.directory, requireDn(baseName), request.scope);
    return std::make_unique<SearchOperation>(context.directory.monitor, id, std::move(request),
                                             std::move(base));
}

} // namespace stratasim
