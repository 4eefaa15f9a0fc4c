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
    HRESULT Connect(TextArgument strHost, TextArgument strAccount,
                    TextArgument strPassword) override;
    HRESULT Send(VARIANT* pVal) override;
    HRESULT ListMessages(LONG* count) override;
    HRESULT SendBytes(const void* bytes, size_t size, TextArgument sender,
                      TextArgument recipients) override;
    HRESULT Ask(TextArgument command) override;
    HRESULT Queue(VARIANT* newVal, TextArgument strHost, LONG lPort, LONG bSecure,
                  TextArgument strLogin, TextArgument strPassword) override;

private:
    /// Runs an operation of the engine that sends a message, and keeps what the server said.
    template <class Operation>
    std::int32_t sending(Operation&& operation);
    /// Runs `operation` on the message that the caller gave; without one, the last error tells why.
    template <class Operation>
    void withMessage(const VARIANT* value, Operation&& operation);
};

}  // namespace tessolt
