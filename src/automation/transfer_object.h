#pragma once

#include <tessolt/transfer.h>

#include <optional>
#include <string_view>
#include <vector>

#include "mail/mail_session.h"
#include "mail/pop3.h"
#include "mail/smtp_reply.h"

namespace tessolt {

/// What `Smtp` and `Pop3` share of `ITransfer`. They leave here what their operations had to tell.
class TransferObject : public ITransfer {
public:
    HRESULT UseRules(LONG rules) override;
    HRESULT RequireTls(VARIANT_BOOL required) override;
    HRESULT SetObserver(TransferObserver observer, void* context) override;
    HRESULT WasCancelled(VARIANT_BOOL* cancelled) override;
    HRESULT IsOpen(VARIANT_BOOL* open) override;
    HRESULT GetLastReply(LONG* code, BSTR* enhancedCode, BSTR* text) override;
    HRESULT GetTls(BSTR* version, BSTR* cipher, BSTR* peerNames) override;
    HRESULT GetCapabilities(BSTR* lines) override;
    HRESULT GetMechanism(BSTR* name) override;
    HRESULT CountRecipients(LONG* count) override;
    HRESULT GetRecipient(LONG number, BSTR* address, LONG* code, BSTR* enhancedCode,
                         BSTR* text) override;
    HRESULT GetListed(LONG index, LONG* number, uint64_t* size, BSTR* uniqueId) override;
    HRESULT GetFailure(LONG* cause, BSTR* text, BSTR* advice) override;
    HRESULT GetCertificate(BSTR* issuer, BSTR* lastDay) override;
    HRESULT GetWelcome(BSTR* text) override;

protected:
    virtual ~TransferObject() = default;
    /// The engine as it is now.
    virtual CZnMailSession& session() = 0;
    void forgetTransfers();
    /// Keeps a server's reply only where it has to do with how the operation went.
    void dropForeignReply();

    std::optional<MailRules> m_chosenRules;
    SmtpReply m_reply;
    std::vector<SmtpRecipientReply> m_recipients;
    std::vector<Pop3Entry> m_listed;
};

}  // namespace tessolt
