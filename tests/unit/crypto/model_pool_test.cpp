// The random pool, byte for byte, where its start-up entropy is known.
#include "crypto/model_child.h"
#include "crypto/model_pool.h"

#include <memory>
#include <qldapx/random_pool.h>
#include <random>
#include <vector>

namespace qldapx_test::pool_model {
namespace {

#ifdef __SANITIZE_ADDRESS__
constexpr unsigned sequences = 20;
#else
constexpr unsigned sequences = 150;
#endif
constexpr int callsOfASequence = 120;

// Exactly that many bytes of the heap, so that a sanitizer sees who writes behind them.
class Block {
  public:
    explicit Block(const std::string &bytes)
        : bytes_(new unsigned char[bytes.size()]), size_(bytes.size()) {
        std::copy(bytes.begin(), bytes.end(), bytes_.get());
    }
    [[nodiscard]] unsigned char *get() const { return bytes_.get(); }
    [[nodiscard]] int size() const { return static_cast<int>(size_); }
    [[nodiscard]] std::string contents() const {
        return {reinterpret_cast<const char *>(bytes_.get()), size_};
    }

  private:
    std::unique_ptr<unsigned char[]> bytes_;
    std::size_t size_;
};

// The same calls for both; every result is compared.
class Both {
  public:
    Both() { Entropy::restartClock(); }

    void add(const std::string &bytes, double entropy) {
        story_ << " add " << bytes.size() << " credit " << entropy;
        const Block block(bytes);
        XRAND_add(block.get(), block.size(), entropy);
        model_.add(bytes, entropy);
    }
    void seed(const std::string &bytes) {
        story_ << " seed " << bytes.size();
        const Block block(bytes);
        XRAND_seed(block.get(), block.size());
        model_.add(bytes, static_cast<double>(bytes.size()));
    }
    // Over what stands there.
    void bytes(std::string there, int (*draw)(unsigned char *, int) = XRAND_bytes) {
        story_ << " bytes " << there.size();
        const Block block(there);
        const int result = draw(block.get(), block.size());
        EXPECT_EQ(result, model_.bytes(there)) << story_.str();
        EXPECT_TRUE(block.contents() == there) << story_.str();
    }
    void status() {
        story_ << " status";
        EXPECT_EQ(XRAND_status(), model_.status()) << story_.str();
    }
    void poll() {
        story_ << " poll";
        EXPECT_EQ(XRAND_poll(), 1);
        model_.poll();
    }
    void cleanup() {
        story_ << " cleanup";
        XRAND_cleanup();
        model_.cleanup();
    }
    // To or from none, whatever the count below it.
    void none(int count) {
        story_ << " none " << count;
        XRAND_add(nullptr, count, 0.5);
        model_.add("", 0.5);
        unsigned char byte = 'x';
        std::string empty;
        EXPECT_EQ(XRAND_bytes(&byte, count), model_.bytes(empty)) << story_.str();
        EXPECT_EQ(byte, 'x');
    }
    [[nodiscard]] const Pool &model() const { return model_; }

  private:
    Pool model_;
    std::ostringstream story_;
};

class Random {
  public:
    explicit Random(unsigned seed) : engine_(seed) {}
    std::size_t below(std::size_t limit) { return engine_() % limit; }
    std::string bytes(std::size_t size) {
        std::string bytes(size, '\0');
        for (char &byte : bytes)
            byte = static_cast<char>(engine_());
        return bytes;
    }
    double credit() {
        constexpr double credits[] = {0, 0, 0, 0.25, 1, 10, 19.999, 20, 1e9, -1, -7.5, -1e6};
        return credits[below(std::size(credits))];
    }
    // Often one that ends where the ring does, a byte before or behind.
    std::size_t count(const Pool &pool) {
        const std::size_t toFill = pool.fill() - std::min(pool.index(), pool.fill());
        const std::size_t toEnd = Pool::ringSize - pool.index();
        switch (below(8)) {
        case 0:
            return below(3001);
        case 1:
            return Pool::ringSize * below(3) + below(2);
        case 2:
            return toEnd + below(3) - (toEnd > 0 ? 1 : 0);
        case 3:
            return toFill + below(3) - (toFill > 0 ? 1 : 0);
        default:
            return below(40);
        }
    }

