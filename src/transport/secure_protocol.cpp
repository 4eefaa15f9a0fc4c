#include "transport/secure_protocol.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <optional>
#include <string>
#include <utility>

#include "charset/ansi_text.h"
#include "foundation/timeout.h"
#include "platform/clock.h"
#include "platform/code_page.h"
#include "platform/host_name.h"
#include "platform/settings_store.h"
#include "platform/socket.h"

namespace tessolt {

namespace {

constexpr const char* kSettingsKey = "HKEY_LOCAL_MACHINE\\Software\\Merivane\\Tessolt";
constexpr const char* kTrustFileSetting = "TrustFile";
constexpr const char* kCertificatesSetting = "ClientCertificates";

constexpr std::uint32_t kDefaultHandshakeLimit = 20000;
/// A server that sends more than this before it lets the client answer is not shaking hands.
constexpr std::uint32_t kMaxHandshakeFlight = 256 * 1024;
/// Reads in a row that bring no plaintext; then the caller looks at its limit.
constexpr int kMaxSilentReads = 16;
/// Between two looks at a socket that is none any more.
constexpr std::uint32_t kGonePollMs = 1;
constexpr std::uint32_t kCipherBufferBytes = 64 * 1024;
constexpr std::size_t kFirstLineBuffer = 16 * 1024;
constexpr std::size_t kLargestLineBuffer = kMaxLineBytes + kWireLineEnd.size();

struct NamedNumber {
    std::uint32_t number;
    const char* name;
};

constexpr NamedNumber kProtocolNames[] = {
    {0x2, "PCT"}, {0x8, "SSL2"}, {0x20, "SS3"}, {0x80, "TLS1"}};
constexpr NamedNumber kCipherNames[] = {{0x6601, "DES"}, {0x6603, "DES"},      {0x660C, "DES"},
                                        {0x6602, "RC2"}, {0x660A, "Skipjack"}, {0x6801, "RC4"}};
constexpr NamedNumber kHashNames[] = {{0x8003, "MD5"}, {0x8004, "SHA"}};
constexpr NamedNumber kExchangeNames[] = {
    {0x2400, "RSA"}, {0xA400, "RSA"}, {0xAA02, "DH Ephemeral"}, {0xAA04, "KEA"}};

template <std::size_t Count>
std::string NameOf(std::uint32_t number, const NamedNumber (&names)[Count]) {
    for (const NamedNumber& row : names) {
        if (row.number == number) {
            return row.name;
        }
    }
    CZncString text;
    text.Format("0x%x", static_cast<unsigned>(number));
    return text.TakeString();
}

/// A name as certificates and name indication have it; as it is where it has no such form.
std::string CheckableName(const CZncString& name) {
    std::string text = borvik::ansiToUtf8(name.View());
    platform::toAsciiHostName(text);
    platform::removeRootDot(text);
    return text;
}

std::int32_t ResultOf(platform::TlsStart start) {
    switch (start) {
        case platform::TlsStart::kReady:
            return 0;
        case platform::TlsStart::kNoContext:
            return kSecureNoCredentials;
        case platform::TlsStart::kNoCertificates:
            return kSecureNoCertificates;
        case platform::TlsStart::kNoChannel:
            return kSecureHandshakeFailed;
        case platform::TlsStart::kNoMemory:
            break;
    }
    return kSecureNoMemory;
}

}  // namespace

struct CZnSecureProtocol::LineBuffer {
    LineBuffer() : bytes(kFirstLineBuffer) {}
    ~LineBuffer() { platform::clearSecret(bytes.data(), bytes.size()); }

    /// Free room behind what is waiting; false when the bound of a line is reached.
    bool MakeRoom() {
        if (read > 0) {
            std::memmove(bytes.data(), bytes.data() + read, write - read);
            write -= read;
            scanned -= read;
            read = 0;
        }
        if (write < bytes.size()) {
            return true;
        }
        if (bytes.size() >= kLargestLineBuffer) {
            return false;
        }
        std::vector<char> larger(std::min(2 * bytes.size(), kLargestLineBuffer));
        std::memcpy(larger.data(), bytes.data(), write);
        platform::clearSecret(bytes.data(), bytes.size());
        bytes.swap(larger);
        return true;
    }

    /// Takes the next whole line, without its end, or nothing.
    std::optional<std::string_view> NextLine() {
        while (scanned < write) {
            const void* found = std::memchr(bytes.data() + scanned, '\n', write - scanned);
            if (found == nullptr) {
                scanned = write;
                break;
            }
            const auto at =
                static_cast<std::size_t>(static_cast<const char*>(found) - bytes.data());
            scanned = at + 1;
            if (at > read && bytes[at - 1] == '\r') {
                const std::string_view line(bytes.data() + read, at - 1 - read);
                read = scanned;
                return line.substr(0, line.find_first_of("\r\n"));
            }
        }
        return std::nullopt;
    }

