// Printing and reading again changes nothing: descriptions with every combination of fields, and
// structure rules in every way in which they may be written.
#include "model_random.h"

#include <qldapx/schema_element.h>

namespace qldapx_test::model {
namespace {

#ifdef __SANITIZE_ADDRESS__
constexpr unsigned rounds = 1000;
#else
constexpr unsigned rounds = 20000;
#endif

std::string taken(char *text) {
    std::string copy = text != nullptr ? text : "";
    ldap_memfree(text);
    return copy;
}

std::string descriptionOf(LDAPSchemaElement *element) {
    char *text = nullptr;
    const char *attribute = nullptr;
    EXPECT_EQ(ldap_schema_element_to_string(element, &text, &attribute), LDAP_SUCCESS);
    return taken(text);
}

// A combination has a bit for each field behind the key; those that are required are always there.
Element combined(unsigned kind, unsigned combination) {
    Random random(combination);
    Element all = randomElement(random, kind);
    std::span<const FieldRow> rows = rowsOf(kind);
    Element element;
    element.fields[keyKeyword(kind)] = {std::to_string(combination + 1)};
    for (std::size_t i = 1; i < rows.size(); ++i)
        if (rows[i].isRequired || (combination >> (i - 1) & 1U) != 0) {
            while (!all.has(rows[i].keyword))
                all = randomElement(random, kind);
            element.fields[rows[i].keyword] = all.fields[rows[i].keyword];
        }
    if ((combination >> (rows.size() - 1) & 1U) != 0)
        element.extensions = {{"X-ONE", {"a value"}}, {"X-SEVERAL", {"( ", "\\27", "c"}}};
    return element;
}

class SchemaPrinting : public testing::TestWithParam<unsigned> {};

TEST_P(SchemaPrinting, EveryCombinationOfFieldsIsPrintedAsItCame) {
    const unsigned kind = GetParam();
    const unsigned combinations = 1U << rowsOf(kind).size(); // of all but the key, and extensions
    Descriptions descriptions;
    for (unsigned i = 0; i < combinations; ++i)
        descriptions[kind].push_back(describe(kind, combined(kind, i)));
    SchemaPtr schema = fetch(descriptions);
    ASSERT_EQ(ldap_schema_get_count(schema.get(), kind), int(combinations));
    for (unsigned i = 0; i < combinations; ++i) {
        LDAPSchemaElement *element = nullptr, *copy = nullptr;
        ASSERT_EQ(
            ldap_schema_get_by_name(schema.get(), std::to_string(i + 1).c_str(), kind, &element),
            LDAP_SUCCESS);
        EXPECT_EQ(descriptionOf(element), descriptions[kind][i]);
        if (kind != LDAP_SCHEMA_DIT_STRUCTURE_RULE)
            continue;
        ASSERT_EQ(dup_element(element, &copy), LDAP_SUCCESS);
        EXPECT_EQ(descriptionOf(copy), descriptions[kind][i]);
        ldap_ditstructurerule_free(static_cast<LDAPDITStructureRule *>(copy->record));
        free(copy);
    }
}

INSTANTIATE_TEST_SUITE_P(Kinds, SchemaPrinting, testing::Range(0U, kindCount));

struct RuleRelease {
    void operator()(LDAPDITStructureRule *rule) const { ldap_ditstructurerule_free(rule); }
};
using RulePtr = std::unique_ptr<LDAPDITStructureRule, RuleRelease>;

std::string printed(const RulePtr &rule) {
    return taken(ldap_ditstructurerule2str(rule.get()));
}

RulePtr read(const std::string &text, unsigned flags) {
    int code = -1;
    const char *where = nullptr;
    RulePtr rule(ldap_str2ditstructurerule(text.c_str(), &code, &where, flags));
    EXPECT_EQ(rule != nullptr, code == 0) << text;
    EXPECT_TRUE(rule != nullptr || (where >= text.c_str() && where <= text.c_str() + text.size()))
        << text;
    return rule;
}

// A structure rule is written with blanks where they may be, and with quotes and "$" at will.
class RuleWriter {
  public:
    RuleWriter(Random &random, bool hasQuotes) : random_(random), hasQuotes_(hasQuotes) {}

