#include <algorithm>
#include <charconv>
#include <new>
#include <span>
#include <string>
#include <utility>

#include "foundation/timeout.h"
#include "mail/pop3.h"
#include "mail/received_body.h"
#include "message/znmail.h"

namespace tessolt {

namespace {

constexpr std::string_view kPositive = "+OK";
/// Lengths of the message model have 32 bits.
constexpr std::size_t kMaxBodyBytes = 0xFFF00000;

/// The number behind the first word of a positive reply, which many a server gives the length by; 0
/// when there is none.
std::uint64_t NumberIn(std::string_view reply) {
    std::uint64_t number = 0;
    reply.remove_prefix(std::min(kPositive.size() + 1, reply.size()));
    std::from_chars(reply.data(), reply.data() + reply.size(), number);
    return number;
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
    ReceivedBody body(text, m_rules.exactDots);
    if (full) {
        body.Expect(size != 0 ? size : NumberIn(m_strLastResponse.View()));
    }
    const std::int32_t result = full ? ReadWatchedBody(body, size) : ReadBody(body);
    if (result == 0) {
        body.Finish();
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

std::int32_t CZnPop3::ReadWatchedBody(ReceivedBody& body, std::uint64_t size) {
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
std::int32_t CZnPop3::ReadBody(ReceivedBody& body) try {
    CZncTimeout limit(m_lTimeoutData);
    while (!body.IsComplete()) {
        const std::span<char> room = body.Room();
        const auto size = static_cast<std::uint32_t>(std::min(room.size(), kMaxBodyBytes));
        std::uint32_t received = 0;
        const std::int32_t result = UsesChannel() ? ReceiveSecure(room.data(), size, received)
                                                  : ReceiveBuffer(room.data(), size, received);
        if (result != 0 || body.Received() + received > kMaxBodyBytes) {
            return kPop3BodyReadFailed;
        }
        if (received > 0) {
            body.Take(received);
            limit.Restart();
            m_watch.Advance(received);
        } else if (limit.HasExpired()) {
            return body.Received() == 0 ? kPop3TimedOut : kPop3BodyStalled;
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
