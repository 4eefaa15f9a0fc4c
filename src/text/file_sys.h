#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "base/borvik_handle.h"
#include "base/log_base.h"
#include "text/xstring.h"

namespace borvik {

/// Why a file couldn't be opened.
enum class OpenErrorClass : std::uint8_t {
    kNone = 0,
    kAccessDenied = 1,
    kPathNotFound = 2,
    kOther = 3,
};

/// Attributes of a file, as a bit set.
inline constexpr std::uint32_t kAttributeReadOnly = 0x01;
inline constexpr std::uint32_t kAttributeDirectory = 0x10;
inline constexpr std::uint32_t kAttributeNormal = 0x80;
inline constexpr std::uint32_t kNoAttributes = 0xFFFFFFFF;

/// Access to files by a name in any encoding. It smooths over what stands between a name in a
/// message and a file: characters that file systems refuse, sharing conflicts, read-only files.
/// Paths are turned into native ones (`platform::toNativePath`). `log` may be null everywhere.
class FileSys {
public:
    virtual ~FileSys() = default;

    /// A new open handle, or null with the reason in `errorClass`. Only regular files are opened: a
    /// pipe or a device could block, or never end.
    static std::unique_ptr<BorvikHandle> openForRead(XString& path, OpenErrorClass& errorClass,
                                                     LogBase* log);
    /// Creates the file or empties it; a read-only one is made writable.
    static std::unique_ptr<BorvikHandle> openForWrite(XString& path, OpenErrorClass& errorClass,
                                                      LogBase* log);
    /// As the two above, into `handle`.
    static bool openInto(BorvikHandle& handle, XString& path, OpenErrorClass& errorClass,
                         LogBase* log);
    static bool openForWriteInto(BorvikHandle& handle, XString& path, OpenErrorClass& errorClass,
                                 LogBase* log);

    /// Size in bytes, 0 when it can't be told; `exists` tells whether a size was obtained.
    static std::int64_t getFileSize(XString& path, LogBase* log, bool& exists);
    static std::int64_t getFileSizeUtf8(const char* path, LogBase* log, bool& exists);

    /// Whether there is a file or folder of that name; a name that the system won't tell about, as
    /// in a folder without access, is taken to exist.
    static bool fileExists(XString& path, LogBase* log);
    static bool fileExistsAnsi(const char* path, LogBase* log);

    /// On failure false, with `attributes` 0xFFFFFFFF and the number of `platform::FileError`.
    static bool getAttributes(XString& path, std::uint32_t& attributes, int& systemError,
                              LogBase* log);
    /// Sets or clears the read-only attribute; the others follow from the file.
    static bool setAttributes(XString& path, std::uint32_t attributes);

    /// Replaces the file's content. No bytes leave an empty file.
    static bool writeFile(XString& path, const void* bytes, std::size_t count, LogBase* log);
    static bool writeFileAnsi(const char* path, const void* bytes, std::size_t count, LogBase* log);
    static bool writeFileUtf8(const char* path, const void* bytes, std::size_t count, LogBase* log);

    /// Absolute form of the path.
    static void getFullPath(XString& path, XString& out);
    /// The working folder; empty when it can't be told.
    static void getCurrentDirectory(XString& out);
    /// The system's folder for temporary files.
    static void getTempDirectory(XString& out);

    /// In a path of the backslash form, replaces the characters that the file systems of such paths
    /// refuse by "_", one by one: a colon but the first one where that can belong to a drive or
    /// scheme, "|", "*", "<", ">" and the double quote. Any other path stays as it is.
    static void sanitiseFileName(XString& path, LogBase* log);
};

}  // namespace borvik
