#include "automation/email_message.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include "automation/build_texts.h"
#include "automation/results.h"
#include "foundation/error_catalogue.h"
#include "foundation/rules_from_settings.h"

namespace tessolt {
namespace {

constexpr const char* kClassName = "CEMailMessage";

std::unique_ptr<CZnMail> makeRecord() {
    auto record = std::make_unique<CZnMail>(kClassName);
    record->m_rules = rulesFromSettings();
    record->m_strMailer = kMailerText;
    return record;
}

}  // namespace

CEMailMessage::CEMailMessage() : CEMailMessage(makeRecord()) {}

CEMailMessage::CEMailMessage(std::unique_ptr<CZnMail> record)
    : CZncBase(kClassName), m_pMail(std::move(record)) {}

ComPtr<CEMailMessage> CEMailMessage::from(IDispatch* object) {
    if (!object) {
        return nullptr;
    }
    if (OwnTables<CEMailMessage>::know(*object)) {
        return ComPtr(static_cast<CEMailMessage*>(static_cast<IEMailMessage*>(object)));
    }
    // An outer object that has a dispatch of its own hands the message out by its interface.
    const auto message = ComPtr<IDispatch>(object).as<IEMailMessage>();
    return message && OwnTables<CEMailMessage>::know(*message)
               ? ComPtr(static_cast<CEMailMessage*>(message.get()))
               : nullptr;
}

HRESULT CEMailMessage::InternalQueryInterface(REFIID iid, void** object) {
    if (iid != IID_IMessageData) {
        return IDispatchImpl::InternalQueryInterface(iid, object);
    }
    *object = static_cast<IMessageData*>(this);
    AddRef();
    return S_OK;
}

HRESULT CEMailMessage::store(BSTR text, CZncStringW& field) {
    return guarded([&] {
        field.Assign(platform::bstrView(text));
        return S_OK;
    });
}

HRESULT CEMailMessage::giveAddresses(const RecipientList& list, BSTR* place) {
    return guarded([&] { return giveAnsi(CZnMail::JoinAddresses(list), place); });
}

HRESULT CEMailMessage::giveBody(const CZncStringW& body, BSTR* place) {
    return giving(place, [&] {
        TextSource* const source = body.GetSource();
        if (!source) {
            return giveText(body.View(), place);
        }
        HRESULT status = E_OUTOFMEMORY;
        source->read([&](std::string_view text) {
            status = source->isUtf8() ? giveUtf8(text, place) : giveAnsi(text, place);
        });
        return status;
    });
}

HRESULT CEMailMessage::get_LastError(LONG* pVal) {
    return giveNumber(m_nLastError, pVal);
}

HRESULT CEMailMessage::get_FromName(BSTR* pVal) {
    return giveText(m_pMail->m_wstrFromName.View(), pVal);
}

HRESULT CEMailMessage::put_FromName(TextArgument newVal) {
    return store(newVal, m_pMail->m_wstrFromName);
}

HRESULT CEMailMessage::get_FromAddress(BSTR* pVal) {
    return giveText(m_pMail->m_wstrFromAddress.View(), pVal);
}

HRESULT CEMailMessage::put_FromAddress(TextArgument newVal) {
    return store(newVal, m_pMail->m_wstrFromAddress);
}

HRESULT CEMailMessage::get_ReplyAddress(BSTR* pVal) {
    return giveText(m_pMail->m_wstrReplyAddress.View(), pVal);
}

HRESULT CEMailMessage::put_ReplyAddress(TextArgument newVal) {
    return store(newVal, m_pMail->m_wstrReplyAddress);
}

HRESULT CEMailMessage::get_ReadReceiptAddress(BSTR* pVal) {
    return giveText(m_pMail->m_wstrReadReceiptAddress.View(), pVal);
}

HRESULT CEMailMessage::put_ReadReceiptAddress(TextArgument newVal) {
    return store(newVal, m_pMail->m_wstrReadReceiptAddress);
}

HRESULT CEMailMessage::get_Organization(BSTR* pVal) {
    return giveText(m_pMail->m_wstrOrganization.View(), pVal);
}

HRESULT CEMailMessage::put_Organization(TextArgument newVal) {
    return store(newVal, m_pMail->m_wstrOrganization);
}

HRESULT CEMailMessage::get_Subject(BSTR* pVal) {
    return giveText(m_pMail->m_wstrSubject.View(), pVal);
}

HRESULT CEMailMessage::put_Subject(TextArgument newVal) {
    return store(newVal, m_pMail->m_wstrSubject);
}

HRESULT CEMailMessage::get_BodyPlainText(BSTR* pVal) {
    return giveBody(m_pMail->m_wstrBodyPlainText, pVal);
}

HRESULT CEMailMessage::put_BodyPlainText(TextArgument newVal) {
    return store(newVal, m_pMail->m_wstrBodyPlainText);
}

HRESULT CEMailMessage::get_BodyHtml(BSTR* pVal) {
    return giveBody(m_pMail->m_wstrBodyHtml, pVal);
}

HRESULT CEMailMessage::put_BodyHtml(TextArgument newVal) {
    return store(newVal, m_pMail->m_wstrBodyHtml);
}

HRESULT CEMailMessage::get_Encoding(LONG* pVal) {
    return giveNumber(m_pMail->m_nEncoding, pVal);
}

HRESULT CEMailMessage::put_Encoding(LONG newVal) {
    m_pMail->m_nEncoding = newVal;
    return S_OK;
}

HRESULT CEMailMessage::get_Priority(LONG* pVal) {
    return giveNumber(m_pMail->m_nPriority, pVal);
}

HRESULT CEMailMessage::put_Priority(LONG newVal) {
    m_pMail->m_nPriority = newVal;
    return S_OK;
}

HRESULT CEMailMessage::get_ID(LONG* pVal) {
    return giveNumber(static_cast<LONG>(m_pMail->m_uID), pVal);
}

HRESULT CEMailMessage::get_MessageSource(BSTR* pVal) {
    return giving(pVal, [&] {
        borvik::BvString storage;
        const std::string_view source = m_pMail->GetSource(storage);
        return source.empty() ? E_OUTOFMEMORY : giveAnsi(source, pVal);
    });
}

HRESULT CEMailMessage::get_MessageHeader(BSTR* pVal) {
    return giving(pVal, [&] {
        CZncString head;
        return giveAnsi(m_pMail->GetHead(head).View(), pVal);
    });
}

HRESULT CEMailMessage::get_Size(LONG* pVal) {
    return giving(pVal, [&] {
        const std::size_t size = m_pMail->GetSourceSize();
        return size == 0 ? E_OUTOFMEMORY : giveNumber(static_cast<LONG>(size), pVal);
    });
}

HRESULT CEMailMessage::get_Date(BSTR* pVal) {
    return giving(pVal, [&] { return giveText(m_pMail->GetHeaderText("Date"), pVal); });
}

HRESULT CEMailMessage::get_ToAddress(BSTR* pVal) {
    return giveAddresses(m_pMail->m_lstTo, pVal);
}

HRESULT CEMailMessage::get_CcAddress(BSTR* pVal) {
    return giveAddresses(m_pMail->m_lstCc, pVal);
}

HRESULT CEMailMessage::get_BccAddress(BSTR* pVal) {
    return giveAddresses(m_pMail->m_lstBcc, pVal);
}

HRESULT CEMailMessage::Clear() {
    return guarded([&] {
        m_nLastError = 0;
        m_pMail = makeRecord();
        return S_OK;
    });
}

HRESULT CEMailMessage::GetErrorDescription(LONG lError, BSTR* bstrDescription) {
    return guarded([&] { return giveAnsi(ErrorText(lError), bstrDescription); });
}

HRESULT CEMailMessage::AddTo(TextArgument strEmailAddress, TextArgument strDisplayName) {
    return run([&] {
        return m_pMail->AddTo(argumentText(strEmailAddress), argumentText(strDisplayName));
    });
}

HRESULT CEMailMessage::AddCc(TextArgument strEmailAddress, TextArgument strDisplayName) {
    return run([&] {
        return m_pMail->AddCc(argumentText(strEmailAddress), argumentText(strDisplayName));
    });
}

HRESULT CEMailMessage::AddBcc(TextArgument strEmailAddress, TextArgument strDisplayName) {
    return run([&] {
        return m_pMail->AddBcc(argumentText(strEmailAddress), argumentText(strDisplayName));
    });
}

HRESULT CEMailMessage::CountAttachments(LONG* pVal) {
    return giveNumber(m_pMail->GetAttachmentCount(), pVal);
}

HRESULT CEMailMessage::GetAttachmentName(LONG lID, BSTR* strFilename) {
    if (!strFilename) {
        return E_POINTER;
    }
    std::u16string name;
    const HRESULT status = run([&] { return m_pMail->GetAttachmentNameText(lID, name); });
    return FAILED(status) ? status : giveText(name, strFilename);
}

HRESULT CEMailMessage::GetAttachmentSize(LONG lID, LONG* pVal) {
    if (!pVal) {
        return E_POINTER;
    }
    std::uint32_t size = 0;
    const HRESULT status = run([&] { return m_pMail->GetAttachmentSize(lID, size); });
    return FAILED(status) ? status : giveNumber(static_cast<LONG>(size), pVal);
}

HRESULT CEMailMessage::AddAttachment(TextArgument FileName) {
    return run([&] { return m_pMail->AddFiles(argumentText(FileName)); });
}

HRESULT CEMailMessage::SaveAttachment(LONG lID, TextArgument strSaveAsFile) {
    return run([&] { return m_pMail->SaveAttachment(lID, argumentText(strSaveAsFile)); });
}

HRESULT CEMailMessage::LoadMIME(TextArgument strMimeFile) {
    return run([&] { return m_pMail->LoadFromFile(argumentText(strMimeFile)); });
}

HRESULT CEMailMessage::SaveMIME(TextArgument strMimeFile) {
    return run([&] {
        const std::int32_t unfit = m_pMail->CheckForSaving();
        return unfit != 0 ? unfit : m_pMail->SaveToFile(argumentText(strMimeFile));
    });
}

HRESULT CEMailMessage::Encode() {
    return run([&] { return m_pMail->Encode(); });
}

HRESULT CEMailMessage::Decode() {
    return Encode();
}

HRESULT CEMailMessage::GetHeaderValue(TextArgument strName, BSTR* strValue) {
    return giving(strValue, [&] {
        m_nLastError = 0;
        return giveText(m_pMail->GetHeaderText(CZncString(strName).GetBuffer()), strValue);
    });
}

HRESULT CEMailMessage::AddHeader(TextArgument strName, TextArgument strValue) {
    return guarded([&] {
        m_nLastError = 0;
        m_pMail->AddHeader(CZncString(strName).View(), CZncString(strValue).View());
        return S_OK;
    });
}

}  // namespace tessolt