    std::uint32_t Take(void* dest, std::uint32_t capacity) {
        const auto count =
            static_cast<std::uint32_t>(std::min<std::size_t>(capacity, write - read));
        std::memcpy(dest, bytes.data() + read, count);
        read += count;
        scanned = std::max(scanned, read);
        if (read == write) {
            read = write = scanned = 0;
        }
        return count;
    }

    std::vector<char> bytes;
    std::size_t read = 0;     ///< The first byte not yet handed out.
    std::size_t write = 0;    ///< Behind the last byte received.
    std::size_t scanned = 0;  ///< No line end lies between `read` and here.
};

CZnSecureProtocol::CZnSecureProtocol(const char* className) : CZncTcpSocket(className) {}

CZnSecureProtocol::~CZnSecureProtocol() {
    CloseSecure();
}

std::int32_t CZnSecureProtocol::CloseSecure() {
    Close();
    m_pChannel.reset();
    m_pLine.reset();
    m_cipherBuffer = {};
    m_bUsesChannel = false;
    m_bPeerEnded = false;
    return 0;
}

std::int32_t CZnSecureProtocol::OpenSocket(const CZncString& host, std::int32_t port,
                                           std::uint32_t timeoutMs) {
    m_bUsesChannel = m_bUsesChannel && IsConnected();
    if (!IsConnected()) {
        m_channelNames = {};
    }
    return m_rules.allAddresses ? ConnectToAny(host.GetBuffer(), port, timeoutMs)
                                : Connect(host.GetBuffer(), port, timeoutMs);
}

bool CZnSecureProtocol::SecretsMayPass() const {
    return !m_rules.secretsNeedTls || UsesChannel() || (m_rules.loopbackIsSafe && PeerIsLoopback());
}

std::shared_ptr<const platform::SettingsState> CZnSecureProtocol::UsableSettings() {
    auto settings = platform::currentSettings();
    const std::string trouble =
        settings->trouble.empty() ? platform::ansiPageProblem() : settings->trouble;
    if (!trouble.empty()) {
        // Nobody knows what they would ask for.
        Log(kLogFile, "The settings can't be used: %s", trouble.c_str());
        m_tlsTrouble = {TlsTrouble::kSettings, {}, trouble};
        settings.reset();
    }
    return settings;
}

std::int32_t CZnSecureProtocol::Handshake() {
    m_bUsesChannel = true;
    m_tlsTrouble = {};
    const auto configured = UsableSettings();
    if (!configured) {
        return kSecureNoCredentials;
    }
    const auto text = [&](const char* name) {
        return configured->text(kSettingsKey, name).value_or(std::string());
    };
    platform::TlsSettings settings;
    settings.verifyServer = m_rules.verifyServer;
    settings.checkedName = CheckableName(m_strCheckedName);
    // A host that chooses its certificate by name has to know which one is wanted.
    settings.serverName = settings.verifyServer ? settings.checkedName : CheckableName(m_strHost);
    settings.trustFile = text(kTrustFileSetting);
    settings.clientCertificateFolder = text(kCertificatesSetting);

    std::int32_t result = 0;
    try {
        result = StartChannel(settings);
    } catch (const std::bad_alloc&) {
        result = kSecureNoMemory;
    }
    if (result == 0) {
        result = HandshakeLoop();
    }
    if (m_pChannel && !m_pChannel->refusal().empty()) {
        Log(kLogFile, "Server certificate refused: %s", m_pChannel->refusal().c_str());
    }
    if (result == 0) {
        LogConnectionInfo();
        m_channelNames = m_pChannel->connectionNames();
        if (!settings.verifyServer) {
            Log(kLogFile, "Server certificate not checked");
        }
    } else {
        KeepTrouble(result);
        m_pChannel.reset();
    }
    return result;
}

void CZnSecureProtocol::KeepTrouble(std::int32_t result) {
    if (result == kSecureNoCertificates) {
        m_tlsTrouble = {TlsTrouble::kSettings, {}, "ClientCertificates names no readable folder"};
    } else if (result == kSecureHandshakeRead) {
        m_tlsTrouble.kind = IsConnected() ? TlsTrouble::kTimedOut : TlsTrouble::kClosed;
    } else if (m_pChannel) {
        const std::string& refusal = m_pChannel->refusal();
        m_tlsTrouble = {TlsTrouble::kChannel, m_pChannel->fault(),
                        refusal.empty() ? m_pChannel->faultText() : refusal};
    }
}

std::int32_t CZnSecureProtocol::StartChannel(const platform::TlsSettings& settings) {
    m_bPeerEnded = false;
    m_pChannel = std::make_unique<platform::TlsClient>();
    m_pLine = std::make_unique<LineBuffer>();
    m_cipherBuffer.resize(kCipherBufferBytes);
    return ResultOf(m_pChannel->start(settings));
}

std::int32_t CZnSecureProtocol::HandshakeLoop() {
    const CZncTimeout limit(m_lHandshakeTimeout != 0 ? m_lHandshakeTimeout
                                                     : kDefaultHandshakeLimit);
    std::uint32_t flight = 0;
    for (;;) {
        const platform::TlsStep step = m_pChannel->handshake();
        const bool answers = !m_pChannel->output().empty();
        const std::int32_t sent = SendOutput();
        if (step == platform::TlsStep::kTooMuch) {
            return kSecureHandshakeRead;
        }
        if (step == platform::TlsStep::kFailed || step == platform::TlsStep::kClosed) {
            return kSecureHandshakeFailed;
        }
        if (sent != 0 || step == platform::TlsStep::kDone) {
            return sent;
        }
        flight = answers ? 0 : flight;
        std::uint32_t received = 0;
        while (received == 0) {
            const std::uint32_t remaining = limit.Remaining();
            const std::int32_t result = ReadHandshakeBytes(remaining, received);
            if (result != 0) {
                return result;
            }
        }
        flight += received;
        if (flight > kMaxHandshakeFlight) {
            return kSecureHandshakeRead;
        }
        if (!m_pChannel->addInput(m_cipherBuffer.data(), received)) {
            return kSecureNoMemory;
        }
    }
}

std::int32_t CZnSecureProtocol::ReadHandshakeBytes(std::uint32_t remainingMs,
                                                   std::uint32_t& receivedOut) {
    if (remainingMs == 0) {
        return kSecureHandshakeRead;
    }
    const std::int32_t result =
        ReceiveBuffer(m_cipherBuffer.data(), kCipherBufferBytes, receivedOut);
    if (result != 0) {
        return result == platform::kSocketNotASocket ? kSecureSocketGone : kSecureHandshakeRead;
    }
    if (receivedOut == 0) {
        WaitForData(remainingMs);
    }
    return 0;
}

std::int32_t CZnSecureProtocol::SendOutput(std::uint32_t idleMs) {
    const std::string_view bytes = m_pChannel->output();
    if (bytes.empty()) {
        return 0;
    }
    std::uint32_t sent = 0;
    const std::int32_t result = SendBuffer(bytes.data(), static_cast<std::uint32_t>(bytes.size()),
                                           sent, kNoTimeLimit, idleMs);
    m_pChannel->clearOutput();
    return result;
}

void CZnSecureProtocol::LogConnectionInfo() {
    const platform::TlsConnectionInfo info = m_pChannel->connectionInfo();
    Log(kLogFile, "Secure connection details:");
    Log(kLogFile, "\tProtocol: [%s]", NameOf(info.protocol, kProtocolNames).c_str());
    Log(kLogFile, "\tCipher: [%s]", NameOf(info.cipher, kCipherNames).c_str());
    Log(kLogFile, "\tCipher strength: [%d]", info.cipherStrength);
    Log(kLogFile, "\tHash: [%s]", NameOf(info.hash, kHashNames).c_str());
    Log(kLogFile, "\tKey exchange: [%s]", NameOf(info.keyExchange, kExchangeNames).c_str());
    Log(kLogFile, "\tKey exchange: [%d]", info.keyExchangeStrength);
}

std::int32_t CZnSecureProtocol::SendSecure(CZncString& text) {
    if (!m_pChannel) {
        return kSecureNoChannel;
    }
    text.Append(kWireLineEnd);
    return SendRecords(text.View());
}

std::int32_t CZnSecureProtocol::SendRecords(std::string_view bytes, std::uint32_t idleMs) {
    if (!m_pChannel) {
        return kSecureNoChannel;
    }
    while (!bytes.empty()) {
        std::size_t taken = 0;
        const platform::TlsStep step = m_pChannel->write(bytes.data(), bytes.size(), taken);
        bytes.remove_prefix(taken);
        const std::int32_t sent = SendOutput(idleMs);
        if (step != platform::TlsStep::kDone && step != platform::TlsStep::kNeedsInput) {
            return kSecureEncryptFailed;
        }
        if (sent != 0) {
            return sent;
        }
        if (step == platform::TlsStep::kNeedsInput) {  // the server wants to negotiate again first
            bool any = false;
            const std::int32_t read =
                WaitForData(kSendIdleLimit) ? FeedChannel(any) : kTransportIdleTimedOut;
            if (read != 0) {
                return read;
            }
        }
    }
    return 0;
}

std::int32_t CZnSecureProtocol::FeedChannel(bool& anyOut) {
    std::uint32_t received = 0;
    const std::int32_t result = ReceiveBuffer(m_cipherBuffer.data(), kCipherBufferBytes, received);
    anyOut = result == 0 && received > 0;
    if (result == platform::kSocketNotASocket) {
        if (m_pChannel->hasUnreadInput()) {
            return kSecureSocketGone;
        }
        platform::sleepFor(kGonePollMs);  // no wait of the caller's ends on what is no socket
        return 0;
    }
    if (result != 0) {
        return result;
    }
    // Behind the end of the channel nothing counts but how the socket ends.
    if (anyOut && !m_bPeerEnded && !m_pChannel->addInput(m_cipherBuffer.data(), received)) {
        return kSecureNoMemory;
    }
    return 0;
}

std::int32_t CZnSecureProtocol::DecryptBuffered(void* dest, std::uint32_t capacity,
                                                std::uint32_t& receivedOut) {
    if (m_bPeerEnded) {
        return 0;
    }
    std::size_t got = 0;
    const platform::TlsStep step = m_pChannel->read(dest, capacity, got);
    receivedOut = static_cast<std::uint32_t>(got);
    m_bPeerEnded = step == platform::TlsStep::kClosed;
    if (step == platform::TlsStep::kFailed || step == platform::TlsStep::kTooMuch) {
        SendOutput();  // the alert; the failure counts, however far that comes
        return kSecureDecryptFailed;
    }
    return 0;
}

std::int32_t CZnSecureProtocol::DecryptMore(void* dest, std::uint32_t capacity,
                                            std::uint32_t& receivedOut) {
    receivedOut = 0;
    // It ends behind a decryption and not behind a read: the caller waits for the socket next, and
    // what was read last may have been all that the server had to say.
    for (int reads = 0;; ++reads) {
        // What is buffered goes first: a whole record must not get lost to a close that follows it.
        std::int32_t result = DecryptBuffered(dest, capacity, receivedOut);
        if (result != 0 || receivedOut > 0) {
            return result;
        }
        bool any = false;
        result = reads < kMaxSilentReads ? FeedChannel(any) : 0;
        if (result != 0) {
            return result;
        }
        if (!any) {
            break;
        }
    }
    // Answers that the channel owes the server, new keys for one, wait until there is nothing left
    // to read: where the server has gone already, sending them would cost what it sent before.
    return SendOutput();
}

std::int32_t CZnSecureProtocol::ReceiveSecure(void* dest, std::uint32_t capacity,
                                              std::uint32_t& receivedOut) {
    receivedOut = 0;
    if (!m_pChannel) {
        return kSecureNoChannel;
    }
    if (m_pLine->write > m_pLine->read) {
        receivedOut = m_pLine->Take(dest, capacity);
        return 0;
    }
    return capacity > 0 ? DecryptMore(dest, capacity, receivedOut) : 0;
}

std::int32_t CZnSecureProtocol::ReceiveLineSecure(CZncString& lineOut, std::uint32_t timeoutMs) {
    lineOut = "";
    const CZncTimeout limit(timeoutMs);
    if (!m_pChannel) {
        return kSecureNoChannel;
    }
    // A reply takes a round trip: to look for it at once would mostly be in vain.
    bool waits = !m_pChannel->hasUnreadInput();
    while (!limit.HasExpired()) {
        if (const auto line = m_pLine->NextLine()) {
            std::string text(*line);
            std::erase(text, '\0');
            lineOut.Assign(std::move(text));
            return 0;
        }
        if (!m_pLine->MakeRoom()) {
            return kTransportLineTooLong;
        }
        if (waits) {
            WaitForData(limit.Remaining());
        }
        std::uint32_t received = 0;
        const std::int32_t result = DecryptMore(
            m_pLine->bytes.data() + m_pLine->write,
            static_cast<std::uint32_t>(m_pLine->bytes.size() - m_pLine->write), received);
        if (result != 0) {
            return result;
        }
        m_pLine->write += received;
        waits = received == 0;
    }
    return kSecureTimeout;
}

}  // namespace tessolt
