// The encoders against ber_printf, which defines what they write, over generated operations.
#include "lburp/samples.h"

#include <gtest/gtest.h>
#include <qldapx.h>
#include <random>

namespace qldapx_test {
namespace {

void putControls(BerElement *ber, LDAPControl **controls) {
    if (controls == nullptr)
        return;
    ber_printf(ber, "t{", static_cast<ber_tag_t>(0xa0));
    for (; *controls != nullptr; ++controls) {
        ber_printf(ber, "{s", (*controls)->ldctl_oid);
        if ((*controls)->ldctl_iscritical != 0)
            ber_printf(ber, "b", static_cast<ber_int_t>((*controls)->ldctl_iscritical));
        if ((*controls)->ldctl_value.bv_val != nullptr)
            ber_printf(ber, "O", &(*controls)->ldctl_value);
        ber_printf(ber, "}");
    }
    ber_printf(ber, "}");
}

void putAdd(BerElement *ber, const char *dn, LDAPMod **mods, LDAPControl **controls) {
    ber_printf(ber, "{t{s{", LDAP_REQ_ADD, dn);
    for (; *mods != nullptr; ++mods)
        if (((*mods)->mod_op & LDAP_MOD_BVALUES) == 0)
            ber_printf(ber, "{s[v]}", (*mods)->mod_type, (*mods)->mod_values);
        else
            ber_printf(ber, "{s[V]}", (*mods)->mod_type, (*mods)->mod_bvalues);
    ber_printf(ber, "}}");
    putControls(ber, controls);
    ber_printf(ber, "N}");
}

void putModify(BerElement *ber, const char *dn, LDAPMod **mods, LDAPControl **controls) {
    ber_printf(ber, "{t{s{", LDAP_REQ_MODIFY, dn);
    for (; *mods != nullptr; ++mods)
        if (((*mods)->mod_op & LDAP_MOD_BVALUES) == 0)
            ber_printf(ber, "{e{s[v]}}", (*mods)->mod_op, (*mods)->mod_type, (*mods)->mod_values);
        else
            ber_printf(ber, "{e{s[V]}}", (*mods)->mod_op & ~LDAP_MOD_BVALUES, (*mods)->mod_type,
                       (*mods)->mod_bvalues);
    ber_printf(ber, "}}");
    putControls(ber, controls);
    ber_printf(ber, "}");
}

class Generator {
  public:
    explicit Generator(unsigned seed) : random_(seed) {}

    int upTo(int most) { return std::uniform_int_distribution<>(0, most)(random_); }
    // Mostly short, some where a length takes one byte more.
    Bytes text() {
        static constexpr std::size_t lengths[] = {0, 1, 5, 20, 127, 128, 255, 256, 3000, 70000};
        return Bytes(lengths[static_cast<std::size_t>(upTo(upTo(9)))],
                     static_cast<char>('a' + upTo(25)));
    }
    int operation() {
        static constexpr int operations[] = {0, 1, 2, 3, 0x7f, 0x100, 0x17f, 0x7fffff00, -256};
        return operations[upTo(8)];
    }
    void fill(Modifications &mods, std::vector<Bytes> &texts) {
        for (int i = upTo(4); i > 0; --i) {
            const char *type = keep(texts);
            if (upTo(1) == 0)
                mods.bytes(operation(), type, {text(), text()});
            else
                mods.strings(operation(), type, {keep(texts), keep(texts), keep(texts)});
        }
    }
    void fill(RequestControls &controls, std::vector<Bytes> &texts) {
        for (int i = upTo(3); i > 0; --i)
            if (upTo(1) == 0)
                controls.add(keep(texts), upTo(1) == 0);
            else
                controls.add(keep(texts), upTo(1) == 0, text());
    }

  private:
    const char *keep(std::vector<Bytes> &texts) { return texts.emplace_back(text()).c_str(); }

    std::mt19937 random_;
};

std::string_view bytesOf(BerElement *ber) {
    berval value{};
    EXPECT_EQ(ber_flatten2(ber, &value, 0), 0);
    return {value.bv_val, value.bv_len};
}

TEST(Lburp, WritesAsBerPrintf) {
    for (unsigned seed = 0; seed < 2000; ++seed) {
        Generator generator(seed);
        std::vector<Bytes> texts;
        texts.reserve(100);
        Modifications mods;
        RequestControls controls;
        generator.fill(mods, texts);
        generator.fill(controls, texts);
        Bytes dn = generator.text();
        LDAPControl **list = generator.upTo(3) == 0 ? nullptr : controls.list();
        int options = generator.upTo(1) == 0 ? LBER_USE_DER : 0;
        BerElement *own = ber_alloc_t(options), *other = ber_alloc_t(options);
        if (generator.upTo(1) == 0) {
            ASSERT_EQ(LBURPEncodeAdd(nullptr, dn.data(), mods.list(), list, own), LDAP_SUCCESS);
            putAdd(other, dn.c_str(), mods.list(), list);
        } else {
            ASSERT_EQ(LBURPEncodeMod(nullptr, dn.data(), mods.list(), list, own), LDAP_SUCCESS);
            putModify(other, dn.c_str(), mods.list(), list);
        }
        EXPECT_TRUE(bytesOf(own) == bytesOf(other)) << "seed " << seed;
        ber_free(own, 1);
        ber_free(other, 1);
    }
}

} // namespace
} // namespace qldapx_test
