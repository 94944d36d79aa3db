// What a bulk update is made of: lists of attributes, operations, batches, and their encoder.
#include "answers.h"

namespace api_test {
namespace {

namespace bulk = qldapx::bulk;
using qldapx::change;
using qldapx::modifications;

TEST(CxxModifications, AreAListForC) {
    modifications list;
    EXPECT_TRUE(list.empty());
    EXPECT_EQ(list.get()[0], nullptr);
    const std::string_view raw("a\0b", 3);
    list.attribute("cn", {"a", "b"})
        .add_bytes(change::replace, "photo", {raw, std::string_view()})
        .add(change::remove, "sn", {});
    EXPECT_EQ(list.size(), 3U);
    LDAPMod **mods = list.get();
    EXPECT_EQ(mods[0]->mod_op, LDAP_MOD_ADD);
    EXPECT_STREQ(mods[0]->mod_type, "cn");
    EXPECT_EQ(describe(qldapx::text_list_ref(qldapx::borrow, mods[0]->mod_values)), "a,b,");
    EXPECT_EQ(mods[1]->mod_op, LDAP_MOD_REPLACE | LDAP_MOD_BVALUES);
    EXPECT_STREQ(mods[1]->mod_type, "photo");
    EXPECT_EQ(qldapx::bytes_ref(qldapx::borrow, mods[1]->mod_bvalues[0]).view(), raw);
    EXPECT_EQ(mods[1]->mod_bvalues[1]->bv_len, 0U);
    EXPECT_EQ(mods[1]->mod_bvalues[2], nullptr);
    EXPECT_EQ(mods[2]->mod_op, LDAP_MOD_DELETE);
    EXPECT_EQ(mods[2]->mod_values[0], nullptr);
    EXPECT_EQ(mods[3], nullptr);
    list.clear();
    EXPECT_TRUE(list.empty());
    EXPECT_EQ(list.get()[0], nullptr);
}

std::string encoded(const bulk::encoder &encoder) {
    berval flat{};
    EXPECT_EQ(ber_flatten2(encoder.get(), &flat, 0), 0);
    return toHex({flat.bv_val, flat.bv_len});
}

struct EncoderCase {
    const char *name;
    qldapx::result<void> (*write)(bulk::encoder &encoder);
    const char *hex;
    qldapx::result<void> (*fail)(bulk::encoder &encoder);
};

void PrintTo(const EncoderCase &row, std::ostream *out) {
    *out << row.name;
}

// Without a type; an element of a list is not null.
LDAPMod **typeless() {
    static LDAPMod mod = {};
    static LDAPMod *list[] = {&mod, nullptr};
    return list;
}
LDAPControl **nameless() {
    static LDAPControl control = {};
    static LDAPControl *list[] = {&control, nullptr};
    return list;
}

const EncoderCase encoderCases[] = {
    {"Add",
     [](bulk::encoder &encoder) {
         modifications list;
         return encoder.add("o=a", list.attribute("o", {"a"}).get());
     },
     "30 84 00 00 00 23 68 84 00 00 00 1d 04 03 6f 3d 61 30 84 00 00 00 12"
     " 30 84 00 00 00 0c 04 01 6f 31 84 00 00 00 03 04 01 61",
     [](bulk::encoder &encoder) { return encoder.add("o=a", typeless()); }},
    {"Modify", [](bulk::encoder &encoder) { return encoder.modify("o=a", nullptr); },
     "30 84 00 00 00 11 66 84 00 00 00 0b 04 03 6f 3d 61 30 84 00 00 00 00",
     [](bulk::encoder &encoder) { return encoder.modify("o=a", typeless()); }},
    {"Delete", [](bulk::encoder &encoder) { return encoder.remove("o=a"); },
     "30 84 00 00 00 05 4a 03 6f 3d 61",
     [](bulk::encoder &encoder) { return encoder.remove("o=a", nameless()); }},
    {"Rename", [](bulk::encoder &encoder) { return encoder.rename("o=a", "o=b", "o=c", true); },
     "30 84 00 00 00 18 6c 84 00 00 00 12 04 03 6f 3d 61 04 03 6f 3d 62 01 01 ff"
     " 04 03 6f 3d 63",
     [](bulk::encoder &encoder) {
         return encoder.rename("o=a", "o=b", nullptr, false, nameless());
     }},
};

class CxxEncoder : public testing::TestWithParam<EncoderCase> {};

TEST_P(CxxEncoder, WritesAnOperation) {
    bulk::encoder encoder = bulk::encoder::make();
    EXPECT_EQ(describe(GetParam().write(encoder)), "done");
    EXPECT_EQ(encoded(encoder), toHex(fromHex(GetParam().hex)));
}

TEST_P(CxxEncoder, IsEmptyAfterAFailure) {
    bulk::encoder encoder = bulk::encoder::make();
    EXPECT_EQ(describe(GetParam().fail(encoder)), "-3||");
    EXPECT_FALSE(encoder);
    EXPECT_EQ(describe(GetParam().write(encoder)), "-3||");
}

INSTANTIATE_TEST_SUITE_P(All, CxxEncoder, testing::ValuesIn(encoderCases), caseName<EncoderCase>);

TEST(CxxBulkOperation, OfEachKind) {
    modifications list;
    list.attribute("o", {"a"});
    bulk::batch batch;
    EXPECT_TRUE(batch.empty());
    batch.push_back(bulk::add("o=a", list));
    batch.push_back(bulk::modify("o=b", list, nameless()));
    batch.push_back(bulk::remove("o=c"));
    batch.push_back(bulk::rename("o=d", "o=e"));
    EXPECT_EQ(batch.size(), 4U);
    bulk::operation **raw = batch.get();
    EXPECT_EQ(raw[0]->type, LDAP_REQ_ADD);
    EXPECT_STREQ(raw[0]->dn, "o=a");
    EXPECT_STREQ(static_cast<LDAPMod **>(raw[0]->changes)[0]->mod_type, "o");
    EXPECT_EQ(raw[0]->controls, nullptr);
    EXPECT_EQ(raw[1]->type, LDAP_REQ_MODIFY);
    EXPECT_EQ(raw[1]->controls, nameless());
    EXPECT_EQ(raw[2]->type, LDAP_REQ_DELETE);
    EXPECT_EQ(raw[3]->type, LDAP_REQ_MODDN);
    EXPECT_STREQ(static_cast<char *>(raw[3]->changes), "o=e");
    EXPECT_EQ(raw[4], nullptr);
    batch.clear();
    EXPECT_EQ(batch.get()[0], nullptr);
}

} // namespace
} // namespace api_test