    std::string write(const Element &rule) {
        std::string text = "(" + blanks(false) + id(rule.fields.at("RULEID").front());
        for (const FieldRow &row : rowsOf(LDAP_SCHEMA_DIT_STRUCTURE_RULE).subspan(1))
            if (rule.has(row.keyword))
                text += blanks(true) + row.keyword + values(row, rule.fields.at(row.keyword));
        for (const auto &[name, values] : rule.extensions)
            text += blanks(true) + name + blanks(true) + quotedList(values);
        return text + blanks(true) + ")";
    }

  private:
    std::string blanks(bool isNeeded) {
        std::string text(random_.below(3) + (isNeeded ? 1 : 0), ' ');
        return text;
    }
    std::string id(const std::string &number) {
        return hasQuotes_ && random_.oneIn(2) ? "'" + number + "'" : number;
    }
    std::string quotedList(const Values &values) {
        if (values.size() == 1 && random_.oneIn(2))
            return "'" + values.front() + "'";
        std::string text = "(";
        for (const std::string &value : values)
            text += blanks(true) + "'" + value + "'";
        return text + blanks(true) + ")";
    }
    std::string idList(const Values &values) {
        if (values.size() == 1 && random_.oneIn(2))
            return id(values.front());
        const bool hasDollars = random_.oneIn(2);
        std::string text = "(" + blanks(false) + id(values.front());
        for (std::size_t i = 1; i < values.size(); ++i)
            text += (hasDollars ? blanks(true) + "$" + blanks(true) : blanks(true)) + id(values[i]);
        return text + blanks(true) + ")";
    }
    std::string values(const FieldRow &row, const Values &values) {
        if (row.shape == Shape::Flag)
            return "";
        if (row.shape == Shape::Quoted)
            return blanks(true) + "'" + values.front() + "'";
        if (std::string(row.keyword) == "SUP")
            return blanks(true) + idList(values);
        return blanks(true) + (row.shape == Shape::Word ? values.front() : quotedList(values));
    }

    Random &random_;
    bool hasQuotes_;
};

TEST(SchemaPrinting, StructureRulesAreReadInEveryWayOfWriting) {
    constexpr unsigned kind = LDAP_SCHEMA_DIT_STRUCTURE_RULE;
    Random random(1);
    for (unsigned i = 0; i < rounds && !testing::Test::HasFailure(); ++i) {
        const Element element = randomElement(random, kind);
        const bool hasQuotes = random.oneIn(2);
        const std::string text = RuleWriter(random, hasQuotes).write(element);
        const unsigned flags =
            LDAP_SCHEMA_ALLOW_DESCR | (hasQuotes ? LDAP_SCHEMA_ALLOW_QUOTED : 0U);
        RulePtr rule = read(text, flags);
        ASSERT_NE(rule, nullptr) << text;
        const std::string once = printed(rule);
        EXPECT_EQ(once, describe(kind, element)) << text;
        RulePtr again = read(once, flags | LDAP_SCHEMA_ALLOW_QUOTED);
        ASSERT_NE(again, nullptr) << once;
        EXPECT_EQ(printed(again), once);
    }
}

// Whatever became of it: it is refused with a place in it, or printed so that it reads the same.
// Not with quotes around words, which could have blanks then and are printed without.
TEST(SchemaPrinting, DamagedStructureRulesAreRefusedOrReadTheSameAgain) {
    constexpr unsigned kind = LDAP_SCHEMA_DIT_STRUCTURE_RULE;
    Random random(2);
    for (unsigned i = 0; i < rounds && !testing::Test::HasFailure(); ++i) {
        std::string text = RuleWriter(random, false).write(randomElement(random, kind));
        for (unsigned damage = random.below(3) + 1; damage > 0; --damage)
            text[random.below(static_cast<unsigned>(text.size()))] =
                "'()$ .X1\\\t"[random.below(10)];
        RulePtr rule = read(text, LDAP_SCHEMA_ALLOW_DESCR);
        if (rule == nullptr)
            continue;
        const std::string once = printed(rule);
        RulePtr again = read(once, LDAP_SCHEMA_ALLOW_DESCR | LDAP_SCHEMA_ALLOW_QUOTED);
        ASSERT_NE(again, nullptr) << text << " printed as " << once;
        EXPECT_EQ(printed(again), once) << text;
    }
}

} // namespace
} // namespace qldapx_test::model
