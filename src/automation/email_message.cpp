#include "automation/email_message.h"

#include <cstdint>
#include <cstring>

#include "automation/build_texts.h"
#include "automation/results.h"
#include "foundation/error_catalogue.h"

namespace tessolt {
namespace {

constexpr const char* kClassName = "CEMailMessage";

std::unique_ptr<CZnMail> makeRecord() {
    auto record = std::make_unique<CZnMail>(kClassName);
    record->m_strMailer = kMailerText;
    return record;
}

/// The interface by which the library knows its own messages. It holds an address, so that no
/// object of anybody else, another copy of this library included, can have it.
IID implementationId() {
    IID id = {0x4262B4AA, 0xEB74, 0x4EFC, {}};
    const auto own = reinterpret_cast<std::uintptr_t>(&module());
    static_assert(sizeof own == sizeof id.Data4);
    std::memcpy(id.Data4, &own, sizeof own);
    return id;
}

HRESULT store(const OLECHAR* text, CZncStringW& field) {
    return guarded([&] {
        field.Assign(text);
        return S_OK;
    });
}

HRESULT giveAddresses(const RecipientList& list, BSTR* place) {
    return guarded([&] { return giveAnsi(CZnMail::JoinAddresses(list), place); });
}

}  // namespace

CEMailMessage::CEMailMessage() : CZncBase(kClassName), m_pMail(makeRecord()) {}

ComPtr<CEMailMessage> CEMailMessage::from(IUnknown* object) {
    ComPtr<CEMailMessage> message;
    if (object) {
        object->QueryInterface(implementationId(), message.putVoid());
    }
    return message;
}

HRESULT CEMailMessage::InternalQueryInterface(REFIID iid, void** object) {
    if (iid == implementationId()) {
        *object = this;
        AddRef();
        return S_OK;
    }
    return IDispatchImpl::InternalQueryInterface(iid, object);
}

template <class Operation>
HRESULT CEMailMessage::run(Operation&& operation) {
    return guarded([&] {
        m_nLastError = MapMailError(operation());
        return S_OK;
    });
}

HRESULT CEMailMessage::get_LastError(LONG* pVal) {
    return giveNumber(m_nLastError, pVal);
}

HRESULT CEMailMessage::get_FromName(BSTR* pVal) {
    return giveText(m_pMail->m_wstrFromName.View(), pVal);
}

HRESULT CEMailMessage::put_FromName(BSTR newVal) {
    return store(newVal, m_pMail->m_wstrFromName);
}

HRESULT CEMailMessage::get_FromAddress(BSTR* pVal) {
    return giveText(m_pMail->m_wstrFromAddress.View(), pVal);
}

HRESULT CEMailMessage::put_FromAddress(BSTR newVal) {
    return store(newVal, m_pMail->m_wstrFromAddress);
}

HRESULT CEMailMessage::get_ReplyAddress(BSTR* pVal) {
    return giveText(m_pMail->m_wstrReplyAddress.View(), pVal);
}

HRESULT CEMailMessage::put_ReplyAddress(BSTR newVal) {
    return store(newVal, m_pMail->m_wstrReplyAddress);
}

HRESULT CEMailMessage::get_ReadReceiptAddress(BSTR* pVal) {
    return giveText(m_pMail->m_wstrReadReceiptAddress.View(), pVal);
}

HRESULT CEMailMessage::put_ReadReceiptAddress(BSTR newVal) {
    return store(newVal, m_pMail->m_wstrReadReceiptAddress);
}

HRESULT CEMailMessage::get_Organization(BSTR* pVal) {
    return giveText(m_pMail->m_wstrOrganization.View(), pVal);
}

HRESULT CEMailMessage::put_Organization(BSTR newVal) {
    return store(newVal, m_pMail->m_wstrOrganization);
}

HRESULT CEMailMessage::get_Subject(BSTR* pVal) {
    return giveText(m_pMail->m_wstrSubject.View(), pVal);
}

HRESULT CEMailMessage::put_Subject(BSTR newVal) {
    return store(newVal, m_pMail->m_wstrSubject);
}

HRESULT CEMailMessage::get_BodyPlainText(BSTR* pVal) {
    return giveText(m_pMail->m_wstrBodyPlainText.View(), pVal);
}

HRESULT CEMailMessage::put_BodyPlainText(BSTR newVal) {
    return store(newVal, m_pMail->m_wstrBodyPlainText);
}

HRESULT CEMailMessage::get_BodyHtml(BSTR* pVal) {
    return giveText(m_pMail->m_wstrBodyHtml.View(), pVal);
}

HRESULT CEMailMessage::put_BodyHtml(BSTR newVal) {
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
    return guarded([&] {
        borvik::BvString storage;
        return giveAnsi(m_pMail->GetSource(storage), pVal);
    });
}

HRESULT CEMailMessage::get_MessageHeader(BSTR* pVal) {
    return guarded([&] {
        CZncString head;
        return giveAnsi(m_pMail->GetHead(head).View(), pVal);
    });
}

HRESULT CEMailMessage::get_Size(LONG* pVal) {
    return guarded([&] { return giveNumber(static_cast<LONG>(m_pMail->GetSourceSize()), pVal); });
}

HRESULT CEMailMessage::get_Date(BSTR* pVal) {
    return guarded([&] {
        CZncString date;
        return giveAnsi(m_pMail->GetHeader("Date", date).View(), pVal);
    });
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

HRESULT CEMailMessage::AddTo(BSTR strEmailAddress, BSTR strDisplayName) {
    return run([&] {
        return m_pMail->AddTo(argumentText(strEmailAddress), argumentText(strDisplayName));
    });
}

HRESULT CEMailMessage::AddCc(BSTR strEmailAddress, BSTR strDisplayName) {
    return run([&] {
        return m_pMail->AddCc(argumentText(strEmailAddress), argumentText(strDisplayName));
    });
}

HRESULT CEMailMessage::AddBcc(BSTR strEmailAddress, BSTR strDisplayName) {
    return run([&] {
        return m_pMail->AddBcc(argumentText(strEmailAddress), argumentText(strDisplayName));
    });
}

HRESULT CEMailMessage::CountAttachments(LONG* pVal) {
    return giveNumber(m_pMail->GetAttachmentCount(), pVal);
}

HRESULT CEMailMessage::GetAttachmentName(LONG lID, BSTR* strFilename) {
    CZncString name;
    const HRESULT status = run([&] { return m_pMail->GetAttachmentName(lID, name); });
    return FAILED(status) ? status : guarded([&] { return giveAnsi(name.View(), strFilename); });
}

HRESULT CEMailMessage::GetAttachmentSize(LONG lID, LONG* pVal) {
    std::uint32_t size = 0;
    const HRESULT status = run([&] { return m_pMail->GetAttachmentSize(lID, size); });
    return FAILED(status) ? status : giveNumber(static_cast<LONG>(size), pVal);
}

HRESULT CEMailMessage::AddAttachment(BSTR FileName) {
    return run([&] { return m_pMail->AddFiles(CZncString(FileName).View()); });
}

HRESULT CEMailMessage::SaveAttachment(LONG lID, BSTR strSaveAsFile) {
    return run([&] { return m_pMail->SaveAttachment(lID, CZncString(strSaveAsFile).GetBuffer()); });
}

HRESULT CEMailMessage::LoadMIME(BSTR strMimeFile) {
    return run([&] { return m_pMail->LoadFromFile(CZncString(strMimeFile).GetBuffer()); });
}

HRESULT CEMailMessage::SaveMIME(BSTR strMimeFile) {
    return run([&] {
        const std::int32_t unfit = m_pMail->CheckForSending();
        return unfit != 0 ? unfit : m_pMail->SaveToFile(CZncString(strMimeFile).GetBuffer());
    });
}

HRESULT CEMailMessage::Encode() {
    return run([&] { return m_pMail->Encode(); });
}

HRESULT CEMailMessage::Decode() {
    return Encode();
}

HRESULT CEMailMessage::GetHeaderValue(BSTR strName, BSTR* strValue) {
    return guarded([&] {
        m_nLastError = 0;
        CZncString value;
        m_pMail->GetHeader(CZncString(strName).GetBuffer(), value);
        return giveAnsi(value.View(), strValue);
    });
}

HRESULT CEMailMessage::AddHeader(BSTR strName, BSTR strValue) {
    return guarded([&] {
        m_nLastError = 0;
        m_pMail->AddHeader(CZncString(strName).View(), CZncString(strValue).View());
        return S_OK;
    });
}

}  // namespace tessolt
