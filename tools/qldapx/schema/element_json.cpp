#include "schema/element_json.h"

namespace qldapx {

std::string jsonKey(const std::string &keyword) {
    if (keyword == "NAME")
        return "names";
    if (keyword == "RULEID")
        return "ruleId";
    std::string key;
    bool capital = false;
    for (const char c : keyword) {
        if (c != '-')
            key += capital ? std::string(1, c) : lowerCase({&c, 1});
        capital = c == '-';
    }
    return key;
}

Output::Json jsonField(Kind kind, const Field &field) {
    const Keyword *keyword = keywordOf(kind, field.keyword);
    if (keyword != nullptr && keyword->form == Form::Flag)
        return true;
    if (keyword == nullptr || isList(keyword->form))
        return field.values;
    return field.values.empty() ? Output::Json("") : Output::Json(field.values.front());
}

Output::Json jsonElement(const Element &element) {
    Output::Json json = {{"kind", namesOf(element.kind).word}};
    Output::Json extensions = Output::Json::object();
    for (const Field &field : element.fields)
        if (isExtension(field.keyword))
            extensions[field.keyword] = field.values;
        else
            json[jsonKey(field.keyword)] = jsonField(element.kind, field);
    json["extensions"] = std::move(extensions);
    json["definition"] = element.description;
    return json;
}

Output::Json jsonReference(const Element &element) {
    return {{"kind", namesOf(element.kind).word},
            {"name", element.title()},
            {element.kind == Kind::dit_structure_rule ? "ruleId" : "oid", element.key}};
}

} // namespace qldapx
