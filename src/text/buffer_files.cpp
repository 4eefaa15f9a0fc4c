#include "text/buffer_files.h"

#include <cstring>
#include <limits>
#include <new>
#include <utility>

#include "charset/tables/code_pages.h"
#include "text/file_sys.h"
#include "text/text_conversion.h"

namespace borvik {

namespace {

/// Zero bytes behind a loaded file, so that it can be read as a string of bytes or of units.
constexpr std::size_t kZeroTail = 4;
/// Room beside the file's content in a buffer made for it.
constexpr std::size_t kSpareRoom = 200;

constexpr std::string_view kUtf8Mark = "\xEF\xBB\xBF";
constexpr std::string_view kUtf16LeMark = "\xFF\xFE";
constexpr std::string_view kUtf16BeMark = "\xFE\xFF";

/// Reads until `size` bytes have come or the file ends. False when the system refused.
bool readAll(BorvikHandle& handle, char* to, std::size_t size, std::size_t& received,
             LogBase* log) {
    received = 0;
    bool atEnd = false;
    while (received < size && !atEnd) {
        std::size_t got = 0;
        if (!handle.read(to + received, size - received, got, atEnd, log)) {
            return false;
        }
        received += got;
    }
    return true;
}

bool failWithSize(LogBase* log, const char* error, const char* tag, std::uint64_t size) {
    if (log != nullptr) {
        log->logError(error);
        log->logData64(tag, size);
    }
    return false;
}

bool failWithName(LogBase* log, const char* path, const char* error) {
    if (log != nullptr) {
        log->logData("filename", path);
        log->logError(error);
    }
    return false;
}

/// Turns text with a byte-order mark into UTF-8 without one.
void honourMark(StringBuffer& text) {
    const std::string_view content = text.view();
    if (content.starts_with(kUtf16LeMark)) {
        convertEncoding(text, kUtf16Le, kUtf8);
    } else if (content.starts_with(kUtf16BeMark)) {
        convertEncoding(text, kUtf16Be, kUtf8);
    } else if (content.starts_with(kUtf8Mark) && content.size() > kUtf8Mark.size()) {
        text.setString(content.substr(kUtf8Mark.size()));
    }
}

bool readInto(StringBuffer& text, BorvikHandle& handle, std::size_t size, const char* path,
              LogBase* log) {
    char* const tail = text.grow(size + kZeroTail);
    if (tail == nullptr) {
        return failWithSize(log, "Out of memory reading file into string buffer", "fileSize", size);
    }
    const std::size_t before = text.getSize();
    std::size_t received = 0;
    const bool readable = readAll(handle, tail, size, received, log);
    text.setLength(readable && received == size ? before + size : before);
    if (!readable) {
        return failWithName(log, path, "Failed to read data from file");
    }
    if (received < size) {
        if (log != nullptr) {
            log->logData64("filesize", size);
            log->logData64("bytes_received", received);
        }
        return failWithName(log, path, "Failed to read the entire file");
    }
    return true;
}

}  // namespace

bool loadFile(StringBuffer& text, const char* path, LogBase* log) {
    XString name;
    name.setFromUtf8(path);
    BorvikHandle handle;
    OpenErrorClass errorClass;
    if (!FileSys::openInto(handle, name, errorClass, log)) {
        return false;
    }
    const std::int64_t size = handle.getSize64(log);
    if (size < 0) {
        return failWithName(log, path, "Failed to get file size when loading string from file");
    }
    if (size == 0) {
        return true;
    }
    if (!readInto(text, handle, static_cast<std::size_t>(size), path, log)) {
        return false;
    }
    honourMark(text);
    return true;
}

std::unique_ptr<StringBuffer> createFromFile(const char* path, LogBase* log) {
    bool exists = false;
    const std::int64_t size = FileSys::getFileSizeUtf8(path, log, exists);
    if (!exists) {
        return nullptr;
    }
    if (static_cast<std::uint64_t>(size) + kSpareRoom > std::numeric_limits<std::uint32_t>::max()) {
        if (log != nullptr) {
            log->logError("File too large to hold in memory");
        }
        return nullptr;
    }
    std::unique_ptr<StringBuffer> text(new (std::nothrow) StringBuffer);
    if (text == nullptr || !text->ensureCapacity(static_cast<std::size_t>(size) + kSpareRoom)) {
        if (log != nullptr) {
            log->logError("File too large to hold in memory.");
        }
        return nullptr;
    }
    return loadFile(*text, path, log) ? std::move(text) : nullptr;
}

bool loadFile(DataBuffer& bytes, const char* path, LogBase* log) {
    XString name;
    name.setFromUtf8(path);
    return loadFile(bytes, name, log);
}

bool loadFile(DataBuffer& bytes, XString& path, LogBase* log) {
    bytes = DataBuffer();
    BorvikHandle handle;
    OpenErrorClass errorClass;
    if (!FileSys::openInto(handle, path, errorClass, log)) {
        return false;
    }
    const std::int64_t fileSize = handle.getSize64(log);
    if (fileSize <= 0) {
        return fileSize == 0;
    }
    const auto size = static_cast<std::size_t>(fileSize);
    if (size > DataBuffer::kMaxSize) {
        return failWithSize(log, "Out of memory for data buffer", "fileSize", size);
    }
    if (size > DataBuffer::kMaxSize - kZeroTail || !bytes.ensureCapacity(size + kZeroTail)) {
        return failWithSize(log, "Out of memory", "fileSize", size);
    }
    std::size_t received = 0;
    const bool readable = readAll(handle, bytes.getData(), size, received, log);
    // What a failed read leaves unwritten must not be seen.
    std::memset(bytes.getData() + received, 0, size + kZeroTail - received);
    bytes.setLength(size);
    if (!readable) {
        if (log != nullptr) {
            log->logData("filename", path.getUtf8());
            log->logData("current_dir", platform::currentFolder().c_str());
        }
        return false;
    }
    if (received < size) {
        if (log != nullptr) {
            log->logError("Failed to read the entire file");
        }
        return false;
    }
    return true;
}

bool saveFile(const DataBuffer& bytes, const char* path, LogBase* log) {
    return FileSys::writeFileUtf8(path, bytes.getData(), bytes.getSize(), log);
}

}  // namespace borvik
