// Owners: what they release and what not, and views of arrays.
#include "answers.h"

#include <array>

namespace api_test {
namespace {

using qldapx::adopt;
using qldapx::borrow;

int released = 0;
struct count_release {
    void operator()(int *) const noexcept { ++released; }
};
using Owner = qldapx::owner<qldapx::handle<int>, count_release>;

class CxxOwner : public testing::Test {
  protected:
    CxxOwner() { released = 0; }
    int one = 1, two = 2;
};

TEST_F(CxxOwner, ReleasesAtItsEnd) {
    {
        const Owner owner(adopt, &one);
        EXPECT_EQ(owner.get(), &one);
        EXPECT_TRUE(static_cast<bool>(owner));
        EXPECT_EQ(released, 0);
    }
    EXPECT_EQ(released, 1);
}

TEST_F(CxxOwner, ReleasesNothingWhenEmpty) {
    {
        const Owner empty;
        const Owner ofNull(adopt, nullptr);
        EXPECT_FALSE(empty);
        EXPECT_EQ(ofNull.get(), nullptr);
    }
    EXPECT_EQ(released, 0);
}

TEST_F(CxxOwner, ThatWasMovedFromIsEmpty) {
    {
        Owner first(adopt, &one);
        Owner second(std::move(first));
        EXPECT_EQ(first.get(), nullptr); // NOLINT(bugprone-use-after-move)
        EXPECT_EQ(second.get(), &one);
        EXPECT_EQ(released, 0);
    }
    EXPECT_EQ(released, 1);
}

TEST_F(CxxOwner, ReleasesWhatAnotherTakesThePlaceOf) {
    Owner first(adopt, &one);
    Owner second(adopt, &two);
    first = std::move(second);
    EXPECT_EQ(first.get(), &two);
    EXPECT_EQ(second.get(), nullptr); // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(released, 1);
    Owner &same = first;
    first = std::move(same);
    EXPECT_EQ(first.get(), &two);
    EXPECT_EQ(released, 1);
    first.reset(&one);
    EXPECT_EQ(released, 2);
    first.reset();
    EXPECT_EQ(released, 3);
    first.reset();
    EXPECT_EQ(released, 3);
}

TEST_F(CxxOwner, GivesUpWithoutReleasing) {
    {
        Owner owner(adopt, &one);
        EXPECT_EQ(owner.release(), &one);
        EXPECT_EQ(owner.get(), nullptr);
    }
    EXPECT_EQ(released, 0);
}

TEST_F(CxxOwner, IsBorrowedFromAsItIs) {
    {
        const Owner owner(adopt, &one);
        const qldapx::handle<int> view = owner;
        EXPECT_EQ(view.get(), &one);
    }
    EXPECT_EQ(released, 1);
    const qldapx::handle<int> raw(borrow, &two);
    EXPECT_EQ(raw.get(), &two);
}

TEST(CxxOwners, CannotBeCopied) {
    EXPECT_FALSE(std::is_copy_constructible_v<Owner>);
    EXPECT_FALSE(std::is_copy_constructible_v<qldapx::session>);
    EXPECT_FALSE(std::is_copy_assignable_v<qldapx::session>);
    EXPECT_TRUE(std::is_copy_constructible_v<qldapx::session_ref>);
    EXPECT_TRUE(std::is_nothrow_move_constructible_v<qldapx::events::event>);
    EXPECT_TRUE(std::is_nothrow_move_constructible_v<qldapx::result<qldapx::session>>);
}

TEST(CxxText, ReadsAndIsReleased) {
    const qldapx::ldap_text text(adopt, ldap_strdup("text"));
    EXPECT_EQ(text.str(), "text");
    EXPECT_STREQ(text.c_str(), "text");
    EXPECT_EQ(std::string_view(text), "text");
    EXPECT_EQ(describe(text), "text");
    EXPECT_EQ(qldapx::text().str(), "");
    const qldapx::text ours(adopt, strdup("ours"));
    EXPECT_EQ(ours.str(), "ours");
}

TEST(CxxTextList, IsARange) {
    char *raw[] = {const_cast<char *>("a"), const_cast<char *>("b"), nullptr};
    const qldapx::text_list_ref list(borrow, raw);
    EXPECT_EQ(describe(list), "a,b,");
    EXPECT_FALSE(list.empty());
    qldapx::text_iterator at = list.begin();
    EXPECT_EQ(*at++, "a");
    EXPECT_EQ(*at, "b");
    EXPECT_NE(at, list.end());
    EXPECT_EQ(++at, list.end());
    EXPECT_TRUE(qldapx::text_list_ref().empty());
    char *none[] = {nullptr};
    EXPECT_TRUE(qldapx::text_list_ref(borrow, none).empty());
}

TEST(CxxBytes, AreViewed) {
    const qldapx::bytes bytes(adopt, ber_bvstrdup("a b"));
    EXPECT_EQ(bytes.view(), "a b");
    EXPECT_EQ(qldapx::bytes().view(), "");
}

int sum(qldapx::array_view<int> numbers) {
    int all = 0;
    for (int each : numbers)
        all += each;
    return all;
}

TEST(CxxArrayView, IsMadeOfAnyRow) {
    const std::array<int, 3> array = {1, 2, 3};
    const std::vector<int> vector = {4, 5};
    const int raw[] = {6};
    EXPECT_EQ(sum(array), 6);
    EXPECT_EQ(sum(vector), 9);
    EXPECT_EQ(sum(raw), 6);
    EXPECT_EQ(sum({7, 8}), 15);
    EXPECT_EQ(sum({}), 0);
    EXPECT_EQ(sum({array.data(), 2}), 3);
    const qldapx::array_view<int> view = vector;
    EXPECT_EQ(view.size(), 2U);
    EXPECT_EQ(view[1], 5);
    EXPECT_FALSE(view.empty());
    EXPECT_EQ(view.data(), vector.data());
    EXPECT_TRUE(qldapx::array_view<int>().empty());
}

} // namespace
} // namespace api_test
