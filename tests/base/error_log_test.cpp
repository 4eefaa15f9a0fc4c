#include "base/error_log.h"

#include <gtest/gtest.h>

#include <string>

namespace borvik {
namespace {

std::string xmlOf(const ErrorLog& log) {
    StringBuffer out;
    log.root().renderXml(out);
    return std::string(out.view());
}

std::string inRoot(const std::string& content) {
    return "<BorvikLog>\r\n" + content + "</BorvikLog>\r\n";
}

TEST(ErrorLog, WrapsMarkupInXml) {
    struct Case {
        LogEntryKind kind;
        const char* tag;
        const char* text;
        const char* xml;
    };
    const Case cases[] = {
        {LogEntryKind::kError, "", "a<b", "<error><![CDATA[a<b]]></error>\r\n"},
        {LogEntryKind::kInfo, "", "plain \"text\"", "<info>plain \"text\"</info>\r\n"},
        {LogEntryKind::kInfo, "", "a\tb", "<info><![CDATA[a\tb]]></info>\r\n"},
        {LogEntryKind::kInfo, "", "<![CDATA[x]]>", "<info><![CDATA[x]]></info>\r\n"},
        {LogEntryKind::kXml, "", "<a/>", "<a/>\r\n"},
        {LogEntryKind::kData, "tag", "x&y", "<tag><![CDATA[x&y]]></tag>\r\n"},
    };
    for (const Case& c : cases) {
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

}  // namespace
}  // namespace borvik
