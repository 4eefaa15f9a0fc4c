#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "base/borvik_crit_sec.h"
#include "base/borvik_object.h"
#include "base/borvik_rand.h"
#include "base/data_buffer.h"
#include "base/error_log.h"
#include "base/ext_ptr_array.h"
#include "base/ref_counted_object.h"
#include "base/string_buffer.h"

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

std::string xmlOf(const ErrorLog& log) {
    StringBuffer out;
    log.root().renderXml(out);
    return std::string(out.view());
}

std::string inRoot(const std::string& content) {
    return "<BorvikLog>\r\n" + content + "</BorvikLog>\r\n";
}

TEST(ErrorLog, WrapsMarkupInXml) {
    const struct {
        LogEntryKind kind;
        const char *tag, *text, *xml;
    } cases[] = {
        {LogEntryKind::kError, "", "a<b", "<error><![CDATA[a<b]]></error>\r\n"},
        {LogEntryKind::kInfo, "", "plain \"text\"", "<info>plain \"text\"</info>\r\n"},
        {LogEntryKind::kInfo, "", "a\tb", "<info><![CDATA[a\tb]]></info>\r\n"},
        {LogEntryKind::kInfo, "", "<![CDATA[x]]>", "<info><![CDATA[x]]></info>\r\n"},
        {LogEntryKind::kXml, "", "<a/>", "<a/>\r\n"},
        {LogEntryKind::kData, "tag", "x&y", "<tag><![CDATA[x&y]]></tag>\r\n"},
    };
    for (const auto& c : cases) {
        ErrorLog log;
        log.add(c.kind, c.tag, c.text);
        EXPECT_EQ(xmlOf(log), inRoot(c.xml));
    }
    EXPECT_EQ(xmlOf(ErrorLog()), inRoot(""));
}

TEST(ErrorLog, RendersItsTreeAsHtml) {
    ErrorLog log;
    log.enterContext("outer");
    log.add(LogEntryKind::kError, {}, "a<b");
    log.add(LogEntryKind::kData, "size", "7");
    log.leaveContext();
    log.add(LogEntryKind::kXml, {}, "<x/>");
    StringBuffer out;
    log.root().renderHtml(out);
    EXPECT_EQ(out.view(),
              "BorvikLog:<blockquote>\r\nouter:<blockquote>\r\na&lt;b<br>\r\nsize: 7<br>\r\n"
              "</blockquote>\r\n&lt;x/&gt;<br>\r\n</blockquote>\r\n");
}

TEST(ErrorLog, DropsEmptyContextsBelowTheFirstLevel) {
    ErrorLog log;
    log.enterContext("y");
    log.enterContext("x");
    for (int i = 0; i < 4; ++i) {
        log.leaveContext();
    }
    log.add(LogEntryKind::kInfo, {}, "root");
    EXPECT_EQ(xmlOf(log), inRoot("<y>\r\n</y>\r\n<info>root</info>\r\n"));
    log.clear();
    EXPECT_EQ(xmlOf(log), inRoot(""));
}

using namespace std::string_view_literals;

TEST(DataBuffer, StartsWithoutStorage) {
    DataBuffer data;
    EXPECT_TRUE(data.append(nullptr, 5));
    EXPECT_TRUE(data.append("x", 0));
    EXPECT_TRUE(data.isAscii());
    EXPECT_FALSE(data.containsByte('x'));
    EXPECT_EQ(data.dataAt(0), nullptr);
    EXPECT_FALSE(data.ensureCapacity(0));
    EXPECT_EQ(data.getData(), nullptr);
}

