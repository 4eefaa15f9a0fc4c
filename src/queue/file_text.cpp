#include "queue/file_text.h"

#include <algorithm>
#include <utility>

#include "base/ascii_text.h"
#include "platform/file_system.h"

namespace tessolt::queue {

namespace {

constexpr std::size_t kPieceBytes = 128 * 1024;

}  // namespace

FileText::FileText(const platform::File& file, const QueuedMessage& message)
    : file_(file), ranges_(message.ranges) {
    if (!message.hasMessageId) {
        front_ = "Message-ID: " + message.messageId + "\r\n";
    }
    size_ = message.size + front_.size();
    buffer_.resize(static_cast<std::size_t>(std::clamp<std::uint64_t>(size_, 1, kPieceBytes)));
}

bool FileText::IsEightBit() const {
    FileText pieces(*this);
    for (std::string_view piece; pieces.Next(piece) && !piece.empty();) {
        if (!borvik::isAscii(piece)) {
            return true;
        }
    }
    return false;
}

bool FileText::Next(std::string_view& piece) {
    std::size_t filled = std::exchange(front_, {}).copy(buffer_.data(), buffer_.size());
    while (filled < buffer_.size() && range_ < ranges_.size()) {
        const TextRange& range = ranges_[range_];
        if (done_ == range.size) {
            ++range_;
            done_ = 0;
            continue;
        }
        const auto wanted = static_cast<std::size_t>(
            std::min<std::uint64_t>(range.size - done_, buffer_.size() - filled));
        std::size_t got = 0;
        if (file_.readAt(range.begin + done_, buffer_.data() + filled, wanted, got) != 0 ||
            got == 0) {
            return false;  // somebody has cut the file
        }
        done_ += got;
        filled += got;
    }
    piece = std::string_view(buffer_.data(), filled);
    return true;
}

}  // namespace tessolt::queue
