#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "foundation/base_object.h"
#include "foundation/multi_string.h"
#include "foundation/narrow_string.h"
#include "foundation/system_files.h"
#include "platform/event_log.h"
#include "support/fake_clock.h"
#include "support/scoped_env.h"
#include "support/temporary_folder.h"

namespace {

/// How many allocations of this thread go well from now on; below 0 all do.
thread_local int allocationsLeft = -1;
int openedLogs = 0;

}  // namespace

// Not inlined: the compiler would take the free in one and the new around the other for a mistake.
[[gnu::noinline]] void* operator new(std::size_t size) {
    void* made = allocationsLeft == 0 ? nullptr : std::malloc(size);
    allocationsLeft -= allocationsLeft > 0 ? 1 : 0;
    return made ? made : throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* bytes) noexcept {
    std::free(bytes);
}
[[gnu::noinline]] void operator delete(void* bytes, std::size_t) noexcept {
    std::free(bytes);
}
extern "C" void openlog(const char*, int, int) {
    ++openedLogs;
}

namespace tessolt {
namespace {

using support::TemporaryFolder;

class LogTest : public ::testing::Test {
protected:
    std::string logText() const { return TemporaryFolder::read(log_); }
    std::vector<std::string> activities() const {
        return platform::IniFile(activity_).section("Log");
    }

