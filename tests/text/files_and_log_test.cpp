#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <thread>

#include "base/data_buffer.h"
#include "platform/code_page.h"
#include "platform/file_system.h"
#include "support/temporary_folder.h"
#include "text/buffer_files.h"
#include "text/cls_base.h"
#include "text/file_sys.h"
#include "text/logger.h"
#include "text/outward_strings.h"

namespace borvik {
namespace {

using namespace std::string_view_literals;
using support::TemporaryFolder;

XString named(const std::string& utf8) {
    XString path;
    path.setFromUtf8Bytes(utf8);
    return path;
}

std::string textOf(Logger& log) {
    StringBuffer out;
    log.getText(out);
    return std::string(out.view());
}

TEST(FileSys, SanitisesNames) {
    const char* const cases[][2] = {
        {"C:\\a:b.txt", "C:\\a_b.txt"},
        {"Re: hello\\x", "Re: hello\\x"},
        {"Subjects: x\\y", "Subjects_ x\\y"},
        {"Subjects: x\\:y", "Subjects_ x\\_y"},
        {"Re: a: b\\: c", "Re: a_ b\\_ c"},
        {":a\\:b", ":a\\:b"},
        {"\\a|b*c<d>e\"f", "\\a_b_c_d_e_f"},
        {"a?b\\", "a?b\\"},
        {"\\\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9:a", "\\\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9:a"},
        {"C:\xF0\x9F\x98\x80*", "C:\xF0\x9F\x98\x80_"},
        // No backslash form, so no name of a file system that refuses anything.
        {"Subjects: x|y*<z>\"", "Subjects: x|y*<z>\""},
        {"/m/1699.M1.host:2,S:\\*", "/m/1699.M1.host:2,S:\\*"},
    };
    for (const auto& [before, after] : cases) {
        XString path = named(before);
        FileSys::sanitiseFileName(path, nullptr);
        EXPECT_STREQ(path.getUtf8(), after);
    }
}

TEST(FileSys, LogsWhatItSanitises) {
    Logger log;
    XString path = named("a:b:\\c*");
    FileSys::sanitiseFileName(path, &log);
    EXPECT_EQ(textOf(log),
              "BorvikLog:\r\n"
              "  The : character is not allowed in Windows filenames..\r\n"
              "  filename: a:b:\\c*\r\n"
              "  modifiedFilename: a:b_\\c*\r\n"
              "  The asterisk character is not allowed in Windows filenames.\r\n"
              "  filename: a:b_\\c*\r\n");
}

TEST(FileSys, WritesAndReadsFiles) {
    const TemporaryFolder folder;
    const std::string path = folder.file("caf\xC3\xA9.bin");
    XString name = named(path);
    EXPECT_FALSE(FileSys::fileExists(name, nullptr));
    EXPECT_TRUE(FileSys::writeFile(name, "0123456789", 10, nullptr));
    EXPECT_TRUE(FileSys::fileExists(name, nullptr));
    bool exists = false;
    EXPECT_EQ(FileSys::getFileSize(name, nullptr, exists), 10);
    EXPECT_TRUE(exists);

    BorvikHandle handle;
    OpenErrorClass errorClass;
    ASSERT_TRUE(FileSys::openInto(handle, name, errorClass, nullptr));
    EXPECT_EQ(handle.getSize32(nullptr), 10U);
    char bytes[16];
    std::size_t got = 0;
    bool atEnd = false;
    EXPECT_TRUE(handle.read(bytes, sizeof bytes, got, atEnd, nullptr));
    EXPECT_EQ(std::string_view(bytes, got), "0123456789");
    EXPECT_FALSE(atEnd);
    EXPECT_TRUE(handle.read(bytes, sizeof bytes, got, atEnd, nullptr));
    EXPECT_TRUE(atEnd);
    EXPECT_FALSE(handle.read(bytes, 0, got, atEnd, nullptr));
    BorvikHandle taken;
    taken.takeFrom(handle);
    EXPECT_FALSE(handle.isOpen());
    EXPECT_FALSE(handle.write("x", 1, nullptr, nullptr));
    EXPECT_EQ(handle.getSize64(nullptr), -1);
    EXPECT_EQ(taken.getSize64(nullptr), 10);
    EXPECT_FALSE(taken.write("x", 1, nullptr, nullptr)) << "it was opened for reading";
    EXPECT_TRUE(taken.close());
    EXPECT_TRUE(taken.close());

    EXPECT_TRUE(FileSys::writeFile(name, nullptr, 0, nullptr));
    EXPECT_EQ(std::filesystem::file_size(path), 0U);
    const platform::ScopedAnsiCodePage page(1252);
    EXPECT_TRUE(FileSys::writeFileAnsi(folder.file("caf\xE9.bin").c_str(), "x", 1, nullptr));
    EXPECT_EQ(std::filesystem::file_size(path), 1U);
    XString empty;
    EXPECT_FALSE(FileSys::writeFile(empty, "x", 1, nullptr));
    EXPECT_FALSE(FileSys::fileExists(empty, nullptr));
}

TEST(FileSys, ReplacesAFileAsAWholeWhereItMay) {
    const TemporaryFolder folder;
    const std::string path = folder.write("file", "old");
    std::filesystem::permissions(path, std::filesystem::perms(0640));
    std::filesystem::create_symlink(path, folder.file("link"));
    std::filesystem::create_symlink(folder.file("none"), folder.file("dangling"));
    for (const char* name : {"file", "link", "dangling"}) {
        XString named_ = named(folder.file(name));
        EXPECT_TRUE(FileSys::writeFile(named_, "whole", 5, nullptr));
    }
    EXPECT_TRUE(std::filesystem::is_symlink(folder.file("link")));
    EXPECT_TRUE(std::filesystem::is_symlink(folder.file("dangling")));
    EXPECT_EQ(TemporaryFolder::read(folder.file("none")), "whole");
    EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms(0640));

