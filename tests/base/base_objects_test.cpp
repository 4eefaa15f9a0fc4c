#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <set>
#include <thread>
#include <vector>

#include "base/borvik_crit_sec.h"
#include "base/borvik_object.h"
#include "base/borvik_rand.h"
#include "base/ext_ptr_array.h"
#include "base/ref_counted_object.h"

namespace borvik {
namespace {

struct Counted : BorvikObject {
    explicit Counted(int& alive) : alive_(alive) { ++alive_; }
    ~Counted() override { --alive_; }
    int& alive_;
};

TEST(BorvikObject, NumbersEveryObject) {
    const BorvikObject first;
    const BorvikObject second;
    BorvikObject copy(first);
    EXPECT_GE(first.getObjectId(), 100U);
    EXPECT_EQ(second.getObjectId(), first.getObjectId() + 1);
    EXPECT_EQ(copy.getObjectId(), first.getObjectId() + 2);
    copy = second;
    EXPECT_EQ(copy.getObjectId(), first.getObjectId() + 2);
}

TEST(BorvikObject, NeverRepeatsAnIdAcrossThreads) {
    constexpr std::size_t kThreads = 4;
    constexpr std::size_t kObjects = 10'000;
    std::vector<std::vector<std::uint64_t>> ids(kThreads);
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (auto& own : ids) {
        threads.emplace_back([&own] {
            for (std::size_t i = 0; i < kObjects; ++i) {
                own.push_back(BorvikObject().getObjectId());
            }
        });
    }
    std::set<std::uint64_t> all;
    for (std::size_t i = 0; i < kThreads; ++i) {
        threads[i].join();
        all.insert(ids[i].begin(), ids[i].end());
    }
    EXPECT_EQ(all.size(), kThreads * kObjects);
}

TEST(ExtPtrArray, KeepsOrderAndBounds) {
    using Items = std::vector<BorvikObject*>;
    BorvikObject a, b, c;
    ExtPtrArray<> array;
    EXPECT_EQ(array.last(), nullptr);
    EXPECT_EQ(array.pop(), nullptr);
    array.append(&a);
    array.insertAt(99, &b);
    array.insertAt(-1, &c);
    EXPECT_EQ(Items(array.begin(), array.end()), (Items{&c, &a, &b}));
    EXPECT_EQ(array.get(-1), nullptr);
    EXPECT_EQ(array.get(3), nullptr);
    EXPECT_EQ(array.removeAt(3), nullptr);
    EXPECT_EQ(array.removeAt(1), &a);
    EXPECT_EQ(array.pop(), &b);
    array.clearWithoutDelete();
    EXPECT_FALSE(array.setAt(-1, &a));
    EXPECT_TRUE(array.setAt(3, &a));
    EXPECT_EQ(Items(array.begin(), array.end()), (Items{nullptr, nullptr, nullptr, &a}));
}

TEST(ExtPtrArray, DestroysWhatItOwns) {
    int alive = 0;
    auto* const kept = new Counted(alive);
    {
        ExtPtrArray<Counted> owning(true);
        owning.append(std::make_unique<Counted>(alive));
        EXPECT_FALSE(owning.append(std::unique_ptr<Counted>()));
        ExtPtrArray<Counted> borrowing;
        borrowing.append(kept);
    }
    EXPECT_EQ(alive, 1);
    ExtPtrArray<Counted> array;
    array.append(kept);
    array.append(nullptr);
    array.deleteAll();
    EXPECT_EQ(alive, 0);
}

TEST(RefCountedObject, GoesWithItsLastReference) {
    struct Shared : RefCountedObject {
        explicit Shared(bool& gone) : gone_(gone) {}
        ~Shared() override { gone_ = true; }
        bool& gone_;
    };
    bool gone = false;
    auto* const shared = new Shared(gone);
    EXPECT_EQ(shared->decRefCount(), 0) << "a new object survives";
    shared->incRefCount();
    shared->incRefCount();
    EXPECT_EQ(shared->decRefCount(), 1);
    EXPECT_FALSE(gone);
    EXPECT_EQ(shared->decRefCount(), 0);
    EXPECT_TRUE(gone);
}

TEST(BorvikCritSec, IsRecursiveAndExcludesOtherThreads) {
    BorvikCritSec section;
    std::atomic<bool> entered = false;
    section.enter();
    section.enter();
    section.leave();
    std::thread other([&] {
        section.enter();
        entered = true;
        section.leave();
    });
    EXPECT_FALSE(entered);
    section.leave();
    other.join();
    EXPECT_TRUE(entered);
}

TEST(BorvikRand, StaysBelowItsUpperLimit) {
    EXPECT_EQ(BorvikRand::randomInt(5, 5), 5);
    std::set<int> seen;
    // More calls than one seeding of the generator serves.
    for (int i = 0; i < 10'000; ++i) {
        seen.insert(BorvikRand::randomInt(0, 9));
    }
    EXPECT_EQ(seen, (std::set<int>{0, 1, 2, 3, 4, 5, 6, 7, 8}));
}

TEST(BorvikRand, FollowsItsRecurrence) {
    constexpr std::size_t kWords = 250;
    constexpr std::size_t kTap = 103;
    std::vector<std::uint32_t> words(5 * kWords);
    std::generate(words.begin(), words.end(), BorvikRand::randomWord);
    for (std::size_t n = kWords; n < words.size(); ++n) {
        ASSERT_EQ(words[n], words[n - kWords] ^ words[n - kWords + kTap]) << n;
    }
    EXPECT_GT(std::set<std::uint32_t>(words.begin(), words.end()).size(), words.size() / 2);
}

}  // namespace
}  // namespace borvik
