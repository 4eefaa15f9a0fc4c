#include "base/borvik_handle.h"

#include <algorithm>
#include <cerrno>
#include <limits>

namespace borvik {

namespace {

/// The most that goes to the system in one write.
constexpr std::size_t kWritePiece = 10'000'000;

void logFailure(LogBase* log, int error, const char* text) {
    if (log != nullptr) {
        log->logError(platform::errorText(error).c_str());
        log->logError(text);
    }
}

}  // namespace

bool BorvikHandle::read(void* buffer, std::size_t size, std::size_t& bytesRead, bool& atEnd,
                        LogBase* log) {
    bytesRead = 0;
    atEnd = false;
    if (buffer == nullptr || size == 0) {
        if (log != nullptr) {
            log->logError("NULL buf or bufSize");
        }
        return false;
    }
    const int error = file_.isOpen() ? file_.read(buffer, size, bytesRead) : EBADF;
    if (error != 0) {
        if (log != nullptr) {
            log->logSystemError(error);
        }
        return false;
    }
    atEnd = bytesRead == 0;
    return true;
}

bool BorvikHandle::write(const void* bytes, std::size_t count, std::size_t* bytesWritten,
                         LogBase* log) {
    if (!file_.isOpen()) {
        if (log != nullptr) {
            log->logError("Failed to write because file is not open.");
        }
        return false;
    }
    std::size_t done = 0;
    int error = 0;
    while (done < count && error == 0) {
        std::size_t written = 0;
        error = file_.write(static_cast<const char*>(bytes) + done,
                            std::min(count - done, kWritePiece), written);
        done += written;
    }
    if (bytesWritten != nullptr) {
        *bytesWritten = done;
    }
    if (error != 0 && log != nullptr) {
        log->logData("WriteFileError", platform::errorText(error).c_str());
    }
    return error == 0;
}

std::uint32_t BorvikHandle::getSize32(LogBase* log) {
    constexpr std::uint32_t kFailed = std::numeric_limits<std::uint32_t>::max();
    std::uint64_t size = 0;
    int error = file_.isOpen() ? file_.size(size) : EBADF;
    if (error == 0 && size >= kFailed) {
        error = EFBIG;
    }
    if (error != 0) {
        logFailure(log, error, "Failed to get file size (32)");
        return kFailed;
    }
    return static_cast<std::uint32_t>(size);
}

std::int64_t BorvikHandle::getSize64(LogBase* log) {
    std::uint64_t size = 0;
    const int error = file_.isOpen() ? file_.size(size) : EBADF;
    if (error != 0) {
        logFailure(log, error, "Failed to get file size (64)");
        return -1;
    }
    return static_cast<std::int64_t>(size);
}

}  // namespace borvik