    // A disk that is full costs what is new, and not what was there.
    const auto writeOverTheLimit = [&] {
        rlimit limit{};
        getrlimit(RLIMIT_FSIZE, &limit);
        const rlimit small{.rlim_cur = 4, .rlim_max = limit.rlim_max};
        setrlimit(RLIMIT_FSIZE, &small);
        XString name = named(path);
        Logger log;
        EXPECT_FALSE(FileSys::writeFile(name, "too long", 8, &log));
        EXPECT_NE(textOf(log).find("Failed to write complete file (1)"), std::string::npos);
        setrlimit(RLIMIT_FSIZE, &limit);
    };
    writeOverTheLimit();
    EXPECT_EQ(TemporaryFolder::read(path), "whole");
    // Other names of a file stay names of it, so it is written as it lies there.
    std::filesystem::create_hard_link(path, folder.file("other"));
    writeOverTheLimit();
    EXPECT_EQ(TemporaryFolder::read(folder.file("other")), "too ");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.path()), {}), 5);
}

TEST(FileSys, TellsWhyAFileCantBeOpened) {
    const TemporaryFolder folder;
    ASSERT_EQ(mkfifo(folder.file("pipe").c_str(), 0600), 0);
    const std::pair<std::string, OpenErrorClass> cases[] = {
        {folder.file("missing"), OpenErrorClass::kOther},
        {folder.file("no/such"), OpenErrorClass::kPathNotFound},
        {folder.path(), OpenErrorClass::kAccessDenied},
        {folder.file("pipe"), OpenErrorClass::kOther},
        {"", OpenErrorClass::kOther},
    };
    for (const auto& [path, expected] : cases) {
        XString name = named(path);
        OpenErrorClass errorClass = OpenErrorClass::kNone;
        EXPECT_EQ(FileSys::openForRead(name, errorClass, nullptr), nullptr) << path;
        EXPECT_EQ(errorClass, expected) << path;
    }
    Logger log;
    XString name = named(folder.file("missing"));
    OpenErrorClass errorClass;
    FileSys::openForRead(name, errorClass, &log);
    EXPECT_NE(textOf(log).find("Failed to open file (2)\r\n  filename: " + folder.path()),
              std::string::npos);
    EXPECT_FALSE(FileSys::writeFileUtf8(folder.file("no/such").c_str(), "x", 1, &log));
    EXPECT_NE(textOf(log).find("Failed to write complete file (7)"), std::string::npos);
}

