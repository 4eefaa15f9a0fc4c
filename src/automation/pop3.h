#pragma once

#include <tessolt/interfaces.h>

#include "automation/session_object.h"
#include "mail/pop3.h"

namespace tessolt {

/// The object behind `IPop3`.
class CPop3 : public SessionObject<IPop3, CZnPop3, kErrorAlreadyConnected>,
              public CComCoClass<CPop3> {
public:
    CPop3() : SessionObject("Pop3") {}

    HRESULT get_LastPop3Response(BSTR* pVal) override;
    HRESULT Connect(TextArgument strHost, TextArgument strAccount,
                    TextArgument strPassword) override;
    HRESULT IsConnected(VARIANT_BOOL* pVal) override;
    HRESULT CountMessages(LONG* pVal) override;
    HRESULT GetEmailHeader(LONG ID, VARIANT* pVal) override;
    HRESULT GetEmailMessage(LONG lID, VARIANT* pVal) override;
    HRESULT DeleteMessage(LONG lMessageID) override;
    HRESULT ListMessages(LONG* count) override;
    HRESULT SendBytes(const void* bytes, size_t size, TextArgument sender,
                      TextArgument recipients) override;
    HRESULT Ask(TextArgument command) override;

private:
    /// Keeps what the server said last for `GetLastReply`.
    void keepReply(const CZncString& line);
    HRESULT fetch(LONG id, bool full, VARIANT* pVal);
};

}  // namespace tessolt
