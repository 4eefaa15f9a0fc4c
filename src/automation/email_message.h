#pragma once

#include <tessolt/interfaces.h>
#include <tessolt/message_data.h>
#include <tessolt/values.h>

#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "automation/com_object.h"
#include "automation/dispatch_impl.h"
#include "automation/last_error.h"
#include "foundation/base_object.h"
#include "message/znmail.h"

namespace tessolt {

/// The object behind `IEMailMessage`: one message record and the result of the last operation.
class CEMailMessage : public IDispatchImpl<IEMailMessage>,
                      public IMessageData,
                      public CZncBase,
                      private LastErrorHolder,
                      public CComObjectRootEx<CComSingleThreadModel>,
                      public CComCoClass<CEMailMessage> {
public:
    // One of each for both of the interfaces.
    HRESULT QueryInterface(REFIID iid, void** object) override = 0;
    ULONG AddRef() override = 0;
    ULONG Release() override = 0;

    CEMailMessage();
    /// Stands for that record.
    explicit CEMailMessage(std::unique_ptr<CZnMail> record);

    /// The message behind a pointer that a caller gave, null when the object isn't one of this
    /// library.
    static ComPtr<CEMailMessage> from(IDispatch* object);

    CZnMail& record() { return *m_pMail; }

    HRESULT InternalQueryInterface(REFIID iid, void** object);

    HRESULT get_LastError(LONG* pVal) override;
    HRESULT get_FromName(BSTR* pVal) override;
    HRESULT put_FromName(TextArgument newVal) override;
    HRESULT get_FromAddress(BSTR* pVal) override;
    HRESULT put_FromAddress(TextArgument newVal) override;
    HRESULT get_ReplyAddress(BSTR* pVal) override;
    HRESULT put_ReplyAddress(TextArgument newVal) override;
    HRESULT get_ReadReceiptAddress(BSTR* pVal) override;
    HRESULT put_ReadReceiptAddress(TextArgument newVal) override;
    HRESULT get_Organization(BSTR* pVal) override;
    HRESULT put_Organization(TextArgument newVal) override;
    HRESULT get_Subject(BSTR* pVal) override;
    HRESULT put_Subject(TextArgument newVal) override;
    HRESULT get_BodyPlainText(BSTR* pVal) override;
    HRESULT put_BodyPlainText(TextArgument newVal) override;
    HRESULT get_BodyHtml(BSTR* pVal) override;
    HRESULT put_BodyHtml(TextArgument newVal) override;
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
    HRESULT AddTo(TextArgument strEmailAddress, TextArgument strDisplayName) override;
    HRESULT AddCc(TextArgument strEmailAddress, TextArgument strDisplayName) override;
    HRESULT AddBcc(TextArgument strEmailAddress, TextArgument strDisplayName) override;
    HRESULT CountAttachments(LONG* pVal) override;
    HRESULT GetAttachmentName(LONG lID, BSTR* strFilename) override;
    HRESULT GetAttachmentSize(LONG lID, LONG* pVal) override;
    HRESULT AddAttachment(TextArgument FileName) override;
    HRESULT SaveAttachment(LONG lID, TextArgument strSaveAsFile) override;
    HRESULT LoadMIME(TextArgument strMimeFile) override;
    HRESULT SaveMIME(TextArgument strMimeFile) override;
    HRESULT Encode() override;
    HRESULT Decode() override;
    HRESULT GetHeaderValue(TextArgument strName, BSTR* strValue) override;
    HRESULT AddHeader(TextArgument strName, TextArgument strValue) override;

    HRESULT UseRules(LONG rules) override;
    HRESULT GetLoadedBytes(ByteView* bytes) override;
    HRESULT GetMimeBytes(ByteView* bytes) override;
    HRESULT LoadBytes(const void* bytes, size_t size) override;
    HRESULT AddAttachmentBytes(const void* bytes, size_t size, TextArgument name,
                               TextArgument contentType) override;
    HRESULT SetInline(LONG number, TextArgument contentId) override;
    HRESULT GetAttachmentBytes(LONG number, ByteView* bytes) override;
    HRESULT GetAttachmentType(LONG number, BSTR* contentType, BSTR* contentId,
                              BSTR* disposition) override;
    HRESULT CountFields(LONG* count) override;
    HRESULT GetField(LONG number, BSTR* name, BSTR* value, ByteView* rawValue) override;
    HRESULT SetField(TextArgument name, TextArgument value) override;
    HRESULT SetDate(int64_t unixSeconds, LONG minutesAhead) override;
    HRESULT CountParts(LONG* count) override;
    HRESULT GetPart(LONG number, LONG* depth, BSTR* contentType, BSTR* name,
                    uint64_t* size) override;
    HRESULT Copy(IEMailMessage** copy) override;

private:
    /// Runs an operation of the record and keeps the number that stands for its result.
    template <class Operation>
    HRESULT run(Operation&& operation) {
        return guarded([&] {
            m_nLastError = MapMailError(operation());
            return S_OK;
        });
    }
    /// The same for one that gives no result where its arguments aren't fit for it.
    template <class Operation>
    HRESULT runChecked(Operation&& operation) {
        return guarded([&] {
            const std::optional<std::int32_t> result = operation();
            m_nLastError = result ? MapMailError(*result) : LONG{kErrorInvalidArgument};
            return S_OK;
        });
    }
    HRESULT store(BSTR text, CZncStringW& field);
    HRESULT giveBody(const CZncStringW& body, BSTR* place);
    HRESULT giveAddresses(const RecipientList& list, BSTR* place);

    std::unique_ptr<CZnMail> m_pMail;
    // What the views that were given point to.
    std::optional<borvik::BvByteData> m_mimeBytes;
    std::optional<borvik::BvByteData> m_attachmentBytes;
    std::vector<MailField> m_fields;
    struct PartEntry {
        LONG depth;
        std::string type, name;
        std::uint64_t size;
    };
    std::vector<PartEntry> m_parts;
};

}  // namespace tessolt
