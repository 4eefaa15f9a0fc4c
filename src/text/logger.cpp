#include "text/logger.h"

#include <mutex>

#include "platform/clock.h"
#include "platform/file_system.h"
#include "text/file_sys.h"

namespace borvik {

namespace {

using Guard = std::lock_guard<BorvikCritSec>;

/// Blanks in front of a mirrored line for each open context.
constexpr std::size_t kMirrorIndent = 4;
/// A mirrored log may hold message data: nobody else is to read it.
constexpr unsigned kMirrorMode = 0600;

StringBuffer preparedTag(const char* tag) {
    StringBuffer prepared(tag);
    prepared.trim();
    prepared.replaceChar(' ', '_');
    return prepared;
}

}  // namespace

void Logger::getXml(StringBuffer& out) {
    const Guard guard(*this);
    out.clear();
    tree_.root().renderXml(out);
}

void Logger::getHtml(StringBuffer& out) {
    const Guard guard(*this);
    out.clear();
    tree_.root().renderHtml(out);
}

void Logger::getText(StringBuffer& out) {
    const Guard guard(*this);
    out.clear();
    tree_.root().renderText(out, 0);
}

bool Logger::logError(const char* text) {
    return addText(LogEntryKind::kError, text);
}

bool Logger::logInfo(const char* text) {
    return addText(LogEntryKind::kInfo, text);
}

bool Logger::logXml(const char* text) {
    return addText(LogEntryKind::kXml, text);
}

bool Logger::addText(LogEntryKind kind, const char* text) {
    if (text == nullptr) {
        return true;
    }
    const Guard guard(*this);
    if (kind != LogEntryKind::kXml) {
        mirrorLine({}, {}, text);
    }
    return tree_.add(kind, {}, text);
}

bool Logger::clearLog() {
    const Guard guard(*this);
    tree_.clear();
    depth_ = 0;
    return true;
}

bool Logger::enterContext(const char* tag, bool /*unused*/) {
    const Guard guard(*this);
    const std::string_view name(tag == nullptr ? "" : tag);
    mirrorLine(name, ":", {});
    ++depth_;
    return tree_.enterContext(name);
}

bool Logger::leaveContext() {
    const Guard guard(*this);
    mirrorLine({}, {}, "(leaveContext)");
    tree_.leaveContext();
    if (depth_ > 0) {
        --depth_;
    }
    return true;
}

bool Logger::logData(const char* tag, const char* text) {
    return addData(tag, text == nullptr ? "(NULL)" : text, true);
}

bool Logger::logDataInt(const char* tag, std::int32_t value) {
    return addData(tag, StringBuffer::intToText(value), true);
}

bool Logger::logData64(const char* tag, std::uint64_t value) {
    StringBuffer text;
    text.appendUint64(value);
    return addData(tag, text.view(), false);
}

bool Logger::logHex(const char* tag, std::uint32_t value) {
    StringBuffer text("0x");
    text.appendHex(value);
    return addData(tag, text.view(), false);
}

void Logger::logTimestamp(const char* tag) {
    StringBuffer text;
    text.appendHex(platform::tickCount());
    addData(tag, text.view(), false);
}

bool Logger::addData(const char* tag, std::string_view text, bool mirrored) {
    const StringBuffer name = preparedTag(tag);
    if (name.empty()) {
        return false;
    }
    const Guard guard(*this);
    if (mirrored) {
        mirrorLine(name.view(), ": ", text);
    }
    return tree_.add(LogEntryKind::kData, name.view(), text);
}

bool Logger::saveLog(bool /*unused*/, const char* path) {
    StringBuffer xml;
    getXml(xml);
    return FileSys::writeFileAnsi(path, xml.getString(), xml.getSize(), nullptr);
}

void Logger::setDebugLogPath(const char* path) {
    const Guard guard(*this);
    debugLogPath_.setPath(path, false);
}

void Logger::mirrorLine(std::string_view tag, std::string_view separator, std::string_view text) {
    if (debugLogPath_.empty()) {
        return;
    }
    StringBuffer line;
    line.appendCharN(' ', kMirrorIndent * static_cast<std::size_t>(depth_));
    line.append(tag);
    line.append(separator);
    line.append(text);
    line.appendChar('\n');
    // Opened anew for each line, so that what was written outlives a crash.
    platform::File file;
    const unsigned flags = platform::kOpenWrite | platform::kOpenCreate | platform::kOpenAppend;
    if (file.open(platform::toNativePath(debugLogPath_.utf8View()), flags, kMirrorMode) == 0) {
        file.write(line.view());
    }
}

}  // namespace borvik
