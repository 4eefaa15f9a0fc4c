#include "text/file_sys.h"

#include <algorithm>
#include <cerrno>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/clock.h"
#include "platform/file_system.h"

namespace borvik {

namespace {

/// A file that another program holds is tried this often, with a pause between.
constexpr int kOpenTries = 4;
constexpr std::uint32_t kSharingPauseMs = 50;

/// Names from this length on, and those beyond the ANSI code page, are told apart in the log.
constexpr std::size_t kLongName = 260;

enum class OpenMode : std::uint8_t { kRead, kWrite };

/// A character that file systems refuse, and what the log says about it.
struct RefusedChar {
    char character;
    const char* information;
};
constexpr RefusedChar kRefusedChars[] = {
    {'|', "The | character is not allowed in Windows filenames."},
    {'*', "The asterisk character is not allowed in Windows filenames."},
    {'<', "The open-angle-bracket character is not allowed in Windows filenames."},
    {'>', "The close-angle-bracket character is not allowed in Windows filenames."},
    {'"', "The double-quote character is not allowed in Windows filenames."},
};

constexpr char kReplacement = '_';
/// Further in, the first colon can't be that of a drive or a scheme.
constexpr std::ptrdiff_t kLastSchemeColon = 7;

std::string nativePath(XString& path) {
    return platform::toNativePath(path.utf8View());
}

void sanitiseColons(XString& path, LogBase* log) {
    const std::ptrdiff_t first = path.indexOfUtf8(":");
    if (first <= 0) {
        return;
    }
    const bool keepsFirst = first <= kLastSchemeColon;
    std::string name(path.utf8View());
    const std::size_t from = keepsFirst ? name.find(':') + 1 : 0;
    if (name.find(':', from) == std::string::npos) {
        return;
    }
    if (log != nullptr) {
        log->logInfo(keepsFirst ? "The : character is not allowed in Windows filenames.."
                                : "The : character is not allowed in Windows filenames.");
        log->logData("filename", name.c_str());
    }
    std::replace(name.begin() + static_cast<std::ptrdiff_t>(from), name.end(), ':', kReplacement);
    if (log != nullptr) {
        log->logData("modifiedFilename", name.c_str());
    }
    path.setFromUtf8Bytes(name);
}

int openTrying(platform::File& file, const std::string& path, unsigned flags) {
    for (int tries = 1;; ++tries) {
        const int error = file.open(path, flags);
        if (error == 0 || tries == kOpenTries ||
            platform::fileErrorNumber(error, path) != platform::kFileErrorSharing) {
            return error;
        }
        platform::sleepFor(kSharingPauseMs);
    }
}

bool makeWritable(const std::string& path) {
    platform::FileInfo info;
    return platform::statFile(path, info) == 0 && info.isReadOnly &&
           platform::setReadOnly(path, false) == 0;
}

void logOpenFailure(XString& path, const std::string& errorText, LogBase& log) {
    if (path.charCount() < kLongName && path.fitsAnsi()) {
        log.logError("Failed to open file (2)");
        log.logData("filename", path.getAnsi());
        log.logData("currentWorkingDirectory", platform::currentFolder().c_str());
    } else {
        log.logError("Failed to open file (3)");
        log.logData("utf8Filename", path.getUtf8());
    }
    log.logData("osErrorInfo", errorText.c_str());
    log.logData("Filename", path.getUtf8());
}

OpenErrorClass errorClassOf(int fileError) {
    switch (fileError) {
        case platform::kFileErrorAccessDenied:
            return OpenErrorClass::kAccessDenied;
        case platform::kFileErrorPathNotFound:
            return OpenErrorClass::kPathNotFound;
        default:
            return OpenErrorClass::kOther;
    }
}

bool openFile(BorvikHandle& handle, XString& given, OpenMode mode, OpenErrorClass& errorClass,
              LogBase* log) {
    errorClass = OpenErrorClass::kNone;
    XString path;
    path.appendXString(given);
    FileSys::sanitiseFileName(path, nullptr);
    if (path.empty()) {
        errorClass = OpenErrorClass::kOther;
        return false;
    }
    const std::string native = nativePath(path);
    const unsigned flags = platform::kOpenRegularOnly |
                           (mode == OpenMode::kRead ? platform::kOpenRead
                                                    : platform::kOpenWrite | platform::kOpenCreate |
                                                          platform::kOpenTruncate);
    platform::File file;
    int error = openTrying(file, native, flags);
    if (error != 0 && mode == OpenMode::kWrite && makeWritable(native)) {
        error = openTrying(file, native, flags);
    }
    if (error != 0) {
        errorClass = errorClassOf(platform::fileErrorNumber(error, native));
        if (log != nullptr) {
            logOpenFailure(path, platform::errorText(error), *log);
        }
        return false;
    }
    BorvikHandle opened(std::move(file));
    handle.takeFrom(opened);
    return true;
}

std::unique_ptr<BorvikHandle> newHandle(XString& path, OpenMode mode, OpenErrorClass& errorClass,
                                        LogBase* log) {
    auto handle = std::make_unique<BorvikHandle>();
    if (!openFile(*handle, path, mode, errorClass, log)) {
        handle.reset();
    }
    return handle;
}

/// Puts a new file in the place of the one of that name, so that a reader, and whoever comes after
/// a crash, finds the old bytes or the new ones. Returns 0 or an errno number, and nothing where
/// the file has to be written as it lies there.
std::optional<int> replaceWhole(XString& given, std::string_view content) {
    constexpr unsigned kNewFileMode = 0666;
    XString path;
    path.appendXString(given);
    FileSys::sanitiseFileName(path, nullptr);
    const std::string native = nativePath(path);
    if (native.empty() || !platform::isReplaceable(native)) {
        return std::nullopt;
    }
    const unsigned flags = platform::kOpenWrite | platform::kOpenRegularOnly;
    platform::File file;
    int error = openTrying(file, native, flags);
    if (error != 0 && makeWritable(native)) {
        error = openTrying(file, native, flags);
    }
    if (error != 0 && error != ENOENT) {
        return std::nullopt;
    }
    error = platform::replaceFile(native, content, kNewFileMode, false);
    const bool isFolderClosed =
        error == EACCES || error == EPERM || error == EROFS || error == ENOENT || error == ENOTDIR;
    return isFolderClosed ? std::nullopt : std::optional(error);
}

bool failWriting(XString& path, LogBase* log, const char* text) {
    if (log != nullptr) {
        log->logData("filename", path.getUtf8());
        log->logError(text);
    }
    return false;
}

}  // namespace

std::unique_ptr<BorvikHandle> FileSys::openForRead(XString& path, OpenErrorClass& errorClass,
                                                   LogBase* log) {
    return newHandle(path, OpenMode::kRead, errorClass, log);
}

std::unique_ptr<BorvikHandle> FileSys::openForWrite(XString& path, OpenErrorClass& errorClass,
                                                    LogBase* log) {
    return newHandle(path, OpenMode::kWrite, errorClass, log);
}

bool FileSys::openInto(BorvikHandle& handle, XString& path, OpenErrorClass& errorClass,
                       LogBase* log) {
    return openFile(handle, path, OpenMode::kRead, errorClass, log);
}

bool FileSys::openForWriteInto(BorvikHandle& handle, XString& path, OpenErrorClass& errorClass,
                               LogBase* log) {
    return openFile(handle, path, OpenMode::kWrite, errorClass, log);
}

std::int64_t FileSys::getFileSize(XString& path, LogBase* log, bool& exists) {
    exists = false;
    BorvikHandle handle;
    OpenErrorClass errorClass;
    if (!openInto(handle, path, errorClass, log)) {
        return 0;
    }
    const std::int64_t size = handle.getSize64(log);
    exists = size >= 0;
    return exists ? size : 0;
}

std::int64_t FileSys::getFileSizeUtf8(const char* path, LogBase* log, bool& exists) {
    XString name;
    name.setFromUtf8(path);
    return getFileSize(name, log, exists);
}

bool FileSys::fileExists(XString& path, LogBase* log) {
    if (path.empty()) {
        return false;
    }
    std::uint32_t attributes;
    int error;
    if (getAttributes(path, attributes, error, log)) {
        return true;
    }
    switch (error) {
        case platform::kFileErrorNotFound:
        case platform::kFileErrorPathNotFound:
        case platform::kFileErrorNotReady:
            if (log != nullptr) {
                log->logError(error == platform::kFileErrorNotReady
                                  ? "The device is not ready."
                                  : platform::errorText(ENOENT).c_str());
            }
            return false;
        default:
            return true;
    }
}

bool FileSys::fileExistsAnsi(const char* path, LogBase* log) {
    XString name;
    name.setPath(path, false);
    return fileExists(name, log);
}

bool FileSys::getAttributes(XString& path, std::uint32_t& attributes, int& systemError,
                            LogBase* log) {
    attributes = kNoAttributes;
    systemError = 0;
    if (path.empty()) {
        if (log != nullptr) {
            log->logError("GetAttributes: filename is empty");
        }
        return false;
    }
    const std::string native = nativePath(path);
    platform::FileInfo info;
    if (const int error = platform::statFile(native, info)) {
        systemError = platform::fileErrorNumber(error, native);
        return false;
    }
    attributes =
        (info.isFolder ? kAttributeDirectory : 0) | (info.isReadOnly ? kAttributeReadOnly : 0);
    if (attributes == 0) {
        attributes = kAttributeNormal;
    }
    return true;
}

bool FileSys::setAttributes(XString& path, std::uint32_t attributes) {
    XString name;
    name.appendXString(path);
    sanitiseFileName(name, nullptr);
    return !name.empty() &&
           platform::setReadOnly(nativePath(name), (attributes & kAttributeReadOnly) != 0) == 0;
}

bool FileSys::writeFile(XString& path, const void* bytes, std::size_t count, LogBase* log) {
    if (path.empty()) {
        return false;
    }
    const bool hasBytes = bytes != nullptr && count != 0;
    const std::string_view content(static_cast<const char*>(bytes), hasBytes ? count : 0);
    if (const std::optional<int> error = replaceWhole(path, content)) {
        if (*error != 0 && log != nullptr) {
            log->logData("WriteFileError", platform::errorText(*error).c_str());
        }
        return *error == 0 || failWriting(path, log, "Failed to write complete file (1)");
    }
    BorvikHandle handle;
    OpenErrorClass errorClass;
    if (!openForWriteInto(handle, path, errorClass, log)) {
        return failWriting(path, log, "Failed to write complete file (7)");
    }
    if ((hasBytes && !handle.write(bytes, count, nullptr, log)) || !handle.close()) {
        return failWriting(path, log, "Failed to write complete file (1)");
    }
    return true;
}

bool FileSys::writeFileAnsi(const char* path, const void* bytes, std::size_t count, LogBase* log) {
    XString name;
    name.setPath(path, false);
    return writeFile(name, bytes, count, log);
}

bool FileSys::writeFileUtf8(const char* path, const void* bytes, std::size_t count, LogBase* log) {
    XString name;
    name.setFromUtf8(path);
    return writeFile(name, bytes, count, log);
}

void FileSys::getFullPath(XString& path, XString& out) {
    const std::string full = platform::fullPath(nativePath(path));
    out.setFromUtf8Bytes(full);
}

void FileSys::getCurrentDirectory(XString& out) {
    out.setFromUtf8Bytes(platform::currentFolder());
}

void FileSys::getTempDirectory(XString& out) {
    out.setFromUtf8Bytes(platform::temporaryFolder());
}

void FileSys::sanitiseFileName(XString& path, LogBase* log) {
    if (!platform::isBackslashPath(path.utf8View())) {
        return;
    }
    sanitiseColons(path, log);
    for (const RefusedChar& refused : kRefusedChars) {
        if (!path.getUtf8Buffer().containsChar(refused.character)) {
            continue;
        }
        if (log != nullptr) {
            log->logInfo(refused.information);
            log->logData("filename", path.getUtf8());
        }
        path.replaceChar(refused.character, kReplacement);
    }
}

}  // namespace borvik
