#include "events/operation_events.h"

#include "events/connection_events.h"
#include "schema.h"

#include <algorithm>
#include <iterator>

namespace stratasim {
namespace {

std::int32_t number(std::size_t value) {
    return static_cast<std::int32_t>(std::min<std::size_t>(value, 0x7fffffff));
}

std::int32_t codeOf(const Result &result) {
    return static_cast<std::int32_t>(result.code);
}

std::int32_t timeOf(const Directory &directory) {
    return static_cast<std::int32_t>(directory.now());
}

/** An operation's event: what all of them have in common, and the fields of its own. */
Event operationEvent(std::int32_t type, std::int32_t result, const Directory &directory,
                     const Connection &connection, std::int32_t id, Record::Values fields) {
    fields.emplace_back("connection", ConnectionInfo{static_cast<std::int32_t>(connection.number),
                                                     id, connection.identity.dn});
    fields.emplace_back("number1", timeOf(directory));
    return {type, result, Record(findEvent(type)->kind, std::move(fields)), connection.peer};
}

/** The OIDs of the request's controls, absent when there is none. */
FieldValue controlOids(const Request &request) {
    if (request.controls.empty())
        return {};
    std::vector<std::string> oids;
    for (const Control &control : request.controls)
        oids.emplace_back(control.oid);
    return oids;
}

Record::Values bindFields(const Served &served) {
    ber::Reader fields(served.request.body);
    const auto version = static_cast<std::int32_t>(fields.integer(ber::kInteger, "version"));
    std::string name(fields.text("name"));
    return {{"number2", version},
            {"string1", std::move(name)},
            {"number3", std::int32_t{fields.next("authentication").tag}},
            {"string2", served.connection.identity.dn},
            {"number4", codeOf(served.result)},
            {"sequence1", controlOids(served.request)}};
}

/** The events of add, delete and modify, which name the attributes that the request is about. */
Record::Values updateFields(const Served &served, std::string_view dn,
                            const std::vector<std::string> &names) {
    FieldValue attributes;
    if (!names.empty())
        attributes = names;
    return {{"number2", std::int32_t{served.request.tag}},
            {"number3", number(names.size())},
            {"string1", std::string(dn)},
            {"string2", served.result.matchedDn},
            {"string3", served.result.diagnostic},
            {"number4", codeOf(served.result)},
            {"sequence1", std::move(attributes)}};
}

Record::Values addFields(const Served &served) {
    ber::Reader fields(served.request.body);
    const std::string_view dn = fields.text("entry");
    std::vector<std::string> names;
    for (ber::Reader list = fields.sequence("attributes"); !list.atEnd();)
        names.emplace_back(list.sequence("attribute").text("name"));
    return updateFields(served, dn, names);
}

Record::Values deleteFields(const Served &served) {
    return updateFields(served, asText(served.request.body), {});
}

/** Calls `visit` with kind and attribute of each change of a modify. */
template <typename Visit>
std::string_view eachModification(const Request &request, const Visit &visit) {
    ber::Reader fields(request.body);
    const std::string_view dn = fields.text("entry");
    for (ber::Reader list = fields.sequence("changes"); !list.atEnd();) {
        ber::Reader change = list.sequence("change");
        const auto kind = static_cast<std::int32_t>(change.integer(ber::kEnumerated, "kind"));
        visit(kind, change.sequence("attribute"));
    }
    return dn;
}

Record::Values modifyFields(const Served &served) {
    std::vector<std::string> names;
    const std::string_view dn =
        eachModification(served.request, [&](std::int32_t /*kind*/, ber::Reader attribute) {
            names.emplace_back(attribute.text("name"));
        });
    return updateFields(served, dn, names);
}

Record::Values compareFields(const Served &served) {
    ber::Reader fields(served.request.body);
    std::string dn(fields.text("entry"));
    ber::Reader assertion = fields.sequence("assertion");
    std::string attribute(assertion.text("attribute"));
    // The password never leaves the server, a guess at it neither.
    const bool secret = schema::isSubtype(schema::keyOf(attribute), schema::kPassword);
    std::string value(secret ? "" : assertion.text("value"));
    return {{"number2", number(served.request.controls.size())},
            {"string1", std::move(dn)},
            {"string2", std::move(attribute)},
            {"string3", std::move(value)},
            {"string4", served.result.matchedDn},
            {"string5", served.result.diagnostic},
            {"number3", codeOf(served.result)}};
}

Record::Values modifyDnFields(const Served &served) {
    constexpr std::uint8_t newSuperior = 0x80;
    ber::Reader fields(served.request.body);
    std::string dn(fields.text("entry"));
    std::string rdn(fields.text("new RDN"));
    const bool deleteOld = fields.boolean(ber::kBoolean, "deleteoldrdn");
    const auto superior = fields.takeIf(newSuperior, "new superior");
    return {{"number2", std::int32_t{deleteOld}},
            {"string1", std::move(dn)},
            {"string2", std::move(rdn)},
            {"string3", std::string(asText(superior.value_or(Bytes{})))},
            {"string4", served.result.diagnostic},
            {"number3", codeOf(served.result)},
            {"sequence1", controlOids(served.request)}};
}

Record::Values abandonFields(const Served &served) {
    const auto id =
        static_cast<std::int32_t>(ber::decodeInteger(served.request.body, "id to abandon"));
    return {{"number2", id}, {"number3", number(served.request.controls.size())}};
}

Record::Values searchFields(const Served &served) {
    ber::Reader fields(served.request.body);
    std::string base(fields.text("base"));
    const auto scope = static_cast<std::int32_t>(fields.integer(ber::kEnumerated, "scope"));
    fields.next("derefAliases");
    const auto sizeLimit = static_cast<std::int32_t>(fields.integer(ber::kInteger, "sizeLimit"));
    for (const char *skipped : {"timeLimit", "typesOnly", "filter"})
        fields.next(skipped);
    std::vector<std::string> attributes;
    for (ber::Reader list = fields.sequence("attributes"); !list.atEnd();)
        attributes.emplace_back(list.text("attribute"));
    return {{"number2", scope},
            {"string1", std::move(base)},
            {"string2", served.result.matchedDn},
            {"number3", sizeLimit},
            {"string3", served.result.diagnostic},
            {"sequence1", std::move(attributes)},
            {"sequence2", controlOids(served.request)},
            {"number4", codeOf(served.result)}};
}

struct OperationRow {
    std::uint8_t request;
    EventType event;
    Record::Values (*fields)(const Served &);
};

constexpr OperationRow kOperations[] = {
    {tag::kBindRequest, EventType::Bind, bindFields},
    {tag::kAddRequest, EventType::Add, addFields},
    {tag::kDeleteRequest, EventType::Delete, deleteFields},
    {tag::kModifyRequest, EventType::Modify, modifyFields},
    {tag::kCompareRequest, EventType::Compare, compareFields},
    {tag::kModifyDnRequest, EventType::ModifyDn, modifyDnFields},
    {tag::kAbandonRequest, EventType::Abandon, abandonFields},
    {tag::kSearchRequest, EventType::Search, searchFields},
};

/** What can be said of a request: nothing when its controls were refused and it is none. */
Record::Values readFields(const OperationRow &row, const Served &served) {
    try {
        return row.fields(served);
    } catch (const ber::Error &) {
        return {};
    }
}

Event servedEvent(const Served &served, std::int32_t type, Record::Values fields) {
    return operationEvent(type, codeOf(served.result), served.directory, served.connection,
                          served.request.id, std::move(fields));
}

/** One event for each change that names the password. */
void raisePasswords(const Served &served) {
    if (!served.directory.events.wants(EventType::PasswordModified))
        return;
    const auto raise = [&](std::int32_t kind, std::int32_t values, std::string_view dn) {
        served.directory.events.raise(EventType::PasswordModified, [&](std::int32_t type) {
            return servedEvent(served, type,
                               {{"number2", kind},
                                {"string1", std::string(dn)},
                                {"string2", served.result.diagnostic},
                                {"number3", values},
                                {"number4", codeOf(served.result)}});
        });
    };
    std::vector<std::pair<std::int32_t, std::int32_t>> changes;
    const auto note = [&](std::int32_t kind, ber::Reader attribute) {
        if (!schema::isSubtype(schema::keyOf(attribute.text("name")), schema::kPassword))
            return;
        std::int32_t count = 0;
        for (ber::Reader values(attribute.take(ber::kSet, "values")); !values.atEnd(); ++count)
            values.next("value");
        changes.emplace_back(kind, count);
    };
    try {
        const std::string_view dn = eachModification(served.request, note);
        for (const auto &[kind, values] : changes)
            raise(kind, values, dn);
    } catch (const ber::Error &) {
        return; // its controls were refused, and it is no modify: it changes no password
    }
}

} // namespace

void raiseOperation(const Served &served) {
    if (!served.directory.events.isMonitored())
        return;
    const auto row = std::find_if(
        std::begin(kOperations), std::end(kOperations),
        [&](const OperationRow &known) { return known.request == served.request.tag; });
    if (row == std::end(kOperations))
        return;
    served.directory.events.raise(row->event, [&](std::int32_t type) {
        return servedEvent(served, type, readFields(*row, served));
    });
    if (row->event == EventType::Modify)
        raisePasswords(served);
    if (row->event == EventType::Bind)
        raiseConnectionState(served.directory, served.connection, served.result);
}

void raiseExtended(const Served &served, const ExtendedEvent &operation) {
    const EventType event = operation.trigger ? EventType::Trigger : EventType::Extended;
    served.directory.events.raise(event, [&](std::int32_t type) {
        Record::Values fields = {{"number2", operation.requestBytes},
                                 {"number3", operation.responseBytes},
                                 {"string1", std::string(operation.oid)},
                                 {"string2", std::string(operation.name)},
                                 {"number4", codeOf(served.result)}};
        if (operation.trigger) {
            fields.emplace_back("string3", std::string(operation.responseOid));
            fields.emplace_back("string4", served.result.diagnostic);
            fields.emplace_back("string5", served.directory.uri);
        }
        return servedEvent(served, type, std::move(fields));
    });
}

void raiseUnknown(const Served &served) {
    served.directory.events.raise(EventType::UnknownOperation, [&](std::int32_t type) {
        return Event(type, codeOf(served.result),
                     Record(125, {{"number1", std::int32_t{served.request.tag}},
                                  {"string1", served.result.diagnostic}}),
                     served.connection.peer);
    });
}

void raiseResponse(Directory &directory, const Connection &connection, const Answer &answer) {
    directory.events.raise(EventType::Response, [&](std::int32_t type) {
        FieldValue diagnostic;
        if (!answer.result.diagnostic.empty())
            diagnostic = std::vector<std::string>{answer.result.diagnostic};
        return operationEvent(type, codeOf(answer.result), directory, connection, answer.id,
                              {{"number2", std::int32_t{answer.tag}},
                               {"number3", codeOf(answer.result)},
                               {"number4", number(answer.bytes)},
                               {"string1", answer.result.matchedDn},
                               {"sequence1", std::move(diagnostic)}});
    });
}

// LDAPMessage { id, [APPLICATION 4] SEQUENCE { objectName, attributes SEQUENCE OF SEQUENCE } }
void raiseSearchEntry(Directory &directory, const Connection &connection, std::string_view base,
                      std::string_view message) {
    directory.events.raise(EventType::SearchEntry, [&](std::int32_t type) {
        ber::Reader whole(asBytes(message));
        ber::Reader parts = whole.sequence("message");
        const std::int32_t id = parts.integer32(ber::kInteger, "id");
        ber::Reader entry(parts.take(tag::kSearchEntry, "entry"));
        std::string dn(entry.text("name"));
        std::vector<std::string> names;
        for (ber::Reader list = entry.sequence("attributes"); !list.atEnd();)
            names.emplace_back(list.sequence("attribute").text("name"));
        return operationEvent(type, 0, directory, connection, id,
                              {{"number2", number(message.size())},
                               {"string1", std::move(dn)},
                               {"string2", std::string(base)},
                               {"sequence1", std::move(names)}});
    });
}

} // namespace stratasim
