// Edits at random, each compared with what plain lists have after the same edit.
#include "model_random.h"

namespace qldapx_test::model {
namespace {

#ifdef __SANITIZE_ADDRESS__
constexpr unsigned seeds = 6, mostElements = 300;
#else
constexpr unsigned seeds = 30, mostElements = 2000;
#endif
constexpr unsigned stepsOfASeed = 250;

std::array<std::vector<Element>, kindCount> randomElements(Random &random, unsigned mostOfAKind) {
    std::array<std::vector<Element>, kindCount> elements;
    for (unsigned kind = 0; kind < kindCount; ++kind)
        for (unsigned count = random.below(mostOfAKind + 1); count > 0; --count)
            elements[kind].push_back(randomElement(random, kind));
    // Only libldap's parser sets a bound.
    for (Element &type : elements[LDAP_SCHEMA_ATTRIBUTE_TYPE])
        if (type.has("SYNTAX") && random.oneIn(2))
            type.fields["SYNTAX"].push_back(std::to_string(random.below(1000) + 1));
    return elements;
}

// A rule id that is changed leaves the order as it was until something is added.
void modify(Comparison &both, Random &random, unsigned kind, const std::string &key) {
    Node *node = both.lookUp(kind, key);
    const std::vector<FieldChange> changes =
        randomChanges(random, kind, node != nullptr ? node->element : Element());
    both.modify(kind, key, changes);
    if (node != nullptr && changes.front().keyword == "RULEID")
        both.add(kind, randomElement(random, kind));
}

// Half of the steps are additions as long as there are few.
void step(Comparison &both, Random &random, unsigned kind) {
    const std::string key = randomKey(random, kind);
    const unsigned choice = random.below(both.store().count(kind) < 12 ? 12 : 8);
    if (choice == 0)
        both.erase(kind, key);
    else if (choice == 1)
        both.removeElement(kind, key);
    else if (choice < 6)
        modify(both, random, kind, key);
    else
        both.add(kind, randomElement(random, kind));
}

class SchemaModel : public testing::TestWithParam<unsigned> {};

TEST_P(SchemaModel, EditsDoWhatTheModelDoes) {
    Random random(GetParam());
    Comparison both(randomElements(random, 10));
    both.compareAll();
    for (unsigned i = 0; i < stepsOfASeed && !HasFailure(); ++i) {
        const unsigned kind = random.below(kindCount);
        step(both, random, kind);
        both.compare(kind);
        if (random.oneIn(20))
            both.save(random.oneIn(3) ? LDAP_UNWILLING_TO_PERFORM : LDAP_SUCCESS);
    }
    both.save(LDAP_SUCCESS);
    both.save(LDAP_SUCCESS);
    both.compareAll();
}

INSTANTIATE_TEST_SUITE_P(Seeds, SchemaModel, testing::Range(1U, seeds + 1));

Element numbered(unsigned kind, unsigned number) {
    const std::string text = std::to_string(number);
    Element element;
    element.fields[keyKeyword(kind)] = {kind == 7 ? text : "1.2." + text};
    element.fields["NAME"] = {"name" + text, "other" + text};
    for (const FieldRow &row : rowsOf(kind))
        if (row.isRequired)
            element.fields[row.keyword] = {row.shape == Shape::OneOfWords ? "AUXILIARY" : "cn"};
    return element;
}

class SchemaGrowth : public testing::TestWithParam<unsigned> {};

// In an order in which neighbours come far apart.
TEST_P(SchemaGrowth, FromNothingToManyAndBack) {
    constexpr unsigned stride = 761; // has no divisor in common with the numbers
    const unsigned kind = GetParam();
    Comparison both({});
    for (unsigned i = 0; i < mostElements; ++i) {
        const unsigned number = i * stride % mostElements;
        both.add(kind, numbered(kind, number));
        ASSERT_NE(both.lookUp(kind, "OTHER" + std::to_string(number)), nullptr);
    }
    both.compareAll();
    both.save(LDAP_SUCCESS);
    for (unsigned i = 0; i < mostElements; ++i) {
        const std::string text = std::to_string((i * stride + 7) % mostElements);
        if (i % 2 == 0)
            both.erase(kind, "name" + text);
        else
            both.removeElement(kind, kind == 7 ? text : "1.2." + text);
        ASSERT_EQ(both.lookUp(kind, "other" + text), nullptr);
    }
    EXPECT_EQ(both.store().count(kind), 0U);
    both.compareAll();
    both.save(LDAP_SUCCESS);
}

INSTANTIATE_TEST_SUITE_P(Kinds, SchemaGrowth, testing::Values(0U, 1U, 7U));

} // namespace
} // namespace qldapx_test::model
