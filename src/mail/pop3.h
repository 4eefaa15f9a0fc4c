#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "foundation/narrow_string.h"
#include "mail/mail_session.h"

namespace tessolt {

class CZnMail;
class ReceivedBody;

/// Results of the POP3 engine. Results of the layers below may stand in their place.
enum Pop3Result : std::int32_t {
    kPop3AlreadyConnected = -2101,
    kPop3InvalidHost = -2102,
    kPop3InvalidPort = -2103,
    kPop3ConnectFailed = -2104,
    kPop3HandshakeFailed = -2105,
    kPop3NoFetchResponse = -2106,  ///< The status line of a fetch could not be read.
    kPop3NoWelcome = -2107,        ///< The welcome is not "+OK".
    kPop3MailboxLocked = -2108,
    kPop3LoginFailed = -2109,
    kPop3NotConnected = -2110,
    kPop3BadUserResponse = -2111,  ///< The reply to USER is not "+OK".
    kPop3InvalidPassword = -2112,
    kPop3StatFailed = -2113,
    kPop3NothingToDelete = -2114,  ///< A deletion in an empty mailbox.
    kPop3DeleteFailed = -2115,
    kPop3NoMessages = -2116,      ///< A fetch from an empty mailbox.
    kPop3InvalidMessage = -2117,  ///< A fetch of a number above the count.
    kPop3RetrieveFailed = -2118,
    kPop3BodyReadFailed = -2119,  ///< The connection or memory ended within a body.
    kPop3BodyStalled = -2120,     ///< A body that had begun stood still.
    kPop3TimedOut = -2121,        ///< A status line or the first bytes of a body didn't come.
    kPop3ReadFailed = -2122,      ///< Reading a status line failed.
    kPop3Stopped = -2123,         ///< The observer wanted no more of a body.
};

/// How to log in. The first and the last act alike.
enum Pop3Authentication : std::int32_t {
    kPop3AuthAuto = 0,
    kPop3AuthPlain = 1,
    kPop3AuthApop = 2,
};

/// What the server says it can do; combined with |.
enum Pop3Capability : std::uint32_t {
    kPop3CanTop = 1,
    kPop3CanSasl = 2,
    kPop3CanStls = 4,
    kPop3CanUser = 8,
    kPop3CanUidl = 16,
    kPop3CanResp = 32,
};

/// A message of the mailbox, as the server lists it.
struct Pop3Entry {
    std::int32_t number = 0;
    std::uint64_t size = 0;  ///< In bytes, as the server counts.
    std::string uid = {};    ///< The same in every session; empty where the server has none.
};

/// The client side of one POP3 conversation (RFC 1939, with RFC 2449). Every operation that returns
/// a number gives 0 or a result of Pop3Result or of the layers below. Limits are in milliseconds.
/// One thread at a time.
class CZnPop3 : public CZnMailSession {
public:
    CZnPop3();
    ~CZnPop3() override;

    /// Opens the connection to `m_strServer`, logs in and counts the messages. Either all of that
    /// succeeds or the connection is closed again; one that was open before is closed too.
    std::int32_t Connect();

    /// The reply is the status line; kNoTimeLimit means no limit. A command that holds a line break
    /// is not sent: the result is that of a broken connection. QUIT, which `Disconnect` sends, lets
    /// the server delete what was marked.
    std::int32_t SendCommand(std::string_view text, std::uint32_t timeoutMs = 0) override;
    bool MayAsk(std::string_view command) const override;
    std::int32_t Ask(std::string_view command) override;
    /// Reads one status line; empty lines in front of it are skipped.
    std::int32_t ReadResponse(std::uint32_t timeoutMs);

    /// The number of messages at the time of the login; asks nothing of the server.
    std::int32_t GetMessageCount(std::int32_t& countOut) const;
    /// Lists the messages that aren't marked for deletion with sizes and, where the server can do
    /// that, unique ids. On failure `entries` is empty.
    std::int32_t List(std::vector<Pop3Entry>& entries);
    /// Fetches message `id` into `mail`, whole or, if the server can do that, without its body. On
    /// failure `mail` stays as it was. The observer is told of a whole message; when it cancels,
    /// the connection is closed, and what was marked for deletion stays. After a body that didn't
    /// end the rest of it may still come: `Disconnect` then.
    std::int32_t Retrieve(std::int32_t id, bool full, CZnMail& mail);
    /// The first half of it: the message as text, the dot-stuffing undone.
    std::int32_t RetrieveText(std::int32_t id, bool full, std::string& text);
    /// Marks message `id` for deletion.
    std::int32_t DeleteMessage(std::int32_t id);

    CZncString m_strServer;
    /// The last reply before the leave that `Connect` takes when it fails.
    CZncString m_strRefusal;
    std::uint32_t m_uCapabilities = 0;  ///< Of Pop3Capability.
    std::int32_t m_lMessageCount = 0;

private:
    /// The result of an APOP exchange that by classic rules the password follows.
    static constexpr std::int32_t kApopRefused = -1;

    std::int32_t OpenConversation();
    std::int32_t StartTls();
    std::int32_t PrepareLogIn();
    std::int32_t LogIn();
    std::int32_t LogInStrongest();
    std::int32_t LogInByMechanism(class SaslMechanism& mechanism);
    std::int32_t CountAfterLogIn();
    std::int32_t LogInWithPassword();
    std::int32_t ExchangeApop();
    std::int32_t ReconnectWithPassword();
    std::int32_t JudgeRefusal(std::int32_t unknown) const;
    void QueryCapabilities();
    std::int32_t QueryStatus();

    /// `SendCommand` with what the log may show of the line.
    std::int32_t Exchange(std::string_view text, std::string_view logged, std::uint32_t timeoutMs);
    std::int32_t ReadLists(std::vector<Pop3Entry>& entries);
    template <typename Take>
    std::int32_t ReadList(std::string_view command, Take take);
    std::int32_t ReadLine(CZncString& line, std::uint32_t timeoutMs);
    std::int32_t SendText(std::string_view line);
    std::int32_t ReadBody(ReceivedBody& body);
    std::int32_t ReadWatchedBody(ReceivedBody& body, std::uint64_t size);
    std::uint64_t ExpectedSize(std::int32_t id);
    void BlameResult(std::int32_t result);
    bool WelcomeHoldsTimestamp() const;
    bool IsPositive() const;
    bool IsNegative() const;

    std::vector<std::string> m_offered;  ///< The mechanisms that CAPA names.
};

}  // namespace tessolt
