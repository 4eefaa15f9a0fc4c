#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "reading/message.h"

namespace tessolt {

/// A message text as it came, and its parts, which point into it. A record and the attachments
/// that it found in the text share one.
struct LoadedMessage {
    explicit LoadedMessage(std::string text)
        : source(std::move(text)), message(reading::withoutMboxLine(source)) {}
    LoadedMessage(const LoadedMessage&) = delete;
    LoadedMessage& operator=(const LoadedMessage&) = delete;

    /// The text that goes out: an mbox line in front is no part of it.
    std::string_view text() const { return message.text(); }

    const std::string source;
    const reading::Message message;
};

/// An attachment as a part of such a text.
struct LoadedPart {
    std::shared_ptr<const LoadedMessage> loaded;
    std::uint32_t number;
    std::u16string name;  ///< As the sender wrote it.

    const reading::Part& part() const { return loaded->message.parts()[number]; }
};

}  // namespace tessolt