    support::FakeClock clock_;
    TemporaryFolder folder_;
    std::string log_ = folder_.file("log.txt");
    std::string activity_ = folder_.file("activity.ini");
    CZncBase object_;
};

TEST_F(LogTest, ShowsLineBreaksAsTheLevelSays) {
    const struct {
        std::uint32_t level;
        const char *text, *written;
    } cases[] = {{1, "Disconnected", "Disconnected\r\n"},
                 {1, "a\r\nb\r\n", "a <CRLF> b\r\n"},
                 {3, "a\rb\n\nc\r\r\n\n", "a <CR> b <LF>  <LF> c\r\n"},
                 {4, "a\r\nb\r\n", "a\r\nb\r\n\r\n"},
                 {5, "a\nb\rc", "a\r\nb\rc\r\n"},
                 {6, "%s 100%", "%s 100%\r\n"},
                 {2, "not for the file", nullptr},
                 {0, "nothing", nullptr},
                 {8, "no such bit", nullptr}};
    object_.SetLogFile(log_.c_str());
    EXPECT_FALSE(std::filesystem::exists(log_));
    std::string expected;
    for (const auto& c : cases) {
        object_.Log(c.level, "%s", c.text);
        if (c.written) {
            expected.append("[14:03:09] ").append(c.written);
        }
        EXPECT_EQ(logText(), expected);
    }
    object_.SetLogFile(log_.c_str());
    EXPECT_EQ(logText(), expected);
    EXPECT_EQ(std::filesystem::status(log_).permissions(),
              std::filesystem::perms::owner_read | std::filesystem::perms::owner_write);
}

TEST_F(LogTest, CutsAtItsBuffersAndKeepsLongRepliesWhole) {
    const std::string text(70000, 'x');
    object_.SetLogFile(log_.c_str());
    object_.Log(1, "%s", text.c_str());
    EXPECT_EQ(logText().size(), 65535u + 2);
    std::filesystem::remove(log_);
    object_.LogLong(3, 70000, "[%s]", text.c_str());
    EXPECT_EQ(logText(), "[14:03:09] [" + text + "]\r\n");
}

TEST_F(LogTest, LosesEntriesWithoutHarmWhereTheFileCannotBeWritten) {
    ASSERT_EQ(mkfifo(folder_.file("pipe").c_str(), 0600), 0);
    for (const std::string& path :
         {folder_.path(), folder_.file("no/folder/log"), folder_.file("pipe")}) {
        object_.SetLogFile(path.c_str());
        object_.SetActivityFile(path.c_str());
        object_.Log(7, "lost");
    }
    EXPECT_TRUE(std::filesystem::is_fifo(folder_.file("pipe")));
    object_.SetLogFile(nullptr);
    object_.SetActivityFile("");
    object_.Log(7, "to nobody");
    CZncString name("x");
    object_.GetLogFile(name);
    EXPECT_TRUE(name.IsEmpty());
}

TEST_F(LogTest, ALackOfMemoryCostsEntriesAndNothingElse) {
    object_.SetLogFile(log_.c_str());
    object_.SetActivityFile(activity_.c_str());
    std::string text;
    for (int left = 0; left < 1500; left += 1 + left / 100) {
        text = "entry " + std::to_string(left);
        allocationsLeft = left;
        object_.Log(7, "%s", text.c_str());
        object_.LogLong(7, 100, "%s", text.c_str());
        allocationsLeft = -1;
    }
    EXPECT_EQ(activities().size(), 100u) << "with enough memory nothing is lost";
    EXPECT_TRUE(logText().ends_with("[14:03:09] " + text + "\r\n"));
    EXPECT_EQ(logText().find("\r\n\r\n"), std::string::npos);
}

TEST_F(LogTest, KeepsTheLatestHundredActivitiesAndCutsLongOnes) {
    folder_.write("activity.ini", "[Log]\r\nold\r\n");
    object_.SetActivityFile(activity_.c_str());
    EXPECT_EQ(TemporaryFolder::read(activity_), "[Init]\r\nInitialized=1\r\nNextEntry=0\r\n");
    // A hundred lines of the largest size are more than the buffer of one line holds.
    const std::string text(2000, 'y');
    for (int i = 0; i <= 100; ++i) {
        object_.Log(2, "%s", text.c_str());
    }
    ASSERT_EQ(activities().size(), 100u);
    const std::string cut = "|[14:03:09] " + text.substr(0, 1009) + "...";
    EXPECT_EQ(activities().front(), "00000001" + cut);
    EXPECT_EQ(activities().back(), "00000064" + cut);
    EXPECT_EQ(platform::IniFile(activity_).number("Init", "NextEntry", 0), 101u);
    EXPECT_FALSE(std::filesystem::exists(log_));
    object_.SetLogFile(log_.c_str());
    object_.Log(3, "%s", text.c_str());
    EXPECT_EQ(logText(), "[14:03:09] " + text + "\r\n");
    object_.Log(2, "%s", text.substr(0, 1012).c_str());
    EXPECT_EQ(activities().back(), "00000066|[14:03:09] " + text.substr(0, 1012));
}

TEST_F(LogTest, NoTextBecomesStructureOfTheActivityFile) {
    object_.SetActivityFile(activity_.c_str());
    object_.Log(6, "Response: [x\n[Init]\nNextEntry=77\n [Log]]");
    object_.Log(6, "second");
    EXPECT_EQ(platform::IniFile(activity_).number("Init", "NextEntry", 0), 2u);
    EXPECT_EQ(activities(),
              (std::vector<std::string>{"00000000|[14:03:09] Response: [x", "|[Init]",
                                        "NextEntry=77", "| [Log]]", "00000001|[14:03:09] second"}));
}

TEST_F(LogTest, ObjectsOnDifferentThreadsDoNotTearLines) {
    const std::string text(300, 'z');
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            CZncBase own;
            own.SetLogFile(log_.c_str());
            object_.SetLogFile(log_.c_str());
            for (int i = 0; i < 50; ++i) {
                own.Log(1, "%s", text.c_str());
                object_.Log(1, "%s", text.c_str());
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    const std::string line = "[14:03:09] " + text + "\r\n";
    std::string expected;
    while (expected.size() < 400 * line.size()) {
        expected += line;
    }
    EXPECT_EQ(logText(), expected);
}

TEST_F(LogTest, RecordsAnAssertionThatFailsAndGoesOn) {
    std::vector<std::string> events;
    platform::replaceEventSink([&](const char* source, std::string_view text) {
        events.push_back(source + (": " + std::string(text)));
    });
    const support::ScopedEnv missing("TESSOLT_DEBUG_DIR", folder_.file("none").c_str());
    CZncBase::Assert(true, "x.cpp", 1);
    CZncBase::Assert(false, "x.cpp", 12);
    {
        const support::ScopedEnv present("TESSOLT_DEBUG_DIR", folder_.path().c_str());
        object_.SetLogFile(log_.c_str());
        object_.LogLong(1, 8, "short hint");
    }
    platform::replaceEventSink({});
    CZncBase::Assert(false, "the system's own log.cpp", 1);
    EXPECT_EQ(openedLogs, 0) << "that connection is the program's";
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[0], "SceCli: [14:03:09] MERIVANE ASSERTION FAILURE, FILE: [x.cpp]; LINE: 12");
    EXPECT_EQ("SceCli: " + TemporaryFolder::read(folder_.file("assert.txt")), events[1] + "\r\n");
    EXPECT_EQ(logText(), "[14:03:09] short hint\r\n");
    EXPECT_FALSE(std::filesystem::exists(folder_.file("none")));
}

TEST_F(LogTest, IniFunctionsRetryAndReport) {
    CZncMultiString lines;
    lines.Add("a=1");
    EXPECT_TRUE(WriteIniSection("S", &lines, activity_.c_str()));
    EXPECT_TRUE(WriteIniNumber("T", "n", 0xFFFFFFFF, activity_.c_str()));
    EXPECT_EQ(TemporaryFolder::read(activity_), "[S]\r\na=1\r\n[T]\r\nn=-1\r\n");
    EXPECT_TRUE(WriteIniSection("S", nullptr, activity_.c_str()));
    EXPECT_EQ(TemporaryFolder::read(activity_), "[T]\r\nn=-1\r\n");
    EXPECT_TRUE(WriteIniSection("S", nullptr, log_.c_str()));
    EXPECT_FALSE(std::filesystem::exists(log_));
    EXPECT_EQ(clock_.slept, 0u);
    EXPECT_FALSE(WriteIniSection("S", &lines, folder_.path().c_str()));
    EXPECT_EQ(clock_.slept, 20u);
    EXPECT_TRUE(FileExists(activity_.c_str()));
    EXPECT_FALSE(FileExists(folder_.path().c_str()));
    EXPECT_FALSE(FileExists(nullptr));
}

TEST(MultiString, KeepsABlockOfEntries) {
    CZncMultiString entries;
    EXPECT_EQ(entries.GetBlock()[0], '\0');
    entries.Assign("one\0two\0");
    entries.Add("");
    entries.Add(nullptr);
    entries.AddNumbered("text", 0xAB);
    EXPECT_EQ(std::string(entries.GetBlock(), entries.GetSize() + 1),
              std::string("one\0two\000000000AB|text\0\0", 23));
    for (const std::size_t kept : {3, 1, 0}) {
        entries.KeepLast(static_cast<std::uint32_t>(kept));
        ASSERT_EQ(entries.GetEntries().size(), kept);
        EXPECT_TRUE(kept != 1 || entries.GetEntries()[0] == "000000AB|text");
    }
    entries.Assign(nullptr);
    EXPECT_TRUE(entries.GetEntries().empty());
}

}  // namespace
}  // namespace tessolt