TEST(FileSys, MakesReadOnlyFilesWritable) {
    const TemporaryFolder folder;
    const std::string path = folder.write("locked", "old content");
    const auto attributesOf = [](const std::string& file) {
        XString name = named(file);
        std::uint32_t attributes = 0;
        int error = 0;
        const bool told = FileSys::getAttributes(name, attributes, error, nullptr);
        EXPECT_EQ(error, told ? 0 : platform::kFileErrorNotFound);
        return attributes;
    };
    EXPECT_EQ(attributesOf(path), kAttributeNormal);
    EXPECT_EQ(attributesOf(folder.path()), kAttributeDirectory);
    EXPECT_EQ(attributesOf(folder.file("missing")), kNoAttributes);
    XString name = named(path);
    EXPECT_TRUE(FileSys::setAttributes(name, kAttributeReadOnly));
    EXPECT_EQ(attributesOf(path), kAttributeReadOnly);
    EXPECT_TRUE(FileSys::writeFile(name, "new", 3, nullptr));
    EXPECT_EQ(TemporaryFolder::read(path), "new");
    // Root opens the file as it is.
    EXPECT_EQ(attributesOf(path), geteuid() == 0 ? kAttributeReadOnly : kAttributeNormal);
}

TEST(BufferFiles, LoadsTextWithItsMark) {
    const TemporaryFolder folder;
    const std::string_view cases[][2] = {
        {"plain", "plain"},
        {"", ""},
        {"\xEF\xBB\xBFmarked", "marked"},
        {"\xEF\xBB\xBF", "\xEF\xBB\xBF"},
        {"\xFF\xFEx\0\xE9\0"sv, "x\xC3\xA9"},
        {"\xFE\xFF\0a\0\xE9"sv, "a\xC3\xA9"},
        {"a\0b"sv, "a\0b"sv},
    };
    for (const auto& [content, expected] : cases) {
        const std::string path = folder.write("text", content);
        const auto text = createFromFile(path.c_str(), nullptr);
        ASSERT_NE(text, nullptr);
        EXPECT_EQ(text->view(), expected);
    }
    StringBuffer text("before ");
    EXPECT_TRUE(loadFile(text, folder.write("text", "\xEF\xBB\xBFx").c_str(), nullptr));
    EXPECT_EQ(text.view(), "before \xEF\xBB\xBFx");
    EXPECT_FALSE(loadFile(text, folder.file("missing").c_str(), nullptr));
    EXPECT_FALSE(loadFile(text, nullptr, nullptr));
    EXPECT_EQ(createFromFile(folder.file("missing").c_str(), nullptr), nullptr);
}

TEST(BufferFiles, LoadsAndSavesBytes) {
    const TemporaryFolder folder;
    std::string content;
    for (int i = 0; i < 100'000; ++i) {
        content += static_cast<char>(i);
    }
    DataBuffer bytes;
    bytes.append(content);
    EXPECT_TRUE(saveFile(bytes, folder.file("bytes").c_str(), nullptr));
    bytes.clear();
    EXPECT_TRUE(loadFile(bytes, folder.file("bytes").c_str(), nullptr));
    EXPECT_EQ(bytes.view(), content);
    EXPECT_EQ(std::string_view(bytes.getData() + content.size(), 4), "\0\0\0\0"sv);

    EXPECT_TRUE(loadFile(bytes, folder.write("empty", "").c_str(), nullptr));
    EXPECT_EQ(bytes.getData(), nullptr);
    EXPECT_FALSE(loadFile(bytes, folder.file("missing").c_str(), nullptr));

    BvByteData data;
    data.utf8Mode = true;
    data.append("abc", 3);
    EXPECT_TRUE(data.saveFile(folder.file("a*\xE4\xB8\xAD").c_str()));
    EXPECT_EQ(TemporaryFolder::read(folder.file("a*\xE4\xB8\xAD")), "abc");
    data.clear();
    EXPECT_TRUE(data.loadFile(folder.file("a*\xE4\xB8\xAD").c_str()));
    EXPECT_EQ(data.view(), "abc");
    EXPECT_FALSE(data.loadFile(nullptr));
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
