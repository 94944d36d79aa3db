// The encoders of update operations: every byte, with encoders of both kinds.
#include "lburp/samples.h"
#include "support/case_name.h"

#include <climits>
#include <gtest/gtest.h>
#include <memory>
#include <qldapx.h>

namespace qldapx_test {
namespace {

constexpr unsigned char add = 0x68, modify = 0x66, modifyDn = 0x6c, controls = 0xa0, setTag = 0x31;

// Writes constructed elements with the lengths of one kind of encoder.
struct Form {
    bool isDer;

    [[nodiscard]] Bytes of(unsigned char tag, const Bytes &content) const {
        return isDer ? tlv(tag, content) : longTlv(tag, content, 4);
    }
    [[nodiscard]] Bytes seq(std::initializer_list<Bytes> elements) const {
        return of(0x30, join(elements));
    }
    [[nodiscard]] Bytes attribute(const Bytes &type, std::initializer_list<Bytes> values) const {
        Bytes list;
        for (const Bytes &value : values)
            list += octetString(value);
        return seq({octetString(type), of(setTag, list)});
    }
    [[nodiscard]] Bytes change(int operation, const Bytes &type,
                               std::initializer_list<Bytes> values) const {
        return seq({tlv(0x0a, Bytes(1, static_cast<char>(operation))), attribute(type, values)});
    }
};

const Bytes critical = fromHex("01 01 ff");
const Bytes longValue(70000, 'v');

struct Row {
    const char *name;
    int (*call)(BerElement *ber);
    Bytes (*expected)(const Form &form);
};

void PrintTo(const Row &row, std::ostream *out) {
    *out << row.name;
}

char dn[] = "cn=a", rdn[] = "cn=b", superior[] = "ou=c", nothing[] = "";

Modifications none;

int encodeAdd(Modifications &mods, BerElement *ber) {
    return LBURPEncodeAdd(nullptr, dn, mods.list(), nullptr, ber);
}

int encodeMod(Modifications &mods, BerElement *ber) {
    return LBURPEncodeMod(nullptr, dn, mods.list(), nullptr, ber);
}

Bytes added(const Form &form, std::initializer_list<Bytes> attributes) {
    return form.seq({form.of(add, octetString("cn=a") + form.seq(attributes))});
}

Bytes modified(const Form &form, std::initializer_list<Bytes> changes) {
    return form.seq({form.of(modify, octetString("cn=a") + form.seq(changes))});
}

const Row rows[] = {
    {"AddStrings",
     [](BerElement *ber) {
         return encodeAdd(Modifications()
                              .strings(LDAP_MOD_ADD, "cn", {"a", "b\xc3\xa9"})
                              .strings(0, "sn", {"x"}),
                          ber);
     },
     [](const Form &form) {
         return added(form,
                      {form.attribute("cn", {"a", "b\xc3\xa9"}), form.attribute("sn", {"x"})});
     }},
    {"AddBytes",
     [](BerElement *ber) {
         return encodeAdd(Modifications().bytes(LDAP_MOD_ADD, "photo", {Bytes("\0\xff\0", 3), ""}),
                          ber);
     },
     [](const Form &form) {
         return added(form, {form.attribute("photo", {Bytes("\0\xff\0", 3), ""})});
     }},
    {"AddStringsBesideBytes",
     [](BerElement *ber) {
         return encodeAdd(
             Modifications().bytes(0, "a", {"1"}).strings(0, "b", {"2"}).bytes(0, "c", {"3"}), ber);
     },
     [](const Form &form) {
         return added(form, {form.attribute("a", {"1"}), form.attribute("b", {"2"}),
                             form.attribute("c", {"3"})});
     }},
    {"AddWhateverTheOperation", // of which only the flag counts
     [](BerElement *ber) {
         return encodeAdd(Modifications()
                              .strings(LDAP_MOD_REPLACE, "a", {"1"})
                              .bytes(LDAP_MOD_DELETE, "b", {"2"})
                              .strings(0x7f, "c", {"3"})
                              .bytes(0x100, "d", {"4"}),
                          ber);
     },
     [](const Form &form) {
         return added(form, {form.attribute("a", {"1"}), form.attribute("b", {"2"}),
                             form.attribute("c", {"3"}), form.attribute("d", {"4"})});
     }},
    {"AddWithoutValues",
     [](BerElement *ber) {
         return encodeAdd(Modifications()
                              .strings(0, "a", {})
                              .bytes(0, "b", {})
                              .raw({0, const_cast<char *>("c"), {nullptr}})
                              .raw({LDAP_MOD_BVALUES, const_cast<char *>("d"), {nullptr}}),
                          ber);
     },
     [](const Form &form) {
         return added(form, {form.attribute("a", {}), form.attribute("b", {}),
                             form.attribute("c", {}), form.attribute("d", {})});
     }},
    {"AddEmptyStrings",
     [](BerElement *ber) {
         return LBURPEncodeAdd(nullptr, nothing, Modifications().strings(0, "", {""}).list(),
                               nullptr, ber);
     },
     [](const Form &form) {
         return form.seq({form.of(add, octetString("") + form.seq({form.attribute("", {""})}))});
     }},
    {"AddWithoutAttributes", [](BerElement *ber) { return encodeAdd(none, ber); },
     [](const Form &form) { return added(form, {}); }},
    {"AddNullAttributes",
     [](BerElement *ber) { return LBURPEncodeAdd(nullptr, dn, nullptr, nullptr, ber); },
     [](const Form &form) { return added(form, {}); }},
    {"AddLongValues",
     [](BerElement *ber) {
         return encodeAdd(
             Modifications()
                 .bytes(0, "a",
                        {Bytes(127, 'x'), Bytes(128, 'x'), Bytes(255, 'x'), Bytes(256, 'x')})
                 .bytes(0, "b", {Bytes(65535, 'x'), Bytes(65536, 'x')})
                 .strings(0, "c", {longValue.c_str()}),
             ber);
     },
     [](const Form &form) {
         return added(form, {form.attribute("a", {Bytes(127, 'x'), Bytes(128, 'x'), Bytes(255, 'x'),
                                                  Bytes(256, 'x')}),
                             form.attribute("b", {Bytes(65535, 'x'), Bytes(65536, 'x')}),
                             form.attribute("c", {longValue})});
     }},
    {"Delete", [](BerElement *ber) { return LBURPEncodeDelete(nullptr, dn, nullptr, ber); },
     [](const Form &form) { return form.seq({fromHex("4a 04 63 6e 3d 61")}); }},
    {"DeleteEmptyDn",
     [](BerElement *ber) { return LBURPEncodeDelete(nullptr, nothing, nullptr, ber); },
     [](const Form &form) { return form.seq({fromHex("4a 00")}); }},
    {"ModifyStrings",
     [](BerElement *ber) {
         return encodeMod(Modifications()
                              .strings(LDAP_MOD_ADD, "a", {"1", "2"})
                              .strings(LDAP_MOD_DELETE, "b", {"3"})
                              .strings(LDAP_MOD_REPLACE, "c", {"4"})
                              .strings(LDAP_MOD_INCREMENT, "d", {"5"}),
                          ber);
     },
     [](const Form &form) {
         return modified(form, {form.change(0, "a", {"1", "2"}), form.change(1, "b", {"3"}),
                                form.change(2, "c", {"4"}), form.change(3, "d", {"5"})});
     }},
    {"ModifyBytes", // the flag is not part of the operation
     [](BerElement *ber) {
         return encodeMod(Modifications()
                              .bytes(LDAP_MOD_REPLACE, "a", {Bytes("\0\1", 2), ""})
                              .bytes(LDAP_MOD_ADD, "b", {"2"}),
                          ber);
     },
     [](const Form &form) {
         return modified(form,
                         {form.change(2, "a", {Bytes("\0\1", 2), ""}), form.change(0, "b", {"2"})});
     }},
    {"ModifyWithoutValues",
     [](BerElement *ber) {
         return encodeMod(
             Modifications()
                 .raw({LDAP_MOD_DELETE, const_cast<char *>("a"), {nullptr}})
                 .raw({LDAP_MOD_DELETE | LDAP_MOD_BVALUES, const_cast<char *>("b"), {nullptr}})
                 .strings(LDAP_MOD_REPLACE, "c", {}),
             ber);
     },
     [](const Form &form) {
         return modified(
             form, {form.change(1, "a", {}), form.change(1, "b", {}), form.change(2, "c", {})});
     }},
    {"ModifyNothing", [](BerElement *ber) { return encodeMod(none, ber); },
     [](const Form &form) { return modified(form, {}); }},
    {"ModifyNullChanges",
     [](BerElement *ber) { return LBURPEncodeMod(nullptr, dn, nullptr, nullptr, ber); },
     [](const Form &form) { return modified(form, {}); }},
    {"ModifyDn",
     [](BerElement *ber) { return LBURPEncodeModRDN(nullptr, dn, rdn, nullptr, 0, nullptr, ber); },
     [](const Form &form) {
         return form.seq({form.of(modifyDn, fromHex("04 04 63 6e 3d 61 04 04 63 6e 3d 62"
                                                    "01 01 00"))});
     }},
    {"ModifyDnDeletesOldRdn",
     [](BerElement *ber) { return LBURPEncodeModRDN(nullptr, dn, rdn, nullptr, 1, nullptr, ber); },
     [](const Form &form) {
         return form.seq({form.of(modifyDn, fromHex("04 04 63 6e 3d 61 04 04 63 6e 3d 62"
                                                    "01 01 ff"))});
     }},
    {"ModifyDnAnyNonZero",
     [](BerElement *ber) {
         return LBURPEncodeModRDN(nullptr, dn, rdn, nullptr, INT_MIN, nullptr, ber);
     },
     [](const Form &form) {
         return form.seq({form.of(modifyDn, fromHex("04 04 63 6e 3d 61 04 04 63 6e 3d 62"
                                                    "01 01 ff"))});
     }},
    {"ModifyDnNewSuperior", // has no tag of its own
     [](BerElement *ber) { return LBURPEncodeModRDN(nullptr, dn, rdn, superior, 1, nullptr, ber); },
     [](const Form &form) {
         return form.seq({form.of(modifyDn, fromHex("04 04 63 6e 3d 61 04 04 63 6e 3d 62"
                                                    "01 01 ff 04 04 6f 75 3d 63"))});
     }},
    {"ModifyDnEmptySuperior",
     [](BerElement *ber) { return LBURPEncodeModRDN(nullptr, dn, rdn, nothing, 0, nullptr, ber); },
     [](const Form &form) {
         return form.seq({form.of(modifyDn, fromHex("04 04 63 6e 3d 61 04 04 63 6e 3d 62"
                                                    "01 01 00 04 00"))});
     }},
};

using BerPtr = std::unique_ptr<BerElement, void (*)(BerElement *)>;

BerPtr newEncoder(bool isDer) {
    return {ber_alloc_t(isDer ? LBER_USE_DER : 0), [](BerElement *ber) { ber_free(ber, 1); }};
}

std::string written(BerElement *ber) {
    berval value{};
    EXPECT_EQ(ber_flatten2(ber, &value, 0), 0);
    return toHex({value.bv_val, value.bv_len});
}

class OperationTest : public testing::TestWithParam<std::tuple<Row, bool>> {
  protected:
    const Row &row() const { return std::get<0>(GetParam()); }
    bool isDer() const { return std::get<1>(GetParam()); }
};

TEST_P(OperationTest, Bytes) {
    BerPtr ber = newEncoder(isDer());
    ASSERT_EQ(row().call(ber.get()), LDAP_SUCCESS);
    EXPECT_EQ(written(ber.get()), toHex(row().expected({isDer()})));
}

// As within a request: behind other elements, inside of a sequence that is still open.
TEST_P(OperationTest, AppendsToWhatIsThere) {
    BerPtr ber = newEncoder(isDer());
    ASSERT_NE(ber_printf(ber.get(), "i{i", 5, 7), -1);
    ASSERT_EQ(row().call(ber.get()), LDAP_SUCCESS);
    ASSERT_EQ(row().call(ber.get()), LDAP_SUCCESS);
    ASSERT_NE(ber_printf(ber.get(), "}b", 1), -1);
    Form form{isDer()};
    Bytes operation = row().expected(form);
    EXPECT_EQ(written(ber.get()),
              toHex(integer(5) + form.seq({integer(7), operation, operation}) + critical));
}

INSTANTIATE_TEST_SUITE_P(Lburp, OperationTest,
                         testing::Combine(testing::ValuesIn(rows), testing::Bool()),
                         [](const auto &test) {
                             return std::string(std::get<0>(test.param).name) +
                                    (std::get<1>(test.param) ? "Der" : "");
                         });

// Each operation with each list of controls.

struct Operation {
    const char *name;
    int (*call)(LDAPControl **controls, BerElement *ber);
    Bytes (*expected)(const Form &form);
};

const Operation operations[] = {
    {"Add",
     [](LDAPControl **list, BerElement *ber) {
         return LBURPEncodeAdd(nullptr, dn, nullptr, list, ber);
     },
     [](const Form &form) { return form.of(add, octetString("cn=a") + form.seq({})); }},
    {"Delete",
     [](LDAPControl **list, BerElement *ber) { return LBURPEncodeDelete(nullptr, dn, list, ber); },
     [](const Form &) { return fromHex("4a 04 63 6e 3d 61"); }},
    {"Modify",
     [](LDAPControl **list, BerElement *ber) {
         return LBURPEncodeMod(nullptr, dn, nullptr, list, ber);
     },
     [](const Form &form) { return form.of(modify, octetString("cn=a") + form.seq({})); }},
    {"ModifyDn",
     [](LDAPControl **list, BerElement *ber) {
         return LBURPEncodeModRDN(nullptr, dn, rdn, rdn, 1, list, ber);
     },
     [](const Form &form) {
         return form.of(modifyDn,
                        octetString("cn=a") + octetString("cn=b") + critical + octetString("cn=b"));
     }},
};

struct ControlRow {
    const char *name;
    void (*fill)(RequestControls &list);
    Bytes (*expected)(const Form &form);
};

const ControlRow controlRows[] = {
    {"None", [](RequestControls &) {}, [](const Form &) { return Bytes(); }},
    {"Plain", [](RequestControls &list) { list.add("1.2", false); },
     [](const Form &form) { return form.seq({octetString("1.2")}); }},
    {"Critical", [](RequestControls &list) { list.add("1.2", true); },
     [](const Form &form) {
         return form.seq({octetString("1.2"), critical});
     }},
    {"CriticalByAnyNonZero", [](RequestControls &list) { list.add("1.2", '\xfe'); },
     [](const Form &form) {
         return form.seq({octetString("1.2"), critical});
     }},
    {"Value", [](RequestControls &list) { list.add("1.2", false, Bytes("\0v", 2)); },
     [](const Form &form) {
         return form.seq({octetString("1.2"), octetString({"\0v", 2})});
     }},
    {"CriticalValue", [](RequestControls &list) { list.add("1.2", true, "v"); },
     [](const Form &form) {
         return form.seq({octetString("1.2"), critical, octetString("v")});
     }},
    {"EmptyValue", [](RequestControls &list) { list.add("1.2", false, ""); },
     [](const Form &form) {
         return form.seq({octetString("1.2"), octetString("")});
     }},
    {"Several",
     [](RequestControls &list) { list.add("1.2", true).add("", false, longValue).add("3", false); },
     [](const Form &form) {
         return form.seq({octetString("1.2"), critical}) +
                form.seq({octetString(""), octetString(longValue)}) + form.seq({octetString("3")});
     }},
};

class ControlledTest : public testing::TestWithParam<std::tuple<Operation, ControlRow, bool>> {};

TEST_P(ControlledTest, Bytes) {
    const auto &[operation, row, isDer] = GetParam();
    RequestControls list;
    row.fill(list);
    BerPtr ber = newEncoder(isDer);
    ASSERT_EQ(operation.call(list.list(), ber.get()), LDAP_SUCCESS);
    Form form{isDer};
    EXPECT_EQ(written(ber.get()),
              toHex(form.seq({operation.expected(form), form.of(controls, row.expected(form))})));
}

INSTANTIATE_TEST_SUITE_P(Lburp, ControlledTest,
                         testing::Combine(testing::ValuesIn(operations),
                                          testing::ValuesIn(controlRows), testing::Bool()),
                         [](const auto &test) {
                             return std::string(std::get<0>(test.param).name) +
                                    std::get<1>(test.param).name +
                                    (std::get<2>(test.param) ? "Der" : "");
                         });

// What cannot be encoded. The encoder is released: nothing leaks, and it is not touched again.

char tooLong[] = "no value is read of which the length is refused";

LDAPMod *hugeValue() {
    static berval value{INT_MAX - 16, tooLong};
    static berval *values[] = {&value, nullptr};
    static LDAPMod mod{LDAP_MOD_BVALUES, const_cast<char *>("a"), {nullptr}};
    mod.mod_bvalues = values;
    return &mod;
}

LDAPControl *hugeControl() {
    static LDAPControl control{
        const_cast<char *>("1.2"), {static_cast<ber_len_t>(INT_MAX) * 4, tooLong}, 0};
    return &control;
}

struct Refusal {
    const char *name;
    int (*call)(BerElement *ber);
};

void PrintTo(const Refusal &row, std::ostream *out) {
    *out << row.name;
}

const Refusal refusals[] = {
    {"AddHugeValue",
     [](BerElement *ber) {
         LDAPMod *mods[] = {hugeValue(), nullptr};
         return LBURPEncodeAdd(nullptr, dn, mods, nullptr, ber);
     }},
    {"ModifyHugeValue",
     [](BerElement *ber) {
         LDAPMod *mods[] = {hugeValue(), nullptr};
         return LBURPEncodeMod(nullptr, dn, mods, nullptr, ber);
     }},
    {"AddHugeControl",
     [](BerElement *ber) {
         LDAPControl *list[] = {hugeControl(), nullptr};
         return LBURPEncodeAdd(nullptr, dn, nullptr, list, ber);
     }},
    {"DeleteHugeControl",
     [](BerElement *ber) {
         LDAPControl *list[] = {hugeControl(), nullptr};
         return LBURPEncodeDelete(nullptr, dn, list, ber);
     }},
    {"ModifyHugeControl",
     [](BerElement *ber) {
         LDAPControl *list[] = {hugeControl(), nullptr};
         return LBURPEncodeMod(nullptr, dn, nullptr, list, ber);
     }},
    {"ModifyDnHugeControl",
     [](BerElement *ber) {
         LDAPControl *list[] = {hugeControl(), nullptr};
         return LBURPEncodeModRDN(nullptr, dn, rdn, nullptr, 1, list, ber);
     }},
    {"AddNoDn",
     [](BerElement *ber) { return LBURPEncodeAdd(nullptr, nullptr, nullptr, nullptr, ber); }},
    {"DeleteNoDn",
     [](BerElement *ber) { return LBURPEncodeDelete(nullptr, nullptr, nullptr, ber); }},
    {"ModifyNoDn",
     [](BerElement *ber) { return LBURPEncodeMod(nullptr, nullptr, nullptr, nullptr, ber); }},
    {"ModifyDnNoDn",
     [](BerElement *ber) {
         return LBURPEncodeModRDN(nullptr, nullptr, rdn, nullptr, 1, nullptr, ber);
     }},
    {"ModifyDnNoRdn",
     [](BerElement *ber) {
         return LBURPEncodeModRDN(nullptr, dn, nullptr, nullptr, 1, nullptr, ber);
     }},
    {"AddNoType",
     [](BerElement *ber) { return encodeAdd(Modifications().strings(0, nullptr, {}), ber); }},
    {"ModifyNoType",
     [](BerElement *ber) { return encodeMod(Modifications().strings(0, nullptr, {}), ber); }},
    {"ControlNoOid",
     [](BerElement *ber) {
         RequestControls list;
         return LBURPEncodeDelete(nullptr, dn, list.add(nullptr, true).list(), ber);
     }},
};

class RefusalTest : public testing::TestWithParam<Refusal> {};

TEST_P(RefusalTest, ReleasesTheEncoder) {
    for (bool isDer : {false, true}) {
        BerPtr ber = newEncoder(isDer);
        ASSERT_NE(ber_printf(ber.get(), "{i", 1), -1);
        EXPECT_EQ(GetParam().call(ber.release()), LDAP_ENCODING_ERROR);
    }
}

INSTANTIATE_TEST_SUITE_P(Lburp, RefusalTest, testing::ValuesIn(refusals), caseName<Refusal>);

} // namespace
} // namespace qldapx_test
