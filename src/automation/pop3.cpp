#include "automation/pop3.h"

#include <cstdint>
#include <string>
#include <utility>

#include "automation/email_message.h"
#include "charset/ansi_text.h"

namespace tessolt {

HRESULT CPop3::get_LastPop3Response(BSTR* pVal) {
    return giveLastResponse(pVal);
}

HRESULT CPop3::Connect(TextArgument strHost, TextArgument strAccount, TextArgument strPassword) {
    return guarded([&] {
        // Smtp writes a blank before the colon.
        Log(kLogFileAsIs, "Tessolt: [" TESSOLT_MODULE_TEXT " " TESSOLT_BUILD_TEXT "]");
        m_pEngine->m_strAccount.AssignWide(strAccount);
        m_pEngine->m_strPassword.AssignWide(strPassword);
        m_pEngine->m_strServer.AssignWide(strHost);
        m_nLastError = MapPop3Error(m_pEngine->Connect());
        keepReply(m_nLastError == 0 ? m_pEngine->m_strLastResponse : m_pEngine->m_strRefusal);
        LogResultText("Connect");
        return S_OK;
    });
}

HRESULT CPop3::IsConnected(VARIANT_BOOL* pVal) {
    return giving(pVal, [&] {
        m_nLastError = 0;
        return giveBool(m_pEngine->IsConnected() > 0, pVal);
    });
}

HRESULT CPop3::CountMessages(LONG* pVal) {
    return giving(pVal, [&] {
        std::int32_t count = 0;
        m_nLastError = MapPop3Error(m_pEngine->GetMessageCount(count));
        return giveNumber(count, pVal);
    });
}

HRESULT CPop3::GetEmailHeader(LONG ID, VARIANT* pVal) {
    return fetch(ID, false, pVal);
}

HRESULT CPop3::GetEmailMessage(LONG lID, VARIANT* pVal) {
    return fetch(lID, true, pVal);
}

HRESULT CPop3::DeleteMessage(LONG lMessageID) {
    return guarded([&] {
        m_nLastError = MapPop3Error(m_pEngine->DeleteMessage(lMessageID));
        keepReply(m_pEngine->m_strLastResponse);
        return S_OK;
    });
}

HRESULT CPop3::ListMessages(LONG* count) {
    return giving(count, [&] {
        m_nLastError = MapPop3Error(m_pEngine->List(m_listed));
        keepReply(m_pEngine->m_strLastResponse);
        return giveNumber(static_cast<LONG>(m_listed.size()), count);
    });
}

HRESULT CPop3::SendBytes(const void*, size_t, TextArgument, TextArgument) {
    m_nLastError = kErrorInvalidArgument;
    return S_OK;
}

HRESULT CPop3::Ask(TextArgument command) {
    return guarded([&] {
        const std::string line = borvik::wideToUtf8Paired(platform::bstrView(command));
        if (!m_pEngine->MayAsk(line)) {
            return E_INVALIDARG;
        }
        m_nLastError = MapPop3Error(m_pEngine->Ask(line));
        m_reply = {};
        if (m_nLastError == 0) {
            keepReply(m_pEngine->m_strLastResponse);
        }
        return S_OK;
    });
}

void CPop3::keepReply(const CZncString& line) {
    m_reply = {};
    m_reply.text = line.View();
    const std::size_t open = m_reply.text.find(" [");
    const std::size_t close = m_reply.text.find(']');
    if (open != std::string::npos && open == m_reply.text.find(' ') && close != std::string::npos) {
        m_reply.enhanced = m_reply.text.substr(open + 2, close - open - 2);
    }
    dropForeignReply();
}

HRESULT CPop3::fetch(LONG id, bool full, VARIANT* pVal) {
    m_nLastError = 0;
    if (!pVal) {
        m_nLastError = kErrorNoObject;
        return E_POINTER;
    }
    VariantInit(pVal);
    pVal->vt = VT_UNKNOWN;
    return guarded([&] {
        auto mail = std::make_unique<CZnMail>("CZnMail");
        mail->m_rules = m_pEngine->m_rules;
        m_pEngine->ForgetTransfer();
        const std::int32_t result = m_pEngine->Retrieve(id, full, *mail);
        keepReply(m_pEngine->m_strLastResponse);
        m_nLastError = MapPop3Error(result);
        if (result == 0) {
            ComPtr message(new CComObject<CEMailMessage>(std::move(mail)));
            pVal->vt = VT_DISPATCH;
            pVal->pdispVal = message.detach();
        }
        return S_OK;
    });
}

}  // namespace tessolt
