#include <string>

#include "harness.h"
#include "platform/file_system.h"
#include "queue/envelope.h"
#include "queue/file_text.h"
#include "queue/message_state.h"
#include "queue/queued_message.h"

namespace fuzz {
namespace {

using namespace tessolt;
using queue::MessageState;
using queue::QueuedMessage;

std::string writtenAgain(std::string_view state) {
    return queue::formatState(queue::parseState(state));
}

/// What was written is written as it was read, but for texts that have become empty.
void checkState(std::string_view text) {
    const std::string written = writtenAgain(writtenAgain(text));
    require(writtenAgain(written) == written);
}

/// What goes out lies in the file and is as long as was told.
void checkRanges(const QueuedMessage& message, std::size_t fileSize) {
    std::uint64_t size = 0;
    std::uint64_t place = 0;
    for (const queue::TextRange& range : message.ranges) {
        require(range.begin >= place && range.begin + range.size <= fileSize);
        place = range.begin + range.size;
        size += range.size;
    }
    require(message.size == size);
}

void checkEnvelope(const QueuedMessage& message, MessageState state) {
    const SmtpEnvelope envelope = queue::envelopeOf(message, state);
    for (const SmtpRecipient& recipient : envelope.recipients) {
        require(queue::canBeSent(recipient.address));
        require(recipient.address.find_first_of(std::string_view("\r\n\0 <>", 6)) ==
                std::string::npos);
    }
}

void checkText(const std::string& path, const QueuedMessage& message, bool goesOut) {
    platform::File file;
    require(file.open(path, platform::kOpenRead) == 0);
    queue::FileText text(file, message);
    text.IsEightBit();
    std::uint64_t size = 0;
    std::string_view piece;
    while (text.Next(piece) && !piece.empty()) {
        size += piece.size();
    }
    require(!goesOut || size == text.Size());
}

}  // namespace

/// Reads the bytes as a file of the queue, and as the state of one.
void fuzzQueueFile(Input input) {
    const std::string_view bytes = input.rest();
    checkState(bytes);
    require(queue::oneLine(bytes).find_first_of("\r\n") == std::string::npos);
    const std::string path = scratchFile("queued", bytes);
    platform::File file;
    require(file.open(path, platform::kOpenRead) == 0);
    QueuedMessage message;
    require(queue::readQueuedMessage(file, "queued", message) == 0);
    require(message.server.has_value() == message.problem.empty());
    checkRanges(message, bytes.size());
    checkEnvelope(message, queue::parseState(bytes));
    checkText(path, message, message.server.has_value());
}

}  // namespace fuzz