TEST(DataBuffer, GrowsBySizeClass) {
    const struct {
        std::size_t length, count, capacity;
    } cases[] = {
        {0, 10, 20'000},
        {19'990, 11, 39'990},
        {50'000, 1, 100'000},
        {5'000'000, 10, 9'000'000},
        {5'000'000, 5'000'000, 10'000'000},
        {12'000'000, 1, 24'000'000},
        // Far up, a half of the content is more than the step.
        {40'000'000, 1, 60'000'000},
    };
    for (const auto& c : cases) {
        DataBuffer data;
        data.ensureCapacity(c.length);
        data.setLength(c.length);
        ASSERT_NE(data.grow(c.count), nullptr);
        EXPECT_EQ(data.getCapacity(), c.capacity) << c.length << " + " << c.count;
    }
    DataBuffer data(100);
    data.setLength(100);
    data.appendByte('x');
    EXPECT_EQ(data.getCapacity(), 10'100U);
    EXPECT_EQ(data.getSize(), 101U);
    EXPECT_EQ(*data.dataAt(99), '\0') << "reserved storage starts zeroed";
}

TEST(DataBuffer, RefusesWhatPassesItsLimit) {
    DataBuffer data;
    data.append("ab");
    // Volatile, since the compiler would warn of such counts.
    for (const volatile std::size_t count : {DataBuffer::kMaxSize, ~std::size_t{0}}) {
        EXPECT_FALSE(data.append("x", count));
        EXPECT_FALSE(data.prepend("x", count));
    }
    EXPECT_FALSE(data.ensureCapacity(DataBuffer::kMaxSize + 1));
    EXPECT_EQ(data.view(), "ab");
}

TEST(DataBuffer, LeavesALendersBytesAlone) {
    const struct {
        void (*change)(DataBuffer&);
        std::string_view after;
    } cases[] = {
        {[](DataBuffer& data) { data.appendByte('!'); }, "lent!"},
        {[](DataBuffer& data) { data.prepend("s", 1); }, "slent"},
        {[](DataBuffer& data) { data.assign("xy"); }, "xy"},
    };
    const char lent[] = "lent";
    for (const auto& c : cases) {
        DataBuffer data;
        data.append("own");
        data.borrow(lent, 4);
        EXPECT_EQ(data.getData(), lent);
        c.change(data);
        EXPECT_FALSE(data.isBorrowed());
        EXPECT_EQ(data.view(), c.after);
        data.replaceByte('l', 'b');
        EXPECT_STREQ(lent, "lent");
    }
}

TEST(DataBuffer, MovesStorageAround) {
    DataBuffer from;
    from.append("content");
    const char* const storage = from.getData();
    DataBuffer to;
    to.append("old");
    to.takeFrom(from);
    EXPECT_EQ(from.getData(), nullptr);
    EXPECT_EQ(from.getCapacity(), 0U);
    to.takeFrom(to);
    from.adopt(to.release(), 7);
    EXPECT_TRUE(to.empty());
    DataBuffer moved(std::move(from));
    EXPECT_EQ(moved.getData(), storage);
    EXPECT_EQ(moved.view(), "content");
    moved.takeFrom(nullptr);
    EXPECT_TRUE(moved.empty());
    moved.minimizeMemory();
    EXPECT_EQ(moved.getData(), nullptr);
}

TEST(DataBuffer, AppendsTextInItsForms) {
    DataBuffer data;
    data.appendWideString(nullptr);
    EXPECT_EQ(data.view(), "\0\0"sv);
    data.clear();
    data.appendWideString(u"ab");
    EXPECT_EQ(data.view(), "a\0b\0\0\0"sv);
    data.replaceUnit(u'b', u'\u4E2D');
    data.replaceUnit(0, u'x');
    EXPECT_EQ(data.view(), "a\0\x2D\x4E\0\0"sv);

    data.clear();
    const std::pair<char16_t, std::size_t> units[] = {{0x7F, 1},  {0x80, 2},   {0x7FF, 2},
                                                      {0x800, 3}, {0xD800, 3}, {0xFFFF, 3}};
    for (const auto& [unit, size] : units) {
        EXPECT_EQ(data.appendUtf8Char(unit), size);
    }
    EXPECT_EQ(data.view(), "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\xA0\x80\xEF\xBF\xBF");

    data.clear();
    data.appendString(nullptr);
    data.appendString("a");
    data.appendStringBuffer(StringBuffer("b"));
    data.prepend("xy", 2);
    EXPECT_EQ(data.view(), "xyab");
}

TEST(DataBuffer, AppendsAndPrependsItself) {
    DataBuffer data;
    data.assign("abc");
    EXPECT_TRUE(data.append(data.getData() + 1, 2));
    EXPECT_EQ(data.view(), "abcbc");
    data.assign(data.view().substr(2));
    EXPECT_EQ(data.view(), "cbc");
    EXPECT_TRUE(data.prepend(data.getData(), 3));
    EXPECT_EQ(data.view(), "cbccbc");
    EXPECT_TRUE(data.appendBuffer(data));
    EXPECT_EQ(data.view(), "cbccbccbccbc");
}

}  // namespace
}  // namespace borvik
