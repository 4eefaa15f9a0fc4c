#include "automation/type_library.h"

#include <tessolt/guids.h>

#include <array>

#include "automation/type_table_builder.h"

namespace tessolt {
namespace {

/// The rows write each name once: as the name of the operation and as the name that callers use.
#define READ(name, id) (readOnly<&Self::get_##name>(u## #name, id))
#define READ_WRITE(name, id) (readWrite<&Self::get_##name, &Self::put_##name>(u## #name, id))
#define METHOD(name, ...) (method<&Self::name>(u## #name, __VA_ARGS__))
#define FUNCTION(name, ...) (function<&Self::name>(u## #name, __VA_ARGS__))

namespace email_message {
using Self = IEMailMessage;
constexpr auto kMembers = std::to_array<Member>({
    READ(LastError, 1),
    READ_WRITE(FromName, 32),
    READ_WRITE(FromAddress, 33),
    READ_WRITE(ReplyAddress, 34),
    READ_WRITE(ReadReceiptAddress, 35),
    READ_WRITE(Organization, 36),
    READ_WRITE(Subject, 37),
    READ_WRITE(BodyPlainText, 38),
    READ_WRITE(BodyHtml, 39),
    READ_WRITE(Encoding, 58),
    READ_WRITE(Priority, 59),
    READ(ID, 70),
    READ(MessageSource, 71),
    READ(MessageHeader, 72),
    READ(Size, 73),
    READ(Date, 74),
    READ(ToAddress, 75),
    READ(CcAddress, 76),
    READ(BccAddress, 77),
    METHOD(Clear, 100),
    FUNCTION(GetErrorDescription, 101, required(u"lError")),
    METHOD(AddTo, 200, required(u"strEmailAddress"), optionalText(u"strDisplayName")),
    METHOD(AddCc, 201, required(u"strEmailAddress"), optionalText(u"strDisplayName")),
    METHOD(AddBcc, 202, required(u"strEmailAddress"), optionalText(u"strDisplayName")),
    FUNCTION(CountAttachments, 300),
    FUNCTION(GetAttachmentName, 301, required(u"lID")),
    FUNCTION(GetAttachmentSize, 302, required(u"lID")),
    METHOD(AddAttachment, 303, required(u"FileName")),
    METHOD(SaveAttachment, 304, required(u"lID"), required(u"strSaveAsFile")),
    METHOD(LoadMIME, 310, required(u"strMimeFile")),
    METHOD(SaveMIME, 311, required(u"strMimeFile")),
    METHOD(Encode, 320),
    METHOD(Decode, 321),
    FUNCTION(GetHeaderValue, 330, required(u"strName")),
    METHOD(AddHeader, 331, required(u"strName"), required(u"strValue")),
});
}  // namespace email_message

namespace smtp {
using Self = ISmtp;
constexpr LONG kSecurePort = 465;
constexpr auto kMembers = std::to_array<Member>({
    READ(LastError, 1),
    READ(Version, 2),
    READ(Build, 3),
    READ(Module, 4),
    READ_WRITE(LogFile, 10),
    READ_WRITE(ActivityFile, 11),
    READ_WRITE(TimeoutConnect, 20),
    READ_WRITE(TimeoutAuthentication, 21),
    READ_WRITE(TimeoutCommand, 22),
    READ_WRITE(TimeoutData, 23),
    READ_WRITE(HostPort, 30),
    READ_WRITE(Authentication, 31),
    READ_WRITE(UseStartTls, 32),
    READ(LastSmtpResponse, 40),
    METHOD(Clear, 100),
    FUNCTION(GetErrorDescription, 102, required(u"lErrorCode")),
    METHOD(Sleep, 103, required(u"lMilliseconds")),
    METHOD(SetSecure, 110, optionalNumber(u"lPort", kSecurePort)),
    METHOD(Connect, 111, required(u"strHost"), optionalText(u"strAccount"),
           optionalText(u"strPassword")),
    METHOD(Disconnect, 112),
    METHOD(Send, 113, required(u"pVal")),
    METHOD(Queue, 114, required(u"newVal"), required(u"strHost"), optionalNumber(u"lPort", 0),
           optionalNumber(u"bSecure", 0), optionalText(u"strLogin"), optionalText(u"strPassword")),
});
}  // namespace smtp

namespace pop3 {
using Self = IPop3;
constexpr LONG kSecurePort = 995;
constexpr auto kMembers = std::to_array<Member>({
    READ(LastError, 1),
    READ(Version, 2),
    READ(Build, 3),
    READ(Module, 4),
    READ_WRITE(LogFile, 10),
    READ_WRITE(ActivityFile, 11),
    READ_WRITE(TimeoutConnect, 20),
    READ_WRITE(TimeoutAuthentication, 21),
    READ_WRITE(TimeoutCommand, 22),
    READ_WRITE(TimeoutData, 23),
    READ_WRITE(HostPort, 30),
    READ_WRITE(Authentication, 31),
    READ(LastPop3Response, 40),
    METHOD(Clear, 100),
    FUNCTION(GetErrorDescription, 102, required(u"lErrorCode")),
    METHOD(Sleep, 103, required(u"lMilliseconds")),
    METHOD(SetSecure, 110, optionalNumber(u"lPort", kSecurePort)),
    METHOD(Connect, 111, required(u"strHost"), required(u"strAccount"), required(u"strPassword")),
    METHOD(Disconnect, 112),
    FUNCTION(IsConnected, 113),
    FUNCTION(CountMessages, 200),
    FUNCTION(GetEmailHeader, 201, required(u"ID")),
    FUNCTION(GetEmailMessage, 202, required(u"lID")),
    METHOD(DeleteMessage, 203, required(u"lMessageID")),
});
}  // namespace pop3

namespace email_constants {
using Self = IEMailConstants;
#define CONSTANT_ROW(name, id, value) READ(name, id),
constexpr auto kMembers = std::to_array<Member>({TESSOLT_EMAIL_CONSTANTS(CONSTANT_ROW)});
#undef CONSTANT_ROW
}  // namespace email_constants

#undef READ
#undef READ_WRITE
#undef METHOD
#undef FUNCTION

template <const auto& kMembers>
constexpr auto kByName = indexByName(kMembers);
template <const auto& kMembers>
constexpr auto kByDispid = indexByDispid(kMembers);

template <const auto& kMembers>
constexpr InterfaceTable makeTable(const OLECHAR* interfaceName, const GUID& interfaceId,
                                   const OLECHAR* className, const GUID& classId) {
    return {{kLibraryName, kLibraryHelp, kLibraryMajor, kLibraryMinor, LIBID_Quelt, interfaceName,
             interfaceId, className, classId, static_cast<UINT>(kMembers.size())},
            kMembers,
            kByName<kMembers>,
            kByDispid<kMembers>};
}

constexpr InterfaceTable kEMailMessage = makeTable<email_message::kMembers>(
    u"IEMailMessage", IID_IEMailMessage, u"EMailMessage", CLSID_EMailMessage);
constexpr InterfaceTable kSmtp =
    makeTable<smtp::kMembers>(u"ISmtp", IID_ISmtp, u"Smtp", CLSID_Smtp);
constexpr InterfaceTable kPop3 =
    makeTable<pop3::kMembers>(u"IPop3", IID_IPop3, u"Pop3", CLSID_Pop3);
constexpr InterfaceTable kEMailConstants = makeTable<email_constants::kMembers>(
    u"IEMailConstants", IID_IEMailConstants, u"EMailConstants", CLSID_EMailConstants);

}  // namespace

const Member* InterfaceTable::find(std::u16string_view name) const {
    const auto at = std::lower_bound(byName.begin(), byName.end(), name,
                                     [this](uint8_t row, std::u16string_view wanted) {
                                         return compareNames(members[row].info.name, wanted) < 0;
                                     });
    if (at == byName.end() || compareNames(members[*at].info.name, name) != 0) {
        return nullptr;
    }
    return &members[*at];
}

template <>
const InterfaceTable& interfaceTable<IEMailMessage>() {
    return kEMailMessage;
}
template <>
const InterfaceTable& interfaceTable<ISmtp>() {
    return kSmtp;
}
template <>
const InterfaceTable& interfaceTable<IPop3>() {
    return kPop3;
}
template <>
const InterfaceTable& interfaceTable<IEMailConstants>() {
    return kEMailConstants;
}

}  // namespace tessolt
