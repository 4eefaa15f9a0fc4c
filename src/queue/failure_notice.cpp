#include "queue/failure_notice.h"

#include <array>
#include <cerrno>
#include <cstdio>

#include "message/message_date.h"
#include "mime/bv_mime.h"
#include "platform/clock.h"
#include "platform/file_system.h"
#include "platform/machine.h"
#include "platform/random_bytes.h"
#include "queue/envelope.h"
#include "text/outward_strings.h"

namespace tessolt::queue {

namespace {

constexpr std::string_view kNoticePrefix = "notice-";
constexpr unsigned kNoticeMode = 0600;
constexpr std::size_t kBoundaryBytes = 12;

std::string boundary() {
    std::array<unsigned char, kBoundaryBytes> bytes{};
    platform::randomBytes(bytes.data(), bytes.size());
    std::string text = "=_status_";
    for (const unsigned char byte : bytes) {
        std::array<char, 3> digits{};
        std::snprintf(digits.data(), digits.size(), "%02x", byte);
        text += digits.data();
    }
    return text;
}

std::unique_ptr<borvik::BvMime> textPart(const char* type, const std::string& text) {
    auto part = std::make_unique<borvik::BvMime>();
    part->ContentType(type);
    part->SetBody(text.c_str());
    return part;
}

std::string explanation(const MessageState& state) {
    std::string text = "Your message could not be delivered to:\r\n\r\n";
    for (const RefusedRecipient& refused : state.refused) {
        text += "    " + refused.address + "\r\n        " + oneLine(refused.reply) + "\r\n";
    }
    text += "\r\nThe mail server was " + (state.server.empty() ? "none" : state.server) +
            ". The header of your message is attached.\r\n";
    return text;
}

/// The status code at the start of a reply's text (RFC 3463), else the general one of its class.
std::string statusOf(const std::string& reply) {
    int code = 0;
    int family = 0;
    int subject = 0;
    int detail = 0;
    if (std::sscanf(reply.c_str(), "%3d%*1[ -]%1d.%3d.%3d", &code, &family, &subject, &detail) ==
            4 &&
        family == 5) {
        return "5." + std::to_string(subject) + "." + std::to_string(detail);
    }
    // What was given up after waiting has failed for good too.
    return code >= 500 && code < 600 ? "5.0.0" : "5.4.7";
}

std::string deliveryStatus(const MessageState& state) {
    std::string text = "Reporting-MTA: dns; " + platform::computerName() + "\r\n";
    for (const RefusedRecipient& refused : state.refused) {
        const std::string reply = oneLine(refused.reply);
        const bool isReply = !reply.empty() && reply[0] >= '2' && reply[0] <= '5';
        text += "\r\nFinal-Recipient: rfc822; " + refused.address +
                "\r\nAction: failed\r\nStatus: " + statusOf(reply) + "\r\n";
        if (isReply && !state.server.empty()) {
            text += "Remote-MTA: dns; " + state.server.substr(0, state.server.rfind(':')) +
                    "\r\nDiagnostic-Code: smtp; " + reply + "\r\n";
        }
    }
    return text;
}

/// A whole file under a name that isn't taken yet.
int writeMessage(const QueueFolder& folder, const std::string& name, const std::string& text) {
    const std::string path = folder.messagePath(name);
    const std::string partial = path + "_";
    platform::removeFile(partial);
    platform::File file;
    int error =
        file.open(partial, platform::kOpenWrite | platform::kOpenCreate | platform::kOpenExclusive,
                  kNoticeMode);
    if (error == 0) {
        error = file.write(text);
    }
    if (error == 0) {
        error = file.sync();
    }
    file.close();
    if (error == 0) {
        error = platform::renameNoReplace(partial, path);
    }
    if (error != 0) {
        platform::removeFile(partial);
        return error;
    }
    return platform::syncFolderOf(path);
}

}  // namespace

std::string noticeNameOf(const std::string& name) {
    return std::string(kNoticePrefix) + name;
}

std::string makeNotice(const QueuedMessage& message, const MessageState& state,
                       const std::string& recipient, std::int64_t now) {
    borvik::BvMime notice;
    notice.AddHeaderField(
        "From", ("Mail Delivery System <mailer-daemon@" + platform::computerName() + ">").c_str());
    notice.AddHeaderField("To", ("<" + recipient + ">").c_str());
    notice.AddHeaderField("Subject", "Your message could not be delivered");
    notice.AddHeaderField("Date",
                          FormatDate(platform::localTime(), platform::timeZoneBias()).c_str());
    notice.AddHeaderField("Auto-Submitted", "auto-replied");
    notice.AddHeaderField("In-Reply-To", message.messageId.c_str());
    notice.AddHeaderField("MIME-Version", "1.0");
    notice.ContentType("multipart/report; report-type=delivery-status");
    notice.Boundary(boundary().c_str());
    MessageState told = state;
    told.failedAt = now;
    const auto words = textPart("text/plain", explanation(told));
    const auto status = textPart("message/delivery-status", deliveryStatus(told));
    const auto header = textPart("text/rfc822-headers", message.header);
    for (const borvik::BvMime* part : {words.get(), status.get(), header.get()}) {
        notice.AppendPart(part);
    }
    borvik::BvByteData bytes;
    notice.GetMimeBytes(bytes);
    return std::string(bytes.view());
}

int queueNotice(const QueueFolder& folder, const std::string& name, const QueuedMessage& message,
                const MessageState& state, std::int64_t now) {
    MessageState unused;
    const std::string recipient = envelopeOf(message, unused).sender;
    if (state.isNotice || recipient.empty() || !message.server) {
        return 0;
    }
    const std::string noticeName = noticeNameOf(name);
    // Where a crash leaves this alone, nothing goes out without knowing that it is a notice.
    MessageState noticeState;
    noticeState.isNotice = true;
    const int error = writeState(folder.statePath(noticeName), noticeState);
    if (error != 0) {
        return error;
    }
    const int written = writeMessage(
        folder, noticeName, message.serverFields + makeNotice(message, state, recipient, now));
    return written == EEXIST ? 0 : written;
}

}  // namespace tessolt::queue
