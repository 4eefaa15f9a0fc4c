#pragma once

#include <tessolt/interfaces.h>

#include "automation/session_object.h"
#include "mail/smtp.h"

namespace tessolt {

/// The object behind `ISmtp`.
class CSmtp : public SessionObject<ISmtp, CZnSmtp, kErrorSecureWhileConnected>,
              public CComCoClass<CSmtp> {
public:
    CSmtp() : SessionObject("CSmtp") {}

    HRESULT get_UseStartTls(VARIANT_BOOL* pVal) override;
    HRESULT put_UseStartTls(VARIANT_BOOL newVal) override;
    HRESULT get_LastSmtpResponse(BSTR* pVal) override;
    HRESULT Connect(BSTR strHost, BSTR strAccount, BSTR strPassword) override;
    HRESULT Send(VARIANT* pVal) override;
    HRESULT Queue(VARIANT* newVal, BSTR strHost, LONG lPort, LONG bSecure, BSTR strLogin,
                  BSTR strPassword) override;

private:
    /// Runs `operation` on the message that the caller gave; without one, the last error tells why.
    template <class Operation>
    void withMessage(const VARIANT* value, Operation&& operation);
};

}  // namespace tessolt
