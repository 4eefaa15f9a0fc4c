#include "automation/smtp.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "automation/email_message.h"
#include "charset/ansi_text.h"
#include "platform/settings_store.h"

namespace tessolt {
namespace {

constexpr const char* kQueueKey = "HKEY_LOCAL_MACHINE\\Software\\Merivane\\Tessolt";
constexpr const char* kQueueValue = "Queue";
/// In bytes of the ANSI code page.
constexpr std::size_t kLongestQueueFolder = 259;
constexpr LONG kPlainPort = 25;
constexpr LONG kSecurePort = 465;

/// The configured folder in the ANSI code page, empty without one; nothing for a value that is too
/// long or that the page can't express.
std::optional<std::string> queueFolder() {
    const std::string value = platform::readSetting(kQueueKey, kQueueValue).value_or("");
    std::string folder = borvik::utf8ToAnsi(value);
    const bool isUsable =
        folder.size() <= kLongestQueueFolder && borvik::ansiToUtf8(folder) == value;
    return isUsable ? std::optional(std::move(folder)) : std::nullopt;
}

/// The lines of a text that aren't empty.
std::vector<std::string> lines(const std::string& text) {
    std::vector<std::string> found;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        if (!line.empty()) {
            found.push_back(line);
        }
    }
    return found;
}

LONG queuePort(LONG port, bool secure) {
    if (port != 0) {
        return port;
    }
    return secure ? kSecurePort : kPlainPort;
}

}  // namespace

HRESULT CSmtp::get_UseStartTls(VARIANT_BOOL* pVal) {
    return giveBool(m_pEngine->m_bUseStartTls > 0, pVal);
}

HRESULT CSmtp::put_UseStartTls(VARIANT_BOOL newVal) {
    m_pEngine->m_bUseStartTls = newVal != VARIANT_FALSE ? 1 : 0;
    return S_OK;
}

HRESULT CSmtp::get_LastSmtpResponse(BSTR* pVal) {
    return giveLastResponse(pVal);
}

HRESULT CSmtp::Connect(TextArgument strHost, TextArgument strAccount, TextArgument strPassword) {
    return guarded([&] {
        Log(kLogFileAsIs, "Tessolt : [" TESSOLT_MODULE_TEXT " " TESSOLT_BUILD_TEXT "]");
        m_pEngine->m_strAccount.AssignWide(strAccount);
        m_pEngine->m_strPassword.AssignWide(strPassword);
        m_pEngine->m_strHost.AssignWide(strHost);
        m_nLastError = MapSmtpError(m_pEngine->Connect());
        m_reply = m_nLastError == 0 ? m_pEngine->LastReply() : m_pEngine->Refusal();
        dropForeignReply();
        Log(kLogFile, "Connect result=[%d]", m_nLastError);
        return S_OK;
    });
}

template <class Operation>
void CSmtp::withMessage(const VARIANT* value, Operation&& operation) {
    if (!value) {
        m_nLastError = kErrorInvalidArgument;
        return;
    }
    const auto message = value->vt == VT_DISPATCH ? CEMailMessage::from(value->pdispVal) : nullptr;
    m_nLastError = message ? operation(message->record()) : kErrorNoObject;
}

template <class Operation>
std::int32_t CSmtp::sending(Operation&& operation) {
    m_pEngine->ForgetTransfer();
    const std::int32_t sent = MapSmtpError(operation());
    const SmtpDelivery& delivery = m_pEngine->LastDelivery();
    m_recipients = delivery.recipients;
    m_reply = m_recipients.empty() ? m_pEngine->LastReply() : delivery.Decisive();
    return sent;
}

HRESULT CSmtp::Send(VARIANT* pVal) {
    return guarded([&] {
        m_nLastError = 0;
        m_pEngine->ForgetTrouble();
        m_reply = {};
        m_recipients.clear();
        withMessage(pVal, [&](CZnMail& mail) {
            const std::int32_t unfit = MapMailError(mail.CheckForSending());
            if (unfit != 0) {
                return unfit;
            }
            return sending([&] { return m_pEngine->Send(mail); });
        });
        LogResultText("Send");
        return S_OK;
    });
}

HRESULT CSmtp::SendBytes(const void* bytes, size_t size, TextArgument sender,
                         TextArgument recipients) {
    if (!bytes && size > 0) {
        return E_POINTER;
    }
    return guarded([&] {
        m_pEngine->ForgetTrouble();
        m_reply = {};
        m_recipients.clear();
        CZnMail mail("CZnMail");
        mail.m_rules = m_pEngine->m_rules;
        m_nLastError =
            MapMailError(mail.LoadFromBytes(std::string(static_cast<const char*>(bytes), size)));
        if (m_nLastError == 0) {
            const std::string from = borvik::wideToUtf8Paired(platform::bstrView(sender));
            const auto to = lines(borvik::wideToUtf8Paired(platform::bstrView(recipients)));
            m_nLastError = sending([&] { return m_pEngine->SendAsItStands(mail, from, to); });
        }
        LogResultText("Send");
        return S_OK;
    });
}

HRESULT CSmtp::Ask(TextArgument command) {
    return guarded([&] {
        const std::string line = borvik::wideToUtf8Paired(platform::bstrView(command));
        if (!m_pEngine->MayAsk(line)) {
            return E_INVALIDARG;
        }
        m_nLastError = MapSmtpError(m_pEngine->Ask(line));
        m_reply = m_nLastError == 0 ? m_pEngine->LastReply() : SmtpReply();
        return S_OK;
    });
}

HRESULT CSmtp::ListMessages(LONG* count) {
    return giving(count, [&] {
        m_nLastError = 0;
        return giveNumber(0, count);
    });
}

HRESULT CSmtp::Queue(VARIANT* newVal, TextArgument strHost, LONG lPort, LONG bSecure,
                     TextArgument strLogin, TextArgument strPassword) {
    return guarded([&] {
        m_nLastError = 0;
        m_pEngine->ForgetTrouble();
        const CZncString host(strHost);
        const CZncString login(strLogin);
        const CZncString password(strPassword);
        withMessage(newVal, [&](CZnMail& mail) {
            const std::optional<std::string> folder = queueFolder();
            if (!folder) {
                return MapSmtpError(kSmtpQueueSaveFailed);
            }
            const bool secure = bSecure != 0;
            return MapSmtpError(m_pEngine->Queue(mail, folder->c_str(), host.GetBuffer(),
                                                 queuePort(lPort, secure), secure,
                                                 login.GetBuffer(), password.GetBuffer()));
        });
        LogResultText("Queue");
        return S_OK;
    });
}

}  // namespace tessolt
