#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "reading/message.h"

namespace tessolt::reading {

/// Numbers of parts of a message, in order.
using PartNumbers = std::vector<std::uint32_t>;

/// What a mail reader shows of a message: its letter and what came with it.
struct Letter {
    PartNumbers plain;
    PartNumbers html;
    PartNumbers attachments;
};

/// Sorts the parts: inline text without a name is the letter, several of a kind one behind the
/// other; anything else is an attachment, a message within the message as a whole.
Letter letterOf(const Message& message);

/// The text of these parts in UTF-8, one behind the other.
std::string textOf(const Message& message, const PartNumbers& parts);

/// The decoded bytes of a part that isn't opened; of one that is, its text.
std::string bodyBytes(const Message& message, const Part& part);

/// The text of a part in UTF-8, by its charset.
std::string bodyText(const Message& message, const Part& part);

/// The name of a part as its sender wrote it: "filename" of Content-Disposition, else "name" of
/// Content-Type. Never a path to be trusted.
std::string nameOf(const Message& message, const Part& part);

/// The charset label that stands for 8-bit text in the header: that of the first text part.
std::string labelOf(const Message& message);

}  // namespace tessolt::reading
