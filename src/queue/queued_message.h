#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace platform {
class File;
}

namespace tessolt::queue {

/// The server that a message goes through. Messages of one server share a connection.
struct ServerSettings {
    std::string host;
    std::int32_t port = 0;
    bool isSecure = false;  ///< TLS from the first byte.
    std::string account = {};
    std::string password = {};

    /// "host:port", as people and files name it.
    std::string label() const;
    bool operator==(const ServerSettings&) const = default;
    bool operator<(const ServerSettings& other) const {
        return std::tie(host, port, isSecure, account, password) <
               std::tie(other.host, other.port, other.isSecure, other.account, other.password);
    }
};

/// A part of a file: where it begins and its length.
struct TextRange {
    std::uint64_t begin = 0;
    std::uint64_t size = 0;
};

/// What the header of a queue file says, and what of the file goes out. The text isn't parsed
/// beyond its header and never written anew.
struct QueuedMessage {
    /// Nothing when one of the five fields is missing or says nonsense; `problem` names it.
    std::optional<ServerSettings> server = {};
    std::string problem = {};
    /// The fields' values, unfolded; repeated ones joined by ",".
    std::string from = {}, to = {}, cc = {}, bcc = {};
    std::string messageId = {};  ///< That of the message, else the one that it gets.
    bool hasMessageId = false;
    std::string header = {};             ///< The header as it goes out.
    std::string serverFields = {};       ///< The five fields as they stand in the file.
    std::vector<TextRange> ranges = {};  ///< What goes out of the file, in order.
    std::uint64_t size = 0;              ///< Bytes of all ranges.
};

/// Longest header, in bytes, that is read.
inline constexpr std::size_t kMaxHeaderBytes = 4 * 1024 * 1024;

/// Reads the header of a queue file called `name`. Returns 0 or an errno number.
int readQueuedMessage(const platform::File& file, std::string_view name, QueuedMessage& message);

/// The same for a header at hand, of a file of `fileSize` bytes. `header` ends behind the empty
/// line, or where the file ends.
QueuedMessage parseQueuedMessage(std::string_view header, std::uint64_t fileSize,
                                 std::string_view name);

}  // namespace tessolt::queue
