#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include "base/log_base.h"
#include "platform/file_system.h"

namespace borvik {

/// Owns an open file and closes it. Reasons of failures go to `log`, which may be null.
class BorvikHandle {
public:
    BorvikHandle() = default;
    explicit BorvikHandle(platform::File file) : file_(std::move(file)) {}
    virtual ~BorvikHandle() = default;

    BorvikHandle(const BorvikHandle&) = delete;
    BorvikHandle& operator=(const BorvikHandle&) = delete;

    /// Reads up to `size` bytes. At the end of the file true, with `atEnd` set.
    bool read(void* buffer, std::size_t size, std::size_t& bytesRead, bool& atEnd, LogBase* log);
    /// Writes all bytes; `bytesWritten`, which may be null, tells how far it came.
    bool write(const void* bytes, std::size_t count, std::size_t* bytesWritten, LogBase* log);
    /// The file's size in bytes; on failure 0xFFFFFFFF, also for a size that doesn't fit.
    std::uint32_t getSize32(LogBase* log);
    /// The file's size in bytes, -1 on failure.
    std::int64_t getSize64(LogBase* log);
    bool isOpen() const { return file_.isOpen(); }
    /// Safe to call twice. False when the system could not write everything out.
    bool close() { return file_.close() == 0; }
    /// Closes this handle and takes the file of `other` over.
    void takeFrom(BorvikHandle& other) { file_ = std::move(other.file_); }

private:
    platform::File file_;
};

}  // namespace borvik
