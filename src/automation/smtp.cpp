#include "automation/smtp.h"

#include "automation/email_message.h"
#include "foundation/system_utilities.h"

namespace tessolt {
namespace {

constexpr const char* kQueueKey = "Software\\Merivane\\Tessolt\\";
constexpr const char* kQueueValue = "Queue";
constexpr std::size_t kQueueFolderSize = 260;
constexpr LONG kPlainPort = 25;
constexpr LONG kSecurePort = 465;

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

HRESULT CSmtp::Connect(BSTR strHost, BSTR strAccount, BSTR strPassword) {
    return guarded([&] {
        Log(kLogFileAsIs, "Tessolt : [" TESSOLT_MODULE_TEXT " " TESSOLT_BUILD_TEXT "]");
        m_pEngine->m_strAccount.AssignWide(strAccount);
        m_pEngine->m_strPassword.AssignWide(strPassword);
        m_pEngine->m_strHost.AssignWide(strHost);
        m_nLastError = MapSmtpError(m_pEngine->Connect());
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

HRESULT CSmtp::Send(VARIANT* pVal) {
    return guarded([&] {
        m_nLastError = 0;
        withMessage(pVal, [&](CZnMail& mail) {
            const std::int32_t unfit = MapMailError(mail.CheckForSending());
            return unfit != 0 ? unfit : MapSmtpError(m_pEngine->Send(mail));
        });
        LogResultText("Send");
        return S_OK;
    });
}

HRESULT CSmtp::Queue(VARIANT* newVal, BSTR strHost, LONG lPort, LONG bSecure, BSTR strLogin,
                     BSTR strPassword) {
    return guarded([&] {
        m_nLastError = 0;
        const CZncString host(strHost);
        const CZncString login(strLogin);
        const CZncString password(strPassword);
        withMessage(newVal, [&](CZnMail& mail) {
            char folder[kQueueFolderSize];
            RegReadString(kRootLocalMachine, kQueueKey, kQueueValue, "", folder, sizeof folder,
                          false);
            const bool secure = bSecure != 0;
            return MapSmtpError(m_pEngine->Queue(mail, folder, host.GetBuffer(),
                                                 queuePort(lPort, secure), secure,
                                                 login.GetBuffer(), password.GetBuffer()));
        });
        LogResultText("Queue");
        return S_OK;
    });
}

}  // namespace tessolt
