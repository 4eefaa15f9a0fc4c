#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "platform/c_random.h"
#include "platform/clock.h"
#include "platform/file_system.h"
#include "platform/ini_file.h"
#include "platform/socket.h"
#include "support/fake_clock.h"
#include "support/scoped_env.h"
#include "support/temporary_folder.h"

namespace platform {
namespace {

using support::TemporaryFolder;
using Lines = std::vector<std::string>;

TEST(CRandom, GivesTheKnownSequenceToEachThread) {
    const std::vector<int> expected = {41, 18467, 6334, 26500, 19169, 15724, 11478, 29358};
    const auto draw = [&] {
        std::vector<int> drawn;
        while (drawn.size() < expected.size()) {
            drawn.push_back(rand());
        }
        return drawn;
    };
    srand(7);
    std::vector<int> other;
    std::thread([&] { other = draw(); }).join();
    EXPECT_EQ(other, expected);
    srand(1);
    EXPECT_EQ(draw(), expected);
}

TEST(Clock, TellsTheZoneWithItsDaylightTime) {
    struct Case {
        const char* zone;
        std::set<int> biases;
    };
    for (const Case& c :
         {Case{"UTC0", {0}}, Case{"IST-5:30", {-330}},
          Case{"NST3:30NDT,M3.2.0,M11.1.0", {210, 150}}, Case{"XXX-1YYY,0/0,J365/25", {-120}}}) {
        const support::ScopedEnv zone("TZ", c.zone);
        EXPECT_TRUE(c.biases.count(timeZoneBias())) << c.zone << " " << timeZoneBias();
        const std::int64_t now = unixTime();
        EXPECT_EQ(localTime().dayOfWeek, ((now - timeZoneBias() * 60) / 86400 + 4) % 7);
    }
}

TEST(Clock, SleepsForTheTimeAskedAndCanBeReplaced) {
    const std::uint32_t before = tickCount();
    sleepFor(30);
    EXPECT_GE(tickCount() - before, 29u);
    {
        support::FakeClock clock;
        clock.ticks = 0xFFFFFFFF;
        sleepFor(3'000'000);
        EXPECT_EQ(tickCount(), 2'999'999u);
    }
    EXPECT_LT(tickCount() - before, 100'000u);
}

TEST(SocketNumbers, KeepTheirMeaning) {
    EXPECT_EQ(socketErrorNumber(EWOULDBLOCK), 10035);
    EXPECT_EQ(socketErrorNumber(EPIPE), 10053);
    EXPECT_EQ(socketErrorNumber(ECONNRESET), 10054);
    EXPECT_EQ(socketErrorNumber(ENFILE), 10024);
    EXPECT_EQ(socketErrorNumber(EISDIR), 10000 + EISDIR);
}

TEST(FileSystem, TurnsOnlyForeignPathsIntoNativeOnes) {
    const std::pair<const char*, const char*> cases[] = {
        {"C:\\mail\\a.eml", "/mail/a.eml"},
        {"c:a.eml", "a.eml"},
        {"..\\up\\a", "../up/a"},
        {"\\\\host\\share", "//host/share"},
        {"/save/dir/..\\..\\x", "/save/dir/..\\..\\x"},
        {"C:/x\\y", "C:/x\\y"},
        {"1:\\x", "1:/x"},
        {"plain", "plain"},
        {"", ""}};
    for (const auto& [given, native] : cases) {
        EXPECT_EQ(toNativePath(given), native);
    }
}

TEST(FileSystem, NeverRenamesOntoAnExistingName) {
    const TemporaryFolder folder;
    folder.write("a", "A");
    folder.write("b", "B");
    EXPECT_EQ(renameNoReplace(folder.file("a"), folder.file("b")), EEXIST);
    EXPECT_EQ(TemporaryFolder::read(folder.file("b")), "B");
    EXPECT_EQ(renameNoReplace(folder.file("a"), folder.file("c")), 0);
    EXPECT_EQ(TemporaryFolder::read(folder.file("c")), "A");
    EXPECT_EQ(syncFolderOf(folder.file("c")), 0);
    EXPECT_EQ(renameNoReplace(folder.file("a"), folder.file("d")), ENOENT);
}

TEST(FileSystem, RefusesWhatIsNoFile) {
    const TemporaryFolder folder;
    const std::string pipe = folder.file("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    std::filesystem::create_symlink("target", folder.file("link"));
    constexpr unsigned kExclusive = kOpenWrite | kOpenCreate | kOpenExclusive;
    const struct {
        std::string path;
        unsigned flags;
        int result;
    } cases[] = {{folder.path(), kOpenRead, EISDIR},
                 {pipe, kOpenRead | kOpenRegularOnly, EINVAL},
                 {"/dev/zero", kOpenRead | kOpenRegularOnly, EINVAL},
                 {folder.file("link"), kOpenWrite | kOpenCreate | kOpenNoFollow, ELOOP},
                 {std::string("a\0b", 3), kOpenRead, ENOENT},
                 {folder.write("old", "content"), kExclusive, EEXIST},
                 {folder.file("new"), kExclusive, 0}};
    for (const auto& c : cases) {
        File file;
        EXPECT_EQ(file.open(c.path, c.flags), c.result) << c.path;
        EXPECT_EQ(file.isOpen(), c.result == 0);
    }
    std::string content = "before ";
    EXPECT_EQ(readWholeFile(folder.file("old"), content), 0);
    EXPECT_EQ(content, "before content");
    EXPECT_EQ(readWholeFile("/proc/self/status", content), 0);
    EXPECT_NE(content.find("Threads:"), std::string::npos);
}

TEST(FileSystem, AWriteThatFailsSendsNoSignalAndLeavesNoPiece) {
    const TemporaryFolder folder;
    const std::string pipe = folder.file("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    File reader;
    File writer;
    ASSERT_EQ(reader.open(pipe, kOpenRead | kOpenNonBlocking), 0);
    ASSERT_EQ(writer.open(pipe, kOpenWrite | kOpenNonBlocking), 0);
    reader.close();
    EXPECT_EQ(writer.append("x"), EPIPE);

    const std::string path = folder.write("log", "first\n");
    ASSERT_EQ(writer.open(path, kOpenWrite | kOpenAppend), 0);
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const rlimit small{10, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    EXPECT_EQ(writer.append("second\n"), EFBIG);
    EXPECT_EQ(writer.append("2\n"), 0);
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
    EXPECT_EQ(TemporaryFolder::read(path), "first\n2\n");
    sigset_t waiting;
    ASSERT_EQ(sigpending(&waiting), 0);
    EXPECT_EQ(sigismember(&waiting, SIGPIPE) + sigismember(&waiting, SIGXFSZ), 0);
}

TEST(FileSystem, TellsItsFailuresApart) {
    const TemporaryFolder folder;
    folder.write("file", "");
    const std::pair<std::pair<int, std::string>, int> cases[] = {
        {{ENOENT, folder.file("missing")}, kFileErrorNotFound},
        {{ENOENT, folder.file("no/such")}, kFileErrorPathNotFound},
        {{ENOTDIR, folder.file("file/x")}, kFileErrorPathNotFound},
        {{EACCES, "x"}, kFileErrorAccessDenied},
        {{ETXTBSY, "x"}, kFileErrorSharing},
        {{ENXIO, "x"}, kFileErrorNotReady},
        {{ENOSPC, "x"}, 10000 + ENOSPC},
        {{0, "x"}, 0}};
    for (const auto& [given, number] : cases) {
        EXPECT_EQ(fileErrorNumber(given.first, given.second), number) << given.first;
    }
    for (const bool readOnly : {true, false}) {
        FileInfo info;
        EXPECT_EQ(setReadOnly(folder.file("file"), readOnly), 0);
        EXPECT_EQ(statFile(folder.file("file"), info), 0);
        EXPECT_TRUE(info.isReadOnly == readOnly && info.isRegular && !info.isFolder);
    }
}

TEST(IniFile, ReadsSectionsAndNumbers) {
    const TemporaryFolder folder;
    const std::string path = folder.write(
        "a.ini",
        "x=9\r\n [ One ] tail\r\n  first  \n\n;note\n[\n k = -12 x\nK=7\n[two\nbig=4294967297");
    const IniFile file(path);
    EXPECT_EQ(file.section("ONE"), (Lines{"first"}));
    EXPECT_EQ(file.section("two"), (Lines{"big=4294967297"}));
    EXPECT_EQ(file.section("absent"), Lines{});
    EXPECT_EQ(file.number("", "K", 5), static_cast<std::uint32_t>(-12));
    EXPECT_EQ(file.number("two", "BIG", 5), 1u);
    EXPECT_EQ(file.number("two", "absent", 5), 5u);
    EXPECT_EQ(file.number("absent", "k", 6), 6u);
    EXPECT_EQ(IniFile(folder.file("none")).number("s", "k", 3), 3u);
}

TEST(IniFile, WritesWithoutTouchingOtherSections) {
    const TemporaryFolder folder;
    const std::string path = folder.write("a.ini", "[A]\na=1\n\n[B]\nb=2\n");
    std::filesystem::create_hard_link(path, folder.file("old"));
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    IniFile file(path);
    file.setValue("A", "new", "x");
    file.setValue("a", "A", "3");
    file.setSection("b", {"one", "two\nthree\n[Init]\n [x"});
    file.setSection("C", {});
    file.removeSection("missing");
    ASSERT_TRUE(file.save());
    EXPECT_EQ(
        TemporaryFolder::read(path),
        "[A]\r\nA=3\r\nnew=x\r\n\r\n[b]\r\none\r\ntwo\r\nthree\r\n|[Init]\r\n| [x\r\n[C]\r\n");
    EXPECT_EQ(TemporaryFolder::read(folder.file("old")), "[A]\na=1\n\n[B]\nb=2\n") << "replaced";
    EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms::owner_all);
    file.removeSection("B");
    ASSERT_TRUE(file.save());
    EXPECT_EQ(TemporaryFolder::read(path), "[A]\r\nA=3\r\nnew=x\r\n\r\n[C]\r\n");
    EXPECT_FALSE(IniFile(folder.path()).save());
    EXPECT_FALSE(IniFile(folder.file("no/folder.ini")).save());
}

}  // namespace
}  // namespace platform
