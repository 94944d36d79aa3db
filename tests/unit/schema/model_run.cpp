#include "model_run.h"

#include <qldapx/schema_element.h>

namespace qldapx_test::model {

namespace {

// The name form of a structure rule is set under another name than it has.
std::vector<FieldChange> asSet(unsigned kind, std::vector<FieldChange> changes) {
    for (FieldChange &change : changes)
        if (kind == LDAP_SCHEMA_DIT_STRUCTURE_RULE && change.keyword == "FORM")
            change.keyword = "OC";
    return changes;
}

std::vector<FieldChange> allFields(unsigned kind, const Element &element) {
    std::vector<FieldChange> fields;
    for (const auto &[keyword, values] : element.fields)
        if (keyword == "kind")
            fields.push_back({LDAP_MOD_ADD, values.front(), {""}});
        else
            fields.push_back({LDAP_MOD_ADD, keyword, values});
    for (const auto &[name, values] : element.extensions)
        fields.push_back({LDAP_MOD_ADD, name, values});
    return asSet(kind, std::move(fields));
}

std::string descriptionOf(LDAPSchemaElement *element) {
    char *text = nullptr;
    const char *attribute = nullptr;
    EXPECT_EQ(ldap_schema_element_to_string(element, &text, &attribute), LDAP_SUCCESS);
    EXPECT_STREQ(attribute, attributeOf(element->kind));
    std::string description = text != nullptr ? text : "";
    ldap_memfree(text);
    return description;
}

std::string keyOf(LDAPSchemaElement *element) {
    char **values = nullptr;
    if (ldap_schema_get_field_values(element, keyKeyword(element->kind), &values) != LDAP_SUCCESS)
        return "";
    std::string key = values[0];
    ldapx_memfree(values[0]);
    ldapx_memfree(values);
    return key;
}

} // namespace

Comparison::Comparison(std::array<std::vector<Element>, kindCount> elements) {
    Descriptions descriptions;
    for (unsigned kind = 0; kind < kindCount; ++kind)
        for (const Element &element : elements[kind]) {
            descriptions[kind].push_back(describe(kind, element));
            store_.insert(kind, element);
        }
    schema_ = fetch(descriptions);
}

void Comparison::add(unsigned kind, const Element &element) {
    EXPECT_EQ(ldap_schema_add(schema_.get(), kind, FieldChanges(allFields(kind, element)).list()),
              LDAP_SUCCESS)
        << describe(kind, element);
    store_.add(kind, element);
}

Node *Comparison::lookUp(unsigned kind, const std::string &key) {
    LDAPSchemaElement *element = nullptr;
    const std::set<std::string> expected = store_.found(kind, key);
    int result = ldap_schema_get_by_name(schema_.get(), key.c_str(), kind, &element);
    EXPECT_EQ(result, expected.empty() ? LDAP_NO_SUCH_OBJECT : LDAP_SUCCESS)
        << attributeOf(kind) << " " << key;
    EXPECT_EQ(element != nullptr, result == LDAP_SUCCESS);
    if (element == nullptr)
        return nullptr;
    EXPECT_EQ(element->kind, kind);
    const std::string description = descriptionOf(element);
    EXPECT_TRUE(expected.contains(description))
        << attributeOf(kind) << " " << key << " finds " << description;
    return store_.find(kind, key, description);
}

void Comparison::modify(unsigned kind, const std::string &key,
                        const std::vector<FieldChange> &changes) {
    Node *node = lookUp(kind, key);
    int result = ldap_schema_modify(schema_.get(), key.c_str(), kind,
                                    FieldChanges(asSet(kind, changes)).list());
    if (node == nullptr) {
        EXPECT_EQ(result, LDAP_NO_SUCH_OBJECT);
        return;
    }
    const bool isReadable = canBeReadAgain(node->element);
    const std::optional<Element> after =
        isReadable ? changed(kind, node->element, changes) : std::nullopt;
    EXPECT_EQ(result == LDAP_SUCCESS, after.has_value())
        << result << " for " << describe(kind, node->element);
    if (after)
        store_.modify(kind, *node, *after);
    else if (isReadable)
        Store::restore(*node);
}

void Comparison::erase(unsigned kind, const std::string &key) {
    Node *node = lookUp(kind, key);
    int expected = node == nullptr                             ? LDAP_NO_SUCH_OBJECT
                   : model::keyOf(kind, node->element).empty() ? LDAP_PARAM_ERROR
                                                               : LDAP_SUCCESS;
    EXPECT_EQ(ldap_schema_delete(schema_.get(), kind, key.c_str()), expected) << key;
    if (node != nullptr)
        store_.erase(kind, *node);
}

// Which one of several with the same key goes is not defined: the one that is not there any more.
void Comparison::removeElement(unsigned kind, const std::string &key) {
    const std::set<std::string> candidates =
        key[0] >= '0' && key[0] <= '9' ? store_.found(kind, key) : std::set<std::string>();
    EXPECT_EQ(remove_element(schema_.get(), key.c_str(), kind),
              candidates.empty() ? LDAP_NO_SUCH_OBJECT : LDAP_SUCCESS)
        << key;
    if (candidates.empty())
        return;
    std::set<std::string> left;
    Values order;
    for (const auto &[_, description] : contents(kind, &order))
        left.insert(description);
    for (const std::string &description : candidates)
        if (!left.contains(description)) {
            store_.remove(kind, *store_.find(kind, key, description));
            return;
        }
}

void Comparison::save(int answer) {
    const std::vector<Change> changes = store_.takeChanges();
    EXPECT_EQ(toHex(model::save(schema_.get(), answer)), toHex(modifyRequest(changes)));
}

Contents Comparison::contents(unsigned kind, Values *order) {
    Contents contents;
    for (int i = 0; i < ldap_schema_get_count(schema_.get(), kind); ++i) {
        LDAPSchemaElement *element = nullptr;
        EXPECT_EQ(ldap_schema_get_by_index(schema_.get(), i, kind, &element), LDAP_SUCCESS);
        if (element == nullptr)
            return contents;
        order->push_back(keyOf(element));
        contents.emplace(order->back(), descriptionOf(element));
    }
    return contents;
}

void Comparison::compare(unsigned kind) {
    Values order;
    EXPECT_EQ(contents(kind, &order), store_.contents(kind));
    EXPECT_EQ(order, store_.order(kind));
    LDAPSchemaElement *none = nullptr;
    EXPECT_EQ(ldap_schema_get_by_index(schema_.get(), int(store_.count(kind)), kind, &none),
              LDAP_PARAM_ERROR);
    for (const std::string &key : store_.keysEverUsed(kind))
        for (const std::string &written : {key, upperCase(key)})
            lookUp(kind, written);
}

void Comparison::compareAll() {
    for (unsigned kind = 0; kind < kindCount; ++kind)
        compare(kind);
}

} // namespace qldapx_test::model
