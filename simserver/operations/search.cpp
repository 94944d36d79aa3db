#include "operations/persistent.h"

#include <fmt/format.h>

#include <utility>

namespace stratasim {

SearchOperation::SearchOperation(Context &context, SearchRequest request,
                                 std::shared_ptr<Node> base)
    : answer_(context, std::move(request)), walk_(std::move(base), answer_.request().scope) {
    if (const auto limit = answer_.request().timeLimit; limit > 0)
        deadline_ = std::chrono::steady_clock::now() + std::chrono::seconds(limit);
}

OpenOperation::Progress SearchOperation::produce(std::string &out, std::size_t budget) {
    // Entries that do not match produce nothing: without this bound a search through a large
    // tree, or with a large filter, would keep all other clients waiting.
    constexpr std::size_t effort = 100000, effortOfEntry = 100;
    std::size_t candidates = 1 + effort / (effortOfEntry + answer_.request().filter.parts());
    const schema::InForce inForce(answer_.directory().schema);
    const std::size_t enough = out.size() + budget;
    if (deadline_ && std::chrono::steady_clock::now() > *deadline_)
        return finish(out, {ResultCode::TimeLimitExceeded, {}, {}});
    while (out.size() < enough && candidates-- > 0) {
        const auto node = walk_.next();
        if (!node) {
            deadline_.reset();
            return produceRest(out, enough);
        }
        if (!answer_.matches(*node))
            continue;
        if (!answer_.countEntry())
            return finish(out, {ResultCode::SizeLimitExceeded, {}, {}});
        answer_.writeEntry(out, *node);
    }
    return Progress::More;
}

OpenOperation::Progress SearchOperation::produceRest(std::string &out, std::size_t /*enough*/) {
    return finish(out, {});
}

OpenOperation::Progress SearchOperation::finish(std::string &out, const Result &result) const {
    answer_.finish(out, result);
    return Progress::Done;
}

namespace {

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

// SearchRequest ::= [APPLICATION 3] SEQUENCE { baseObject LDAPDN, scope ENUMERATED,
//     derefAliases ENUMERATED, sizeLimit INTEGER, timeLimit INTEGER, typesOnly BOOLEAN,
//     filter Filter, attributes SEQUENCE OF LDAPString }
SearchRequest decode(const Request &received) {
    ber::Reader fields(received.body);
    SearchRequest request;
    request.id = received.id;
    request.base = fields.text("search base");
    request.scope =
        static_cast<Scope>(requireRange(fields.integer(ber::kEnumerated, "scope"), 2, "scope"));
    requireRange(fields.integer(ber::kEnumerated, "derefAliases"), 3, "derefAliases");
    request.sizeLimit = readLimit(fields, "sizeLimit");
    request.timeLimit = readLimit(fields, "timeLimit");
    const bool typesOnly = fields.boolean(ber::kBoolean, "typesOnly");
    request.filter = Filter::decode(fields);
    request.selection = Selection::decode(fields.sequence("attributes"), typesOnly);
    request.controls = decodeSearchControls(received.controls);
    return request;
}

std::shared_ptr<Node> findBase(Context &context, const Dn &base, Scope scope) {
    Directory &directory = context.directory;
    if (isWithin(base.key, kMonitorDn) && directory.tree.find(base.key))
        directory.monitor.refresh(directory.tree, directory.now(),
                                  directory.topology.schemaState());
    if (!base.isRoot())
        return directory.tree.require(base);
    return scope == Scope::Base ? makeRootDse(directory, context.connection)
                                : directory.tree.topNode();
}

} // namespace

std::unique_ptr<OpenOperation> search(Context &context, const Request &received) {
    SearchRequest request = decode(received);
    auto base = findBase(context, requireDn(request.base), request.scope);
    const auto &persistent = request.controls.persistent;
    if (!persistent)
        return std::make_unique<SearchOperation>(context, std::move(request), std::move(base));
    if (persistent->changesOnly)
        base = nullptr;
    return std::make_unique<PersistentSearch>(context, std::move(request), std::move(base));
}

} // namespace stratasim
