/// The interfaces of the four objects. Their operations stand in virtual table order: those of
/// `IDispatch` first, then one for each property read, property write and method.
///
/// Every operation returns S_OK, also when what it was asked to do failed: that is told by
/// `LastError`, 0 for success, and `GetErrorDescription` has the text. Only a null result pointer
/// (E_POINTER) and the end of memory (E_OUTOFMEMORY) are told by the return value.
///
/// Texts are automation strings. A text that is read belongs to the caller, who frees it; one that
/// is given stays the caller's, and null counts as empty. Times are in milliseconds, -1 is no
/// limit. Messages and attachments are numbered from 1. A `VARIANT_BOOL` is -1 for true and 0 for
/// false.
#pragma once

#include <tessolt/automation_types.h>
#include <tessolt/email_constants.h>
#include <tessolt/guids.h>
#include <tessolt/text_argument.h>

namespace tessolt {

/// One e-mail message. Writing properties changes fields only; `Encode` builds the MIME text from
/// them, and everything that shows MIME text shows that of the last `Encode` or load.
struct IEMailMessage : IDispatch {
    /// Its identifier.
    static constexpr const IID& kIid = IID_IEMailMessage;

    /// The result of the last operation that sets it.
    virtual HRESULT get_LastError(LONG* pVal) = 0;
    /// The sender: a name for people, and the address.
    virtual HRESULT get_FromName(BSTR* pVal) = 0;
    virtual HRESULT put_FromName(TextArgument newVal) = 0;
    /// The address of the sender.
    virtual HRESULT get_FromAddress(BSTR* pVal) = 0;
    virtual HRESULT put_FromAddress(TextArgument newVal) = 0;
    /// Where answers go, if not to the sender.
    virtual HRESULT get_ReplyAddress(BSTR* pVal) = 0;
    virtual HRESULT put_ReplyAddress(TextArgument newVal) = 0;
    /// Where a note goes when the message is read; empty for none.
    virtual HRESULT get_ReadReceiptAddress(BSTR* pVal) = 0;
    virtual HRESULT put_ReadReceiptAddress(TextArgument newVal) = 0;
    /// The header field "Organization".
    virtual HRESULT get_Organization(BSTR* pVal) = 0;
    virtual HRESULT put_Organization(TextArgument newVal) = 0;
    /// The header field "Subject", decoded.
    virtual HRESULT get_Subject(BSTR* pVal) = 0;
    virtual HRESULT put_Subject(TextArgument newVal) = 0;
    /// The letter as plain text.
    virtual HRESULT get_BodyPlainText(BSTR* pVal) = 0;
    virtual HRESULT put_BodyPlainText(TextArgument newVal) = 0;
    /// The letter as HTML.
    virtual HRESULT get_BodyHtml(BSTR* pVal) = 0;
    virtual HRESULT put_BodyHtml(TextArgument newVal) = 0;
    /// The code page to encode with: an EMAIL_MESSAGE_ENCODING value, 0 for the default.
    virtual HRESULT get_Encoding(LONG* pVal) = 0;
    virtual HRESULT put_Encoding(LONG newVal) = 0;
    /// An EMAIL_MESSAGE_PRIORITY value; any other acts as EMAIL_MESSAGE_PRIORITY_MEDIUM.
    virtual HRESULT get_Priority(LONG* pVal) = 0;
    virtual HRESULT put_Priority(LONG newVal) = 0;
    /// The number on the POP3 server that it was fetched under, 0 for any other message.
    virtual HRESULT get_ID(LONG* pVal) = 0;
    /// The whole MIME text, and its header alone.
    virtual HRESULT get_MessageSource(BSTR* pVal) = 0;
    /// The header of the MIME text.
    virtual HRESULT get_MessageHeader(BSTR* pVal) = 0;
    /// The length of the MIME text in bytes.
    virtual HRESULT get_Size(LONG* pVal) = 0;
    /// The header field "Date" (RFC 5322).
    virtual HRESULT get_Date(BSTR* pVal) = 0;
    /// The recipients' addresses joined by ";", without their names.
    virtual HRESULT get_ToAddress(BSTR* pVal) = 0;
    /// The same of those in Cc.
    virtual HRESULT get_CcAddress(BSTR* pVal) = 0;
    /// The same of those in Bcc.
    virtual HRESULT get_BccAddress(BSTR* pVal) = 0;
    /// Puts everything back as in a new object.
    virtual HRESULT Clear() = 0;
    /// The text of an error number; "Generic Error" for one without a text.
    virtual HRESULT GetErrorDescription(LONG lError, BSTR* bstrDescription) = 0;
    /// Adds recipients: one, or several with "," ";" or "|" between them, which then get no name.
    /// One that isn't valid keeps all of them out.
    virtual HRESULT AddTo(TextArgument strEmailAddress, TextArgument strDisplayName = {}) = 0;
    /// The same for Cc.
    virtual HRESULT AddCc(TextArgument strEmailAddress, TextArgument strDisplayName = {}) = 0;
    /// The same for Bcc.
    virtual HRESULT AddBcc(TextArgument strEmailAddress, TextArgument strDisplayName = {}) = 0;
    /// The number of attachments.
    virtual HRESULT CountAttachments(LONG* pVal) = 0;
    /// The name as the message has it. It may hold anything, path separators too: check it before
    /// using it in a path.
    virtual HRESULT GetAttachmentName(LONG lID, BSTR* strFilename) = 0;
    /// Bytes of its MIME text, so more than the file will have.
    virtual HRESULT GetAttachmentSize(LONG lID, LONG* pVal) = 0;
    /// Attaches a file, or several with "|" between them. Sets `LastError`.
    virtual HRESULT AddAttachment(TextArgument FileName) = 0;
    /// Saves the bytes of an attachment as a file. Sets `LastError`.
    virtual HRESULT SaveAttachment(LONG lID, TextArgument strSaveAsFile) = 0;
    /// Replaces the message by the one in a file. Sets `LastError`.
    virtual HRESULT LoadMIME(TextArgument strMimeFile) = 0;
    /// Saves the MIME text as it stands; `Encode` comes first. Wants a recipient in To.
    virtual HRESULT SaveMIME(TextArgument strMimeFile) = 0;
    /// Builds the MIME text anew from the fields.
    virtual HRESULT Encode() = 0;
    /// The same as `Encode`: it rebuilds the MIME text from the fields. Loading a message fills the
    /// fields by itself.
    virtual HRESULT Decode() = 0;
    /// The text of the first header field of that name; empty without one.
    virtual HRESULT GetHeaderValue(TextArgument strName, BSTR* strValue) = 0;
    /// Sets a header field of one's own for the next `Encode`.
    virtual HRESULT AddHeader(TextArgument strName, TextArgument strValue) = 0;

protected:
    ~IEMailMessage() = default;
};

/// One connection to an SMTP server (RFC 5321).
struct ISmtp : IDispatch {
    /// Its identifier.
    static constexpr const IID& kIid = IID_ISmtp;

