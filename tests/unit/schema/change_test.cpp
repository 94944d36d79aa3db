// One field of an element changed: texts, lists, flags, usages, kinds and extensions.
#include "schema/samples.h"

#include <cstring>
#include <gmock/gmock.h>
#include <qldapx/schema_element.h>

namespace qldapx_test {
namespace {

using testing::ElementsAre;
using Strings = std::vector<std::string>;

constexpr int add = LDAP_MOD_ADD;
constexpr int del = LDAP_MOD_DELETE;
constexpr int replace = LDAP_MOD_REPLACE;

// Pointers to strings, ended by NULL.
class Pointers {
  public:
    explicit Pointers(Strings strings) : strings_(std::move(strings)) {
        for (std::string &string : strings_)
            pointers_.push_back(string.data());
        pointers_.push_back(nullptr);
    }
    char **get() { return pointers_.data(); }

  private:
    Strings strings_;
    std::vector<char *> pointers_;
};

struct ChangeCase {
    unsigned kind;
    const char *before;
    const char *keyword;
    Strings values; // {"NULL"}: no array
    int operation;
    int result;
    const char *after; // as printed
};

const Strings null = {"NULL"};

const ChangeCase changeCases[] = {
    // One string.
    {0, "( 1.2 )", "DESC", {"d"}, add, 0, "( 1.2 DESC 'd' )"},
    {0, "( 1.2 DESC 'old' )", "desc", {"d", "e"}, add, 0, "( 1.2 DESC 'd' )"},
    {0, "( 1.2 DESC 'old' )", "DESC", {"d"}, replace, 0, "( 1.2 DESC 'd' )"},
    {0, "( 1.2 DESC 'old' )", "DESC", {"d"}, del, 0, "( 1.2 )"},
    {0, "( 1.2 DESC 'old' )", "DESC", null, replace, 0, "( 1.2 )"},
    {0, "( 1.2 DESC 'old' )", "DESC", {}, add, 0, "( 1.2 )"},
    {0, "( 1.2 )", "OID", {"1.3"}, replace, 0, "( 1.3 )"},
    {0, "( 1.2 NAME 'a' )", "OID", {}, del, 0, "( NAME 'a' )"},
    {0, "( 1.2 )", "SUP", {"s"}, add, 0, "( 1.2 SUP s )"},
    {0, "( 1.2 )", "EQUALITY", {"s"}, add, 0, "( 1.2 EQUALITY s )"},
    {0, "( 1.2 )", "ORDERING", {"s"}, add, 0, "( 1.2 ORDERING s )"},
    {0, "( 1.2 )", "SUBSTR", {"s"}, add, 0, "( 1.2 SUBSTR s )"},
    {0, "( 1.2 )", "SYNTAX", {"1.3{64}"}, add, 0, "( 1.2 SYNTAX 1.3{64} )"},
    {0, "( 1.2 SYNTAX 1.3{64} )", "SYNTAX", {"1.4"}, add, 0, "( 1.2 SYNTAX 1.4{64} )"},
    {3, "( 1.2 SYNTAX 1.3 )", "SYNTAX", {"1.4"}, replace, 0, "( 1.2 SYNTAX 1.4 )"},
    {5, "( 1.2 OC c MUST a )", "OC", {"d"}, add, 0, "( 1.2 OC d MUST a )"},
    {7, "( 3 FORM f )", "RULEID", {"4"}, replace, 0, "( 4 FORM f )"},
    {7, "( 3 FORM f )", "OC", {"g"}, replace, 0, "( 3 FORM g )"},
    {7, "( 3 FORM f )", "FORM", {"g"}, replace, 0, "( 3 FORM f FORM 'g' )"},
    {7, "( 3 FORM f )", "OID", {"g"}, add, 0, "( 3 FORM f OID 'g' )"},
    // Lists.
    {0, "( 1.2 NAME ( 'A' 'x' ) )", "NAME", {"a", "B"}, add, 0, "( 1.2 NAME ( 'x' 'a' 'B' ) )"},
    {0, "( 1.2 NAME ( 'A' 'x' ) )", "NAME", {"a", "B"}, del, 0, "( 1.2 NAME 'x' )"},
    {0, "( 1.2 NAME ( 'A' 'x' ) )", "NAME", {"a", "B"}, replace, 0, "( 1.2 NAME ( 'a' 'B' ) )"},
    {0, "( 1.2 NAME ( 'A' 'x' ) )", "NAME", null, replace, 0, "( 1.2 )"},
    {0, "( 1.2 NAME ( 'A' 'x' ) )", "NAME", {}, replace, 0, "( 1.2 )"},
    {0, "( 1.2 NAME ( 'A' 'x' ) )", "NAME", null, add, 0, "( 1.2 NAME ( 'A' 'x' ) )"},
    {0, "( 1.2 NAME ( 'A' 'x' ) )", "NAME", null, del, 0, "( 1.2 NAME ( 'A' 'x' ) )"},
    {0, "( 1.2 NAME ( 'A' 'x' ) )", "NAME", {"X", "a"}, del, 0, "( 1.2 NAME () )"},
    {0, "( 1.2 NAME ( 'a' 'A' 'b' ) )", "NAME", {"a"}, add, 0, "( 1.2 NAME ( 'b' 'a' ) )"},
    {0, "( 1.2 )", "NAME", {"a", "a"}, add, 0, "( 1.2 NAME ( 'a' 'a' ) )"},
    {0, "( 1.2 )", "NAME", {"a"}, del, 0, "( 1.2 NAME () )"},
    {1, "( 1.2 STRUCTURAL )", "MAY", null, add, 0, "( 1.2 STRUCTURAL )"},
    {1, "( 1.2 STRUCTURAL )", "MAY", {}, add, 0, "( 1.2 STRUCTURAL )"},
    {1, "( 1.2 SUP s STRUCTURAL )", "SUP", {"t"}, add, 0, "( 1.2 SUP ( s $ t ) STRUCTURAL )"},
    {1, "( 1.2 STRUCTURAL )", "MUST", {"m"}, add, 0, "( 1.2 STRUCTURAL MUST m )"},
    {1, "( 1.2 STRUCTURAL MAY m )", "MAY", {"m"}, del, 0, nullptr},
    {1, "( 1.2 STRUCTURAL )", "MAY", {"m"}, del, 0, nullptr},
    {1, "( 1.2 STRUCTURAL MAY m )", "MAY", null, replace, 0, "( 1.2 STRUCTURAL )"},
    {4, "( 1.2 APPLIES a )", "APPLIES", {"b"}, add, 0, "( 1.2 APPLIES ( a $ b ) )"},
    {5, "( 1.2 OC c MUST a )", "MUST", {"b"}, replace, 0, "( 1.2 OC c MUST b )"},
    {5, "( 1.2 OC c MUST a )", "MAY", {"b"}, add, 0, "( 1.2 OC c MUST a MAY b )"},
    {6, "( 1.2 )", "AUX", {"b"}, add, 0, "( 1.2 AUX b )"},
    {6, "( 1.2 )", "NOT", {"b"}, add, 0, "( 1.2 NOT b )"},
    {6, "( 1.2 )", "MUST", {"b"}, add, 0, "( 1.2 MUST b )"},
    {6, "( 1.2 )", "MAY", {"b"}, add, 0, "( 1.2 MAY b )"},
    {7, "( 3 SUP 1 )", "SUP", {"2"}, add, 0, "( 3 SUP ( '1' '2' ) )"},
    {7, "( 3 SUP 1 )", "SUP", {"1"}, del, 0, "( 3 )"},
    {0, "( 1.2 NAME 'a' )", "NAME", {"b"}, 3, LDAP_PARAM_ERROR, "( 1.2 NAME 'a' )"},
    {0, "( 1.2 NAME 'a' )", "NAME", {"b"}, -1, LDAP_PARAM_ERROR, "( 1.2 NAME 'a' )"},
    // Flags.
    {0, "( 1.2 )", "OBSOLETE", null, add, 0, "( 1.2 OBSOLETE )"},
    {0, "( 1.2 )", "obsolete", {"no"}, replace, 0, "( 1.2 OBSOLETE )"},
    {0, "( 1.2 OBSOLETE )", "OBSOLETE", {"x"}, del, 0, "( 1.2 )"},
    {0, "( 1.2 )", "SINGLE-VALUE", null, add, 0, "( 1.2 SINGLE-VALUE )"},
    {0, "( 1.2 )", "COLLECTIVE", null, add, 0, "( 1.2 COLLECTIVE )"},
    {0, "( 1.2 COLLECTIVE )", "COLLECTIVE", null, del, 0, "( 1.2 )"},
    {0, "( 1.2 )", "NO-USER-MODIFICATION", null, add, 0, "( 1.2 NO-USER-MODIFICATION )"},
    {1, "( 1.2 STRUCTURAL )", "OBSOLETE", null, add, 0, "( 1.2 OBSOLETE STRUCTURAL )"},
    {3, "( 1.2 SYNTAX 1.3 )", "OBSOLETE", null, add, 0, "( 1.2 OBSOLETE SYNTAX 1.3 )"},
    {4, "( 1.2 APPLIES a )", "OBSOLETE", null, add, 0, "( 1.2 OBSOLETE APPLIES a )"},
    {5, "( 1.2 OC c MUST a )", "OBSOLETE", null, add, 0, "( 1.2 OBSOLETE OC c MUST a )"},
    {6, "( 1.2 )", "OBSOLETE", null, add, 0, "( 1.2 OBSOLETE )"},
    {7, "( 3 )", "OBSOLETE", null, add, 0, "( 3 OBSOLETE )"},
    {2, "( 1.2 )", "OBSOLETE", {"x"}, add, 0, "( 1.2 OBSOLETE 'x' )"},
    {2, "( 1.2 )", "OBSOLETE", null, del, 0, "( 1.2 )"},
    // Usage.
    {0, "( 1.2 )", "USAGE", {"dsaoperation"}, add, 0, "( 1.2 USAGE dSAOperation )"},
    {0, "( 1.2 )", "Usage", {"DirectoryOperation"}, replace, 0, "( 1.2 USAGE directoryOperation )"},
    {0, "( 1.2 )", "USAGE", {"distributedOperation"}, add, 0, "( 1.2 USAGE distributedOperation )"},
    {0, "( 1.2 USAGE dSAOperation )", "USAGE", {"userapplications"}, add, 0, "( 1.2 )"},
    {0, "( 1.2 USAGE dSAOperation )", "USAGE", {"dSAOperation"}, del, 0, "( 1.2 )"},
    {0, "( 1.2 USAGE dSAOperation )", "USAGE", null, add, 0, "( 1.2 )"},
    {0, "( 1.2 USAGE dSAOperation )", "USAGE", {}, add, 0, "( 1.2 )"},
    {0,
     "( 1.2 USAGE dSAOperation )",
     "USAGE",
     {"operational"},
     add,
     LDAP_PARAM_ERROR,
     "( 1.2 USAGE dSAOperation )"},
    {0, "( 1.2 )", "dSAOperation", {"x"}, add, 0, "( 1.2 dSAOperation 'x' )"},
    // Class kinds.
    {1, "( 1.2 )", "ABSTRACT", null, add, 0, "( 1.2 ABSTRACT )"},
    {1, "( 1.2 )", "structural", null, replace, 0, "( 1.2 STRUCTURAL )"},
    {1, "( 1.2 )", "AUXILIARY", {"x"}, add, 0, "( 1.2 AUXILIARY )"},
    {1, "( 1.2 ABSTRACT )", "AUXILIARY", null, del, 0, "( 1.2 KIND-UNKNOWN )"},
    // Extensions.
    {0, "( 1.2 )", "X-A", {"x", "y"}, add, 0, "( 1.2 X-A ( 'x' 'y' ) )"},
    {0, "( 1.2 )", "X-A", {"x"}, replace, 0, "( 1.2 X-A 'x' )"},
    {0, "( 1.2 )", "X-A", {"x"}, del, 0, "( 1.2 )"},
    {0, "( 1.2 )", "X-A", null, add, LDAP_NO_MEMORY, "( 1.2 )"},
    {0, "( 1.2 )", "X-A", {}, add, LDAP_NO_MEMORY, "( 1.2 )"},
    {0, "( 1.2 X-A 'x' )", "x-a", {"X", "y"}, add, 0, "( 1.2 X-A ( 'X' 'y' ) )"},
    {0, "( 1.2 X-A ( 'x' 'y' ) )", "X-A", {"x"}, del, 0, "( 1.2 X-A 'y' )"},
    {0, "( 1.2 X-A 'x' )", "X-A", {"x"}, del, 0, "( 1.2 X-A () )"},
    {0, "( 1.2 X-A 'x' )", "X-A", null, replace, 0, nullptr},
    {0, "( 1.2 X-A 'x' )", "X-B", {"z"}, add, 0, "( 1.2 X-A 'x' X-B 'z' )"},
    {2, "( 1.2 )", "MUST", {"z"}, add, 0, "( 1.2 MUST 'z' )"},
    {5, "( 1.2 OC c MUST a )", "X-A", {"x"}, add, 0, "( 1.2 OC c MUST a X-A 'x' )"},
    {6, "( 1.2 X-A 'x' )", "X-A", {"y"}, add, 0, "( 1.2 X-A ( 'x' 'y' ) )"},
    {7, "( 3 )", "X-A", {"x"}, add, 0, "( 3 X-A 'x' )"},
};

TEST(SchemaChange, OfOneField) {
    for (const ChangeCase &row : changeCases) {
        SCOPED_TRACE(testing::Message()
                     << row.before << " " << row.keyword << " " << row.operation);
        const SchemaPtr schema = fetched(row.kind, {row.before});
        LDAPSchemaElement *element = elementAt(schema, row.kind, 0);
        Pointers values(row.values);
        EXPECT_EQ(modify_element(element, row.keyword, row.values == null ? nullptr : values.get(),
                                 row.operation),
                  row.result);
        char *text = nullptr;
        const char *attribute = nullptr;
        EXPECT_EQ(ldap_schema_element_to_string(element, &text, &attribute),
                  row.after == nullptr ? LDAP_LOCAL_ERROR : LDAP_SUCCESS);
        EXPECT_STREQ(text, row.after);
        ldap_memfree(text);
    }
}

char *copyOf(const char *text) {
    return ber_strdup(text);
}

TEST(SchemaChange, ValueOfItsOwn) {
    char *field = copyOf("a");
    char *values[] = {field, nullptr};
    EXPECT_EQ(new_value(&field, values, add), LDAP_SUCCESS);
    EXPECT_STREQ(field, "a");
    values[0] = field;
    EXPECT_EQ(new_value(&field, values, del), LDAP_SUCCESS);
    EXPECT_EQ(field, nullptr);
}

TEST(SchemaChange, ValuesOfItsOwn) {
    for (const int operation : {add, replace, del}) {
        auto **field = static_cast<char **>(ber_memcalloc(3, sizeof(char *)));
        field[0] = copyOf("a");
        field[1] = copyOf("b");
        EXPECT_EQ(new_values(&field, field, operation), LDAP_SUCCESS);
        ASSERT_NE(field, nullptr);
        if (operation == del) {
            EXPECT_EQ(field[0], nullptr);
        } else {
            EXPECT_STREQ(field[0], "a");
            EXPECT_STREQ(field[1], "b");
            EXPECT_EQ(field[2], nullptr);
        }
        ber_memvfree(reinterpret_cast<void **>(field));
    }
}

// A list whose first value goes, its last, all, and each twice.
TEST(SchemaChange, ValuesTwice) {
    const struct {
        Strings old, values;
        int operation;
        Strings result;
    } rows[] = {
        {{"a", "b", "c"}, {"a", "A"}, del, {"b", "c"}},
        {{"a", "a", "c"}, {"a"}, del, {"c"}},
        {{"a", "b", "a"}, {"A"}, add, {"b", "A"}},
        {{"a", "b", "c"}, {"c", "c"}, add, {"a", "b", "c", "c"}},
        {{"a", "b", "c"}, {"b", "x"}, add, {"a", "c", "b", "x"}},
    };
    for (const auto &row : rows) {
        Pointers old(row.old), values(row.values);
        char **field = nullptr;
        ASSERT_EQ(new_values(&field, old.get(), replace), LDAP_SUCCESS);
        ASSERT_EQ(new_values(&field, values.get(), row.operation), LDAP_SUCCESS);
        Strings result;
        for (char **value = field; *value != nullptr; ++value)
            result.emplace_back(*value);
        EXPECT_EQ(result, row.result);
        ber_memvfree(reinterpret_cast<void **>(field));
    }
}

void releaseCopy(LDAPSchemaElement *copy) {
    ldap_attributetype_free(static_cast<LDAPAttributeType *>(copy->record));
    ldapx_memfree(copy);
}

TEST(SchemaCopy, IsWrittenAndReadAgain) {
    const SchemaPtr schema = fetched(0, {"(1.2  NAME('a' 'b')DESC'd' )"});
    LDAPSchemaElement *copy = nullptr;
    ASSERT_EQ(dup_element(elementAt(schema, 0, 0), &copy), LDAP_SUCCESS);
    EXPECT_EQ(copy->kind, 0U);
    EXPECT_NE(copy->record, elementAt(schema, 0, 0)->record);
    EXPECT_EQ(described(copy), "( 1.2 NAME ( 'a' 'b' ) DESC 'd' )");
    releaseCopy(copy);
}

// A description that is not understood again leaves the copy without a record.
TEST(SchemaCopy, NotUnderstood) {
    const SchemaPtr schema = fetched(0, {"( 1.2 )"});
    char quoted[] = "it's";
    char *values[] = {quoted, nullptr};
    ASSERT_EQ(modify_element(elementAt(schema, 0, 0), "DESC", values, add), LDAP_SUCCESS);
    LDAPSchemaElement *copy = nullptr;
    ASSERT_EQ(dup_element(elementAt(schema, 0, 0), &copy), LDAP_SUCCESS);
    EXPECT_EQ(copy->record, nullptr);
    releaseCopy(copy);
}

TEST(SchemaCopy, CannotBeWritten) {
    const SchemaPtr schema = fetched(1, {"( 1.2 MAY a )"});
    char a[] = "a";
    char *values[] = {a, nullptr};
    ASSERT_EQ(modify_element(elementAt(schema, 1, 0), "MAY", values, del), LDAP_SUCCESS);
    LDAPSchemaElement *copy = elementAt(schema, 1, 0);
    EXPECT_EQ(dup_element(elementAt(schema, 1, 0), &copy), LDAP_LOCAL_ERROR);
    EXPECT_EQ(copy, nullptr);
}

} // namespace
} // namespace qldapx_test
