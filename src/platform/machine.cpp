#include "platform/machine.h"

#include <pwd.h>
#include <unistd.h>

#include <cstddef>
#include <vector>

namespace platform {
namespace {

constexpr std::size_t kMaxNameBytes = 255;
constexpr std::size_t kUserRecordBytes = 16 * 1024;

}  // namespace

std::string computerName() {
    char buffer[kMaxNameBytes + 1] = {};
    if (gethostname(buffer, kMaxNameBytes) != 0 || buffer[0] == '\0') {
        return "localhost";
    }
    std::string name(buffer);
    for (char& c : name) {
        // The name goes into command lines as it is.
        if (static_cast<unsigned char>(c) <= ' ' || c == '\x7F') {
            c = '-';
        }
    }
    return name;
}

std::string userName() {
    std::vector<char> buffer(kUserRecordBytes);
    passwd record{};
    passwd* found = nullptr;
    if (getpwuid_r(geteuid(), &record, buffer.data(), buffer.size(), &found) == 0 && found) {
        return record.pw_name;
    }
    return std::to_string(geteuid());
}

std::uint32_t threadId() {
    return static_cast<std::uint32_t>(gettid());
}

}  // namespace platform