    /// The result of the last operation that sets it.
    virtual HRESULT get_LastError(LONG* pVal) = 0;
    /// The version of the library.
    virtual HRESULT get_Version(BSTR* pVal) = 0;
    /// The number of its build.
    virtual HRESULT get_Build(BSTR* pVal) = 0;
    /// The path of its file.
    virtual HRESULT get_Module(BSTR* pVal) = 0;
    /// A file that grows by a line for each step; empty for none.
    virtual HRESULT get_LogFile(BSTR* pVal) = 0;
    virtual HRESULT put_LogFile(TextArgument newVal) = 0;
    /// A file with the last 100 steps, started anew by writing this.
    virtual HRESULT get_ActivityFile(BSTR* pVal) = 0;
    virtual HRESULT put_ActivityFile(TextArgument newVal) = 0;
    /// How long the connection may take, each TLS handshake again. 20,000 at first.
    virtual HRESULT get_TimeoutConnect(LONG* pVal) = 0;
    virtual HRESULT put_TimeoutConnect(LONG newVal) = 0;
    /// How long each reply to a login may take. 20,000 at first.
    virtual HRESULT get_TimeoutAuthentication(LONG* pVal) = 0;
    virtual HRESULT put_TimeoutAuthentication(LONG newVal) = 0;
    /// How long each other reply may take. 5,000 at first.
    virtual HRESULT get_TimeoutCommand(LONG* pVal) = 0;
    virtual HRESULT put_TimeoutCommand(LONG newVal) = 0;
    /// How long a message may stand still on its way. 120,000 at first.
    virtual HRESULT get_TimeoutData(LONG* pVal) = 0;
    virtual HRESULT put_TimeoutData(LONG newVal) = 0;
    /// The port to connect to.
    virtual HRESULT get_HostPort(LONG* pVal) = 0;
    virtual HRESULT put_HostPort(LONG newVal) = 0;
    /// An SMTP_AUTH value.
    virtual HRESULT get_Authentication(LONG* pVal) = 0;
    virtual HRESULT put_Authentication(LONG newVal) = 0;
    /// Whether to go over to TLS when the server offers STARTTLS (RFC 3207). True at first.
    virtual HRESULT get_UseStartTls(VARIANT_BOOL* pVal) = 0;
    virtual HRESULT put_UseStartTls(VARIANT_BOOL newVal) = 0;
    /// The server's last reply, each line followed by a blank.
    virtual HRESULT get_LastSmtpResponse(BSTR* pVal) = 0;
    /// Drops the connection and puts everything back as in a new object.
    virtual HRESULT Clear() = 0;
    /// The text of an error number; "Generic Error" for one without a text.
    virtual HRESULT GetErrorDescription(LONG lErrorCode, BSTR* strDescription) = 0;
    /// Waits on the calling thread, for ever with -1.
    virtual HRESULT Sleep(LONG lMilliseconds) = 0;
    /// Makes the next connection TLS from its start. The usual port is 465.
    virtual HRESULT SetSecure(LONG lPort = 465) = 0;
    /// Connects, and logs in where an account is given.
    virtual HRESULT Connect(TextArgument strHost, TextArgument strAccount = {},
                            TextArgument strPassword = {}) = 0;
    /// Ends the session.
    virtual HRESULT Disconnect() = 0;
    /// Encodes and sends the message whose `IDispatch` stands in `pVal`.
    virtual HRESULT Send(VARIANT* pVal) = 0;
    /// Encodes the message and leaves it in the queue folder with what a service needs for sending
    /// it. `lPort` 0 is the usual port, `bSecure` is 0 or 1.
    virtual HRESULT Queue(VARIANT* newVal, TextArgument strHost, LONG lPort = 0, LONG bSecure = 0,
                          TextArgument strLogin = {}, TextArgument strPassword = {}) = 0;

protected:
    ~ISmtp() = default;
};

/// One connection to a POP3 mailbox (RFC 1939).
struct IPop3 : IDispatch {
    /// Its identifier.
    static constexpr const IID& kIid = IID_IPop3;

