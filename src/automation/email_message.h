#pragma once

#include <tessolt/interfaces.h>
#include <tessolt/values.h>

#include <memory>

#include "automation/com_object.h"
#include "automation/dispatch_impl.h"
#include "foundation/base_object.h"
#include "message/znmail.h"

namespace tessolt {

/// The object behind `IEMailMessage`: one message record and the result of the last operation.
class CEMailMessage : public IDispatchImpl<IEMailMessage>,
                      public CZncBase,
                      public CComObjectRootEx<CComSingleThreadModel>,
                      public CComCoClass<CEMailMessage> {
public:
    CEMailMessage();

    /// The message behind a pointer that a caller gave, null when the object isn't one of this
    /// library.
    static ComPtr<CEMailMessage> from(IUnknown* object);

    CZnMail& record() { return *m_pMail; }
    /// Replaces the record.
    void takeRecord(std::unique_ptr<CZnMail> record) { m_pMail = std::move(record); }

    HRESULT InternalQueryInterface(REFIID iid, void** object);

    HRESULT get_LastError(LONG* pVal) override;
    HRESULT get_FromName(BSTR* pVal) override;
    HRESULT put_FromName(BSTR newVal) override;
    HRESULT get_FromAddress(BSTR* pVal) override;
    HRESULT put_FromAddress(BSTR newVal) override;
    HRESULT get_ReplyAddress(BSTR* pVal) override;
    HRESULT put_ReplyAddress(BSTR newVal) override;
    HRESULT get_ReadReceiptAddress(BSTR* pVal) override;
    HRESULT put_ReadReceiptAddress(BSTR newVal) override;
    HRESULT get_Organization(BSTR* pVal) override;
    HRESULT put_Organization(BSTR newVal) override;
    HRESULT get_Subject(BSTR* pVal) override;
    HRESULT put_Subject(BSTR newVal) override;
    HRESULT get_BodyPlainText(BSTR* pVal) override;
    HRESULT put_BodyPlainText(BSTR newVal) override;
    HRESULT get_BodyHtml(BSTR* pVal) override;
    HRESULT put_BodyHtml(BSTR newVal) override;
    HRESULT get_Encoding(LONG* pVal) override;
    HRESULT put_Encoding(LONG newVal) override;
    HRESULT get_Priority(LONG* pVal) override;
    HRESULT put_Priority(LONG newVal) override;
    HRESULT get_ID(LONG* pVal) override;
    HRESULT get_MessageSource(BSTR* pVal) override;
    HRESULT get_MessageHeader(BSTR* pVal) override;
    HRESULT get_Size(LONG* pVal) override;
    HRESULT get_Date(BSTR* pVal) override;
    HRESULT get_ToAddress(BSTR* pVal) override;
    HRESULT get_CcAddress(BSTR* pVal) override;
    HRESULT get_BccAddress(BSTR* pVal) override;
    HRESULT Clear() override;
    HRESULT GetErrorDescription(LONG lError, BSTR* bstrDescription) override;
    HRESULT AddTo(BSTR strEmailAddress, BSTR strDisplayName) override;
    HRESULT AddCc(BSTR strEmailAddress, BSTR strDisplayName) override;
    HRESULT AddBcc(BSTR strEmailAddress, BSTR strDisplayName) override;
    HRESULT CountAttachments(LONG* pVal) override;
    HRESULT GetAttachmentName(LONG lID, BSTR* strFilename) override;
    HRESULT GetAttachmentSize(LONG lID, LONG* pVal) override;
    HRESULT AddAttachment(BSTR FileName) override;
    HRESULT SaveAttachment(LONG lID, BSTR strSaveAsFile) override;
    HRESULT LoadMIME(BSTR strMimeFile) override;
    HRESULT SaveMIME(BSTR strMimeFile) override;
    HRESULT Encode() override;
    HRESULT Decode() override;
    HRESULT GetHeaderValue(BSTR strName, BSTR* strValue) override;
    HRESULT AddHeader(BSTR strName, BSTR strValue) override;

private:
    /// Runs an operation of the record and keeps the number that stands for its result.
    template <class Operation>
    HRESULT run(Operation&& operation);

    std::unique_ptr<CZnMail> m_pMail;
    LONG m_nLastError = 0;
};

}  // namespace tessolt
