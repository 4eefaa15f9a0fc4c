#include <algorithm>
#include <charconv>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include "foundation/timeout.h"
#include "mail/dot_stuffing.h"
#include "mail/pop3.h"
#include "message/znmail.h"

namespace tessolt {

namespace {

constexpr std::string_view kEndMark = "\r\n.\r\n";
constexpr std::string_view kEmptyBody = ".\r\n";
constexpr std::string_view kPositive = "+OK";
constexpr std::uint32_t kReadBytes = 128 * 1024;
/// Lengths of the message model have 32 bits.
constexpr std::size_t kMaxBodyBytes = 0xFFF00000;

bool IsComplete(std::string_view body) {
    return body == kEmptyBody || (body.size() >= kEndMark.size() &&
                                  body.substr(body.size() - kEndMark.size()) == kEndMark);
}

/// The message as the server stored it, up to the first zero byte, with the end mark as an empty
/// line.
void UndoTransfer(std::string& body) {
    if (body == kEmptyBody) {
        body.clear();
        return;
    }
    body.resize(std::min(body.find('\0'), body.size()));
    body.resize(RemoveDotStuffing(body.data(), body.size()));
}

}  // namespace

std::int32_t CZnPop3::Retrieve(std::int32_t id, bool full, CZnMail& mail) {
    std::string text;
    ForgetTrouble();
    const std::int32_t result = RetrieveText(id, full, text);
    if (result != 0) {
        BlameResult(result);
        return Told(result);
    }
    if (mail.LoadFromBytes(std::move(text)) != 0) {
        return kPop3BodyReadFailed;
    }
    mail.m_uID = static_cast<std::uint32_t>(id);
    Log(kLogProtocol, "Response: [<Message data>] ");
    return 0;
}

std::int32_t CZnPop3::RetrieveText(std::int32_t id, bool full, std::string& text) {
    if (!IsConnected()) {
        return kPop3NotConnected;
    }
    if (m_lMessageCount == 0) {
        return kPop3NoMessages;
    }
    if (id > m_lMessageCount) {
        return kPop3InvalidMessage;
    }
    const bool top = !full && (m_uCapabilities & kPop3CanTop) != 0;
    const std::string number = std::to_string(id);
    const std::uint64_t size = full ? ExpectedSize(id) : 0;
    if (SendCommand(top ? "TOP " + number + " 1" : "RETR " + number, m_lTimeoutData) != 0) {
        return kPop3NoFetchResponse;
    }
    if (IsNegative()) {
        return kPop3RetrieveFailed;
    }
    text.clear();
    const std::int32_t result = full ? ReadWatchedBody(text, size) : ReadBody(text);
    if (result == 0 && m_rules.exactDots) {
        UndoDotStuffing(text);
    } else if (result == 0) {
        UndoTransfer(text);
    }
    return AfterRead(result);
}

/// How long the server says that a message is; 0 where it doesn't, or nobody wants to know.
std::uint64_t CZnPop3::ExpectedSize(std::int32_t id) {
    std::uint64_t size = 0;
    if (m_watch.HasObserver() && SendCommand("LIST " + std::to_string(id)) == 0 && IsPositive()) {
        const std::string_view reply = m_strLastResponse.View();
        const std::size_t at = reply.find_first_not_of(' ', reply.find(' ', kPositive.size() + 1));
        if (at != std::string_view::npos) {
            std::from_chars(reply.data() + at, reply.data() + reply.size(), size);
        }
    }
    return size;
}

std::int32_t CZnPop3::ReadWatchedBody(std::string& body, std::uint64_t size) {
    m_watch.Begin(size);
    const std::int32_t result = ReadBody(body);
    if (m_watch.End(result == 0)) {
        return result;
    }
    Log(kLogProtocol, "Cancelled");
    CloseSecure();
    return kPop3Stopped;
}

/// Reads up to the end mark. The limit starts again with every byte, so that only a body that
/// stands still is given up.
std::int32_t CZnPop3::ReadBody(std::string& body) try {
    CZncTimeout limit(m_lTimeoutData);
    const auto block = std::make_unique_for_overwrite<char[]>(kReadBytes);
    while (!IsComplete(body)) {
        std::uint32_t received = 0;
        const std::int32_t result = UsesChannel()
                                        ? ReceiveSecure(block.get(), kReadBytes, received)
                                        : ReceiveBuffer(block.get(), kReadBytes, received);
        if (result != 0 || body.size() + received > kMaxBodyBytes) {
            return kPop3BodyReadFailed;
        }
        if (received > 0) {
            body.append(block.get(), received);
            limit.Restart();
            m_watch.Advance(received);
        } else if (limit.HasExpired()) {
            return body.empty() ? kPop3TimedOut : kPop3BodyStalled;
        } else {
            WaitForData(m_watch.Slice(limit.Remaining()));
        }
        if (!m_watch.GoesOn()) {
            return kPop3Stopped;
        }
    }
    return 0;
} catch (const std::bad_alloc&) {
    CloseSecure();  // the rest of the text would be read as replies
    return kPop3BodyReadFailed;
}

}  // namespace tessolt
