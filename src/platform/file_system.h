/// Files as the system needs them: thin, without text translation, failures as errno numbers.
/// Every path is a native one in UTF-8; `toNativePath` makes it from what a caller wrote.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace platform {

/// Whether a path is in the backslash form: it holds a "\" or begins with a drive letter and its
/// colon, and holds no "/".
bool isBackslashPath(std::string_view utf8Path);

/// The native form of a caller's path. One in the backslash form has its "\" turned into "/" and a
/// leading drive letter with its colon dropped; any other is native and left alone.
std::string toNativePath(std::string_view utf8Path);

/// How a file is opened; combined with |.
enum OpenFlags : unsigned {
    kOpenRead = 0x01,
    kOpenWrite = 0x02,
    kOpenCreate = 0x04,
    kOpenTruncate = 0x08,
    kOpenExclusive = 0x10,  ///< With kOpenCreate: fail when the name exists.
    kOpenNoFollow = 0x20,   ///< Fail when the last step of the path is a symbolic link.
    kOpenAppend = 0x40,
    /// Don't wait for the other end of a pipe or device, and refuse whatever is no regular file.
    kOpenRegularOnly = 0x80,
    kOpenNonBlocking = 0x100,  ///< Don't wait for the other end of a pipe or device.
};

/// An open file; closes itself. Reads and writes go on after interrupting signals, and a write that
/// nobody reads or that passes a limit fails without a signal to the process.
class File {
public:
    File() = default;
    ~File();
    File(File&& other) noexcept;
    File& operator=(File&& other) noexcept;

    /// Opens `path`; `mode` are the permissions of a file that it creates, less the umask. Returns
    /// 0 or an errno number: EISDIR for a folder, EINVAL for anything else that isn't a regular
    /// file under kOpenRegularOnly.
    int open(const std::string& path, unsigned flags, unsigned mode = 0666);
    bool isOpen() const { return fd_ >= 0; }
    /// Reads up to `size` bytes; `got` is 0 at the end of the file. Returns 0 or an errno number.
    int read(void* buffer, std::size_t size, std::size_t& got);
    /// Writes all of `size` bytes; `written` tells how far it came. Returns 0 or an errno number.
    int write(const void* bytes, std::size_t size, std::size_t& written);
    int write(std::string_view bytes);
    /// Writes all of `bytes` behind the end of the file, which must be open with kOpenAppend. What
    /// of them a full disk took is cut off again, unless somebody wrote behind it already.
    int append(std::string_view bytes);
    /// Size in bytes; returns 0 or an errno number.
    int size(std::uint64_t& bytes) const;
    /// Cuts or extends the file to `bytes`. Returns 0 or an errno number.
    int setSize(std::uint64_t bytes);
    /// Has the system put everything written onto the device. Returns 0 or an errno number.
    int sync();
    /// Reads up to `size` bytes from `offset` on; `got` is 0 at the end. Returns 0 or an errno
    /// number.
    int readAt(std::uint64_t offset, void* buffer, std::size_t size, std::size_t& got) const;
    /// Locks the file against every other open file that asks for its lock, in whatever process,
    /// until this one is closed. Returns 0, EWOULDBLOCK when another has it, or an errno number.
    int tryLock();
    /// Whether `path` still names this file.
    bool isAt(const std::string& path) const;
    /// Closes; safe to call twice. Returns 0 or the errno number of a failed last write.
    int close();

private:
    int fd_ = -1;
};

/// What a name stands for.
struct FileInfo {
    bool isFolder = false;
    bool isRegular = false;
    bool isReadOnly = false;  ///< No write permission for anybody.
    std::uint64_t size = 0;
    std::int64_t modified = 0;  ///< Nanoseconds since 1970.
};

/// Returns 0 and fills `info`, or an errno number. Follows symbolic links.
int statFile(const std::string& path, FileInfo& info);
/// Whether the name itself is a symbolic link.
bool isLink(const std::string& path);
/// Removes a file or an empty folder's link. Returns 0 or an errno number.
int removeFile(const std::string& path);
/// Renames without ever replacing: EEXIST when `to` exists.
int renameNoReplace(const std::string& from, const std::string& to);
/// Renames, replacing `to`.
int renameReplace(const std::string& from, const std::string& to);
/// Whether nobody can tell a file from a new one put in its place: one of this user with a single
/// name, or none at all.
bool isReplaceable(const std::string& path);
/// Puts a file with `content` in the place of `path` in one step: whoever reads it finds the old
/// one or the new one, whole. A link stays a link, and a file keeps its permissions; `mode` is that
/// of a file that is new. `lasting` has it on the device before. Returns 0 or an errno number.
int replaceFile(const std::string& path, std::string_view content, unsigned mode, bool lasting);
/// Makes a rename or a new file in the folder of `path` last across a crash.
int syncFolderOf(const std::string& path);
/// Sets or takes away the owner's write permission.
int setReadOnly(const std::string& path, bool readOnly);
/// Makes the folder and those above it that are missing.
int makeFolders(const std::string& path);
/// Makes one folder that only its owner may enter. Returns 0 or an errno number.
int makePrivateFolder(const std::string& path);
/// Calls `use` with each name in a folder, in no order. Returns 0 or an errno number.
int listFolder(const std::string& path, const std::function<void(std::string_view)>& use);

/// Appends the whole of a regular file to `content`. Returns 0 or an errno number.
int readWholeFile(const std::string& path, std::string& content);

/// The text of an environment variable; null when it is unset or empty, or when the program runs
/// with more rights than the user who set it.
const char* environmentText(const char* name);
/// The absolute form of `path`, with "." and ".." and doubled separators worked out by text.
std::string fullPath(const std::string& path);
/// The working folder; empty when it can't be told.
std::string currentFolder();
/// The folder for temporary files, without a separator at the end.
std::string temporaryFolder();

/// The numbers by which the layers above know a file failure.
enum FileError : int {
    kFileErrorNotFound = 2,
    kFileErrorPathNotFound = 3,
    kFileErrorAccessDenied = 5,
    kFileErrorNotReady = 21,
    kFileErrorSharing = 32,
};
/// The number for the errno number `error` of an operation on `path`: one of FileError, with
/// kFileErrorPathNotFound when the folder of the path is missing, else `error` + 10000.
int fileErrorNumber(int error, const std::string& path);
/// The system's text for an errno number.
std::string errorText(int error);

}  // namespace platform