    /// The result of the last operation that sets it.
    virtual HRESULT get_LastError(LONG* pVal) = 0;
    /// The version of the library.
    virtual HRESULT get_Version(BSTR* pVal) = 0;
    /// The number of its build.
    virtual HRESULT get_Build(BSTR* pVal) = 0;
    /// The path of its file.
    virtual HRESULT get_Module(BSTR* pVal) = 0;
    /// A file that grows by a line for each step; empty for none.
    virtual HRESULT get_LogFile(BSTR* pVal) = 0;
    virtual HRESULT put_LogFile(TextArgument newVal) = 0;
    /// A file with the last 100 steps, started anew by writing this.
    virtual HRESULT get_ActivityFile(BSTR* pVal) = 0;
    virtual HRESULT put_ActivityFile(TextArgument newVal) = 0;
    /// How long the connection may take, each TLS handshake again. 20,000 at first.
    virtual HRESULT get_TimeoutConnect(LONG* pVal) = 0;
    virtual HRESULT put_TimeoutConnect(LONG newVal) = 0;
    /// How long each reply to a login may take. 20,000 at first.
    virtual HRESULT get_TimeoutAuthentication(LONG* pVal) = 0;
    virtual HRESULT put_TimeoutAuthentication(LONG newVal) = 0;
    /// How long each other reply may take. 5,000 at first.
    virtual HRESULT get_TimeoutCommand(LONG* pVal) = 0;
    virtual HRESULT put_TimeoutCommand(LONG newVal) = 0;
    /// How long a message may stand still on its way. 120,000 at first.
    virtual HRESULT get_TimeoutData(LONG* pVal) = 0;
    virtual HRESULT put_TimeoutData(LONG newVal) = 0;
    /// The port to connect to.
    virtual HRESULT get_HostPort(LONG* pVal) = 0;
    virtual HRESULT put_HostPort(LONG newVal) = 0;
    /// A POP3_AUTH value.
    virtual HRESULT get_Authentication(LONG* pVal) = 0;
    virtual HRESULT put_Authentication(LONG newVal) = 0;
    /// The server's last status line.
    virtual HRESULT get_LastPop3Response(BSTR* pVal) = 0;
    /// Drops the connection and puts everything back as in a new object.
    virtual HRESULT Clear() = 0;
    /// The text of an error number; "Generic Error" for one without a text.
    virtual HRESULT GetErrorDescription(LONG lErrorCode, BSTR* strDescription) = 0;
    /// Waits on the calling thread, for ever with -1.
    virtual HRESULT Sleep(LONG lMilliseconds) = 0;
    /// Makes the next connection TLS from its start. The usual port is 995.
    virtual HRESULT SetSecure(LONG lPort = 995) = 0;
    /// Connects and logs in. Sets `LastError`.
    virtual HRESULT Connect(TextArgument strHost, TextArgument strAccount,
                            TextArgument strPassword) = 0;
    /// Ends the session; only this makes the server delete what was marked.
    virtual HRESULT Disconnect() = 0;
    /// Whether there is a session.
    virtual HRESULT IsConnected(VARIANT_BOOL* pVal) = 0;
    /// The number of messages at the login.
    virtual HRESULT CountMessages(LONG* pVal) = 0;
    /// The header of a message, as an `IEMailMessage` behind the `IDispatch` in the result. On
    /// failure the result is a null VT_UNKNOWN.
    virtual HRESULT GetEmailHeader(LONG ID, VARIANT* pVal) = 0;
    /// The same with the whole message.
    virtual HRESULT GetEmailMessage(LONG lID, VARIANT* pVal) = 0;
    /// Marks a message for deletion at the end of the session.
    virtual HRESULT DeleteMessage(LONG lMessageID) = 0;

protected:
    ~IPop3() = default;
};

/// The named values, one property each, for scripts.
struct IEMailConstants : IDispatch {
    /// Its identifier.
    static constexpr const IID& kIid = IID_IEMailConstants;

/// One value.
#define TESSOLT_CONSTANT(name, dispid, value) virtual HRESULT get_##name(LONG* pVal) = 0;
    TESSOLT_EMAIL_CONSTANTS(TESSOLT_CONSTANT)
#undef TESSOLT_CONSTANT

protected:
    ~IEMailConstants() = default;
};

}  // namespace tessolt