  private:
    std::mt19937 engine_;
};

void callOne(Random &random, Both &both) {
    const std::size_t count = random.count(both.model());
    switch (random.below(16)) {
    case 0:
        return both.status();
    case 1:
        return both.cleanup();
    case 2:
        return random.below(3) == 0 ? both.poll() : both.none(-1);
    case 3:
        return both.seed(random.bytes(count));
    case 4:
        return both.bytes(random.bytes(count), XRAND_pseudo_bytes);
    case 5:
    case 6:
    case 7:
    case 8:
        return both.add(random.bytes(count), random.credit());
    default:
        return both.bytes(random.bytes(count));
    }
}

class PoolModel : public testing::TestWithParam<unsigned> {};

TEST_P(PoolModel, RandomCalls) {
    inChild([] {
        Random random(GetParam());
        Both both;
        for (int i = 0; i < callsOfASequence && !testing::Test::HasFailure(); ++i)
            callOne(random, both);
        both.bytes(random.bytes(2000));
    });
}

INSTANTIATE_TEST_SUITE_P(Seeds, PoolModel, testing::Range(1U, sequences + 1));

struct Scene {
    const char *name;
    void (*play)(Both &both);
};

void PrintTo(const Scene &scene, std::ostream *out) {
    *out << scene.name;
}

const std::string hundred(100, 'h');

const Scene scenes[] = {
    {"FirstBytesPollAndStir", [](Both &both) { both.bytes(hundred); }},
    {"FirstBytesOfNone", [](Both &both) { both.bytes(""), both.bytes("12345678"); }},
    {"StatusFirst", [](Both &both) { both.status(), both.bytes(hundred); }},
    {"PollTwice", [](Both &both) { both.poll(), both.poll(), both.status(), both.bytes(hundred); }},
    // 10 bytes of entropy and those of the poll, up to the threshold.
    {"SeedBeforeTheFirstStatus",
     [](Both &both) { both.seed("0123456789"), both.status(), both.bytes(hundred); }},
    // Not enough, and less with every byte, until enough is added.
    {"TooLittleEntropy",
     [](Both &both) {
         both.add("a", -5), both.status(), both.bytes(hundred), both.bytes("1234");
         both.add("a", 19.5), both.bytes("1"), both.add("a", 1.5), both.status(), both.bytes("1");
         both.bytes(hundred);
     }},
    // Twenty is enough, and what comes above it is not credited.
    {"Threshold",
     [](Both &both) {
         both.status(), both.cleanup(), both.add("a", -0.001), both.status(), both.add("a", 0.0005);
         both.status(), both.add("a", 0.0005), both.status(), both.add("a", -19), both.status();
         both.bytes(hundred);
     }},
    {"NothingAdded",
     [](Both &both) {
         both.add("", 1), both.bytes(hundred), both.add("", -1), both.bytes(hundred);
     }},
    {"CountsBelowZero",
     [](Both &both) {
         both.none(-1), both.none(-2147483647 - 1), both.none(0), both.bytes(hundred);
     }},
    // After the first 1024 of stirring.
    {"PositionAtTheEndOfTheRing",
     [](Both &both) {
         both.bytes("");
         both.bytes(std::string(Pool::ringSize - both.model().index(), 'x'));
         ASSERT_EQ(both.model().index(), Pool::ringSize);
         both.bytes(""), both.add("abc", 0), both.bytes(hundred);
         both.bytes(std::string(Pool::ringSize - both.model().index(), 'x'));
         both.bytes("abcdefghij"), both.bytes(hundred);
     }},
    {"RingFilledExactly",
     [](Both &both) {
         both.poll(), both.add(std::string(Pool::ringSize - both.model().index(), 'x'), 0);
         ASSERT_EQ(both.model().index(), 0U);
         both.add("abc", 0), both.bytes(hundred);
     }},
    // It is not stirred again: the ring is what the poll has written.
    {"PositionAtTheFill",
     [](Both &both) {
         both.bytes("x"), both.cleanup(), both.status();
         ASSERT_EQ(both.model().fill(), 80U);
         ASSERT_EQ(both.model().index(), 80U);
         both.bytes("abcdefghijk"), both.bytes(hundred), both.bytes(std::string(160, 'y'));
         both.bytes(std::string(80 - both.model().index(), 'z'));
         ASSERT_EQ(both.model().index(), 80U);
         both.add("behind the fill", 0), both.bytes(hundred);
     }},
    {"MoreThanTheRing",
     [](Both &both) {
         both.add(std::string(3000, 'm'), 0), both.bytes(std::string(3000, 'n'));
         both.seed(std::string(2046, 'm')), both.bytes(hundred);
     }},
    // Before any entropy it is stirred with every call.
    {"NeverStirred",
     [](Both &both) {
         both.add("a", -1e6), both.bytes("x"), both.cleanup(), both.add("a", -30), both.bytes("x");
         both.bytes(hundred), both.cleanup(), both.bytes(hundred);
     }},
    {"OneByteAtATime",
     [](Both &both) {
         for (int i = 0; i < 1100; ++i)
             both.add(std::string(1, static_cast<char>(i)), 0), both.bytes("b");
     }},
};

class PoolScene : public testing::TestWithParam<Scene> {};

TEST_P(PoolScene, AsTheModel) {
    inChild([] {
        Both both;
        GetParam().play(both);
    });
}

INSTANTIATE_TEST_SUITE_P(All, PoolScene, testing::ValuesIn(scenes),
                         [](const auto &scene) { return std::string(scene.param.name); });

// Each source of entropy, with its own seed of rand.
TEST(PoolSources, Gathering) {
    inChild([] {
        const Calls before = callsSoFar();
        EXPECT_EQ(XRAND_poll(), 1);
        const Calls &after = callsSoFar();
        EXPECT_EQ(after.pid - before.pid, 1);
        EXPECT_EQ(after.user - before.user, 1);
        EXPECT_EQ(after.clock - before.clock, 32);
        EXPECT_EQ(after.parent - before.parent, 1);
        EXPECT_EQ(after.pageSize - before.pageSize, 1);
        EXPECT_EQ(after.seeds - before.seeds, 20);
        EXPECT_EQ(after.numbers - before.numbers, 20);
    });
}

// What stood where the bytes go is mixed in, too.
TEST(PoolSources, OutputIsInput) {
    const auto drawnOver = [](char there) {
        Both both;
        std::string out(16, there);
        XRAND_cleanup();
        XRAND_bytes(reinterpret_cast<unsigned char *>(out.data()), 16);
        return out;
    };
    inChild([&] {
        drawnOver('a');
        EXPECT_EQ(drawnOver('a'), drawnOver('a'));
        EXPECT_NE(drawnOver('a'), drawnOver('b'));
    });
}

} // namespace
} // namespace qldapx_test::pool_model
