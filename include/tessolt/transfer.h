/// What `Smtp` and `Pop3` give beside their automation interfaces: progress, the reply that
/// decided, what was agreed on, and lists. `ISmtp::QueryInterface` and `IPop3::QueryInterface` lead
/// to it; scripts don't see it.
#pragma once

#include <tessolt/advice.h>
#include <tessolt/automation_types.h>
#include <tessolt/guids.h>
#include <tessolt/message_data.h>

namespace tessolt {

/// Is told of the bytes of a message that went over and of those in all, 0 when the server didn't
/// tell; at most every 50 ms, and once more at the end. 0 goes on, any other value cancels. It may
/// not throw, nor call the object that calls it.
using TransferObserver = int32_t (*)(void* context, uint64_t done, uint64_t all);

/// Results are those of the automation interfaces. Everything that is told stays told after the
/// connection has ended, up to the next operation of its kind. Texts belong to the caller.
struct ITransfer : IUnknown {
    /// Its identifier.
    static constexpr const IID& kIid = IID_ITransfer;

    /// The rules that the object works by, in place of those of the settings, up to the next
    /// `Clear`; to be called before `Connect`. Messages that it fetches have them too. E_INVALIDARG
    /// for an unknown number.
    virtual HRESULT UseRules(LONG rules) = 0;
    /// With VARIANT_TRUE no login and no mail goes out without TLS, also where the rules would let
    /// it. `Connect` fails then.
    virtual HRESULT RequireTls(VARIANT_BOOL required) = 0;

    /// Who is told while a message is sent or fetched; null for nobody. Kept up to `Clear`.
    ///
    /// A cancelled transfer closes the connection, since the rest of the message would follow:
    /// nothing is delivered then, and what was marked for deletion stays. `LastError` is -1,
    /// `WasCancelled` tells, and `Connect` opens the object again. Once all bytes of a message are
    /// out, only the server decides, and it is too late.
    virtual HRESULT SetObserver(TransferObserver observer, void* context) = 0;
    /// Whether the observer has cancelled the last transfer.
    virtual HRESULT WasCancelled(VARIANT_BOOL* cancelled) = 0;
    /// Whether there is a session.
    virtual HRESULT IsOpen(VARIANT_BOOL* open) = 0;

    /// The reply that decided the last `Connect`, `Send`, fetch or deletion, not the one to QUIT:
    /// its code, 0 when there was none; its enhanced code (RFC 3463) or, for POP3, its response
    /// code (RFC 2449), empty without one; and its words. For POP3 the code is 0, and the words
    /// begin with "+OK" or "-ERR".
    virtual HRESULT GetLastReply(LONG* code, BSTR* enhancedCode, BSTR* text) = 0;
    /// What TLS agreed on: version, cipher, and the names in the server's certificate with commas
    /// between them. All empty on a connection without TLS.
    virtual HRESULT GetTls(BSTR* version, BSTR* cipher, BSTR* peerNames) = 0;
    /// What the server last said that it can do, a line each, LF between them.
    virtual HRESULT GetCapabilities(BSTR* lines) = 0;
    /// The mechanism of the login by current rules; empty without one.
    virtual HRESULT GetMechanism(BSTR* name) = 0;

    /// The recipients of the last `Send` by current rules; 0 for `Pop3`.
    virtual HRESULT CountRecipients(LONG* count) = 0;
    /// What the server said to recipient `number`, from 1: a code of 200 to 299 when it took it, 0
    /// when it wasn't asked. E_INVALIDARG beyond the last.
    virtual HRESULT GetRecipient(LONG number, BSTR* address, LONG* code, BSTR* enhancedCode,
                                 BSTR* text) = 0;

    /// Asks the server for the messages of the mailbox that aren't marked for deletion (LIST,
    /// UIDL). Sets `LastError`. A mailbox of `Smtp` is always empty.
    virtual HRESULT ListMessages(LONG* count) = 0;
    /// Entry `index`, from 1, of the last list: the message's number, its size in bytes, and the id
    /// that it keeps in every session, empty where the server has none. E_INVALIDARG beyond the
    /// last.
    virtual HRESULT GetListed(LONG index, LONG* number, uint64_t* size, BSTR* uniqueId) = 0;

    /// Why the last operation failed: a TESSOLT_CAUSE, what happened, and what a user can do about
    /// it, whole sentences. TESSOLT_CAUSE_NONE and no text where nothing is known beyond
    /// `LastError`, for whose number there may be advice too (`TessoltAllocAdvice`).
    virtual HRESULT GetFailure(LONG* cause, BSTR* text, BSTR* advice) = 0;
    /// Who signed the server's certificate, and when it expires. Empty on a connection without TLS.
    virtual HRESULT GetCertificate(BSTR* issuer, BSTR* lastDay) = 0;

    /// Sends MIME text as it stands by an envelope of its own, whatever its header says: the
    /// sender, empty for a message that nobody wants back, and the recipients, a line each. Only
    /// lines that can't travel are coded anew. Sets `LastError`, and tells of recipients, as `Send`
    /// does. `Pop3` sends nothing: 36002.
    virtual HRESULT SendBytes(const void* bytes, size_t size, TextArgument sender,
                              TextArgument recipients) = 0;

    /// Asks the server a question that changes nothing of mail or mailbox, and waits for the reply,
    /// which `GetLastReply` tells: NOOP, and for `Smtp` also HELP, VRFY and EXPN with what stands
    /// behind them. Sets `LastError`, to 0 whatever the reply. E_INVALIDARG for another command.
    virtual HRESULT Ask(TextArgument command) = 0;
    /// The words by which the server welcomed the last connection; for POP3 they begin with "+OK".
    virtual HRESULT GetWelcome(BSTR* text) = 0;

protected:
    ~ITransfer() = default;
};

}  // namespace tessolt
