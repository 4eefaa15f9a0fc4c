#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "mail/smtp_envelope.h"
#include "queue/queued_message.h"

namespace platform {
class File;
}

namespace tessolt::queue {

/// The text of a queued message as it goes out, read from its file piece by piece. File and message
/// must outlive it.
class FileText : public SmtpText {
public:
    FileText(const platform::File& file, const QueuedMessage& message);

    bool Next(std::string_view& piece) override;
    std::uint64_t Size() const override { return size_; }
    bool IsEightBit() const override;

private:
    const platform::File& file_;
    const std::vector<TextRange>& ranges_;
    std::string front_;  ///< What goes ahead of the file's own bytes.
    std::uint64_t size_ = 0;
    std::size_t range_ = 0;
    std::uint64_t done_ = 0;  ///< Bytes of the range that were handed out.
    std::vector<char> buffer_;
};

}  // namespace tessolt::queue
