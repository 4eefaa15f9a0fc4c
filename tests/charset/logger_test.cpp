#include "charset/logger.h"

#include <gtest/gtest.h>

#include <string>
#include <thread>

#include "charset/cls_base.h"
#include "support/temporary_folder.h"

namespace borvik {
namespace {

using support::TemporaryFolder;

std::string textOf(Logger& log) {
    StringBuffer out;
    log.getText(out);
    return std::string(out.view());
}

/// One entry of each kind, in and out of contexts.
void logEverything(LogBase& log) {
    log.enterContext("outer");
    log.logError("error");
    log.logInfo("info");
    log.logXml("<x/>");
    log.enterContext("inner");
    log.logData(" a b ", nullptr);
    log.logDataInt("int", -5);
    log.leaveContext();
    log.logData64("big", 18446744073709551615U);
    log.logHex("hex", 0xABCD);
    log.leaveContext();
    log.logError(nullptr);
}

TEST(Logger, BuildsATree) {
    Logger log;
    logEverything(log);
    EXPECT_EQ(textOf(log),
              "BorvikLog:\r\n  outer:\r\n    error\r\n    info\r\n    <x/>\r\n    inner:\r\n"
              "      a_b: (NULL)\r\n      int: -5\r\n    big: 18446744073709551615\r\n"
              "    hex: 0xabcd\r\n");
    EXPECT_FALSE(log.logData("  ", "x"));
    EXPECT_FALSE(log.logDataInt(nullptr, 1));
    log.enterContext("open");
    EXPECT_EQ(log.depth(), 1);
    log.clearLog();
    log.leaveContext();
    log.logSystemError(0);
    EXPECT_EQ(log.depth(), 0);
    EXPECT_EQ(textOf(log), "BorvikLog:\r\n");
    log.logSystemError(2);
    EXPECT_NE(textOf(log).find("WindowsError: "), std::string::npos);
}

TEST(Logger, MirrorsToAFile) {
    const TemporaryFolder folder;
    const std::string path = folder.file("mirror.log");
    Logger log;
    log.setDebugLogPath(path.c_str());
    logEverything(log);
    EXPECT_EQ(TemporaryFolder::read(path),
              "outer:\n    error\n    info\n    inner:\n        a_b: (NULL)\n        int: -5\n"
              "        (leaveContext)\n    (leaveContext)\n");
    log.setDebugLogPath(folder.file("no/such").c_str());
    EXPECT_TRUE(log.logError("goes to the tree only"));
}

TEST(Logger, SavesItsXml) {
    const TemporaryFolder folder;
    Logger log;
    log.logError("a<b");
    EXPECT_TRUE(log.saveLog(false, folder.file("log.xml").c_str()));
    EXPECT_EQ(TemporaryFolder::read(folder.file("log.xml")),
              "<BorvikLog>\r\n<error><![CDATA[a<b]]></error>\r\n</BorvikLog>\r\n");
    EXPECT_FALSE(log.saveLog(false, folder.file("no/such").c_str()));
}

TEST(Logger, TakesEntriesFromSeveralThreads) {
    constexpr int kEntries = 2000;
    Logger log;
    const auto work = [&log] {
        for (int i = 0; i < kEntries; ++i) {
            log.logInfo("x");
        }
    };
    std::thread other(work);
    work();
    other.join();
    EXPECT_EQ(textOf(log).size(), std::string("BorvikLog:\r\n").size() + 2 * kEntries * 5);
}

TEST(ClsBase, ShowsTheLastOperation) {
    struct Worker : ClsBase {};
    Worker worker;
    EXPECT_EQ(worker.activeLog(), nullptr);
    worker.enterMethod("unseen");
    worker.logSuccess(true);
    EXPECT_EQ(textOf(worker.log()), "BorvikLog:\r\n");
    worker.keepLog(true);
    worker.enterMethod("first");
    worker.logSuccess(true);
    worker.enterMethod("second");
    worker.logSuccess(false);
    const std::string text = textOf(worker.log());
    EXPECT_EQ(text.rfind("BorvikLog:\r\n  second:\r\n    DllDate: ", 0), 0U) << text;
    EXPECT_NE(text.find("    Architecture: Little Endian; 64-bit\r\n"), std::string::npos) << text;
    EXPECT_NE(text.find("Failed."), std::string::npos);
    EXPECT_EQ(text.find("Success."), std::string::npos);
}

}  // namespace
}  // namespace borvik
