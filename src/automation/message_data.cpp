/// `IMessageData` of the message object.
#include <tessolt/message_data.h>

#include <algorithm>
#include <string>
#include <utility>

#include "automation/chosen_rules.h"
#include "automation/email_message.h"
#include "automation/results.h"
#include "charset/ansi_text.h"
#include "message/content_types.h"
#include "message/message_date.h"
#include "platform/ascii_text.h"
#include "reading/letter.h"
#include "reading/message.h"

namespace tessolt {
namespace {

constexpr char16_t kFirstPrintable = 0x20;
constexpr char16_t kDelete = 0x7F;
constexpr std::int64_t kSecondsPerMinute = 60;
constexpr std::int64_t kSecondsPerHour = 3600;
constexpr std::int64_t kSecondsPerDay = 86400;
constexpr LONG kMinutesPerDay = 1440;
/// 1 January 1900 and the end of 9999, in seconds since 1970.
constexpr std::int64_t kFirstSecond = -2208988800;
constexpr std::int64_t kLastSecond = 253402300799;

bool isControl(char16_t unit) {
    return unit < kFirstPrintable || unit == kDelete;
}

bool isPrintableAscii(std::u16string_view text) {
    return std::ranges::all_of(
        text, [](char16_t unit) { return unit > kFirstPrintable && unit < kDelete; });
}

bool isFieldName(std::u16string_view name) {
    return !name.empty() && isPrintableAscii(name) && name.find(u':') == name.npos;
}

bool isContentType(std::u16string_view type) {
    return type.empty() || (std::ranges::none_of(type, isControl) && type.find(u'/') != type.npos &&
                            type.front() < kDelete);
}

bool isContentId(std::u16string_view id) {
    return !id.empty() && isPrintableAscii(id) && id.find_first_of(u"<>\"") == id.npos;
}

std::int64_t floorDivide(std::int64_t number, std::int64_t divisor) {
    return number / divisor - (number % divisor < 0 ? 1 : 0);
}

/// The calendar of the days since 1970 (Gregorian, proleptic), by eras of 400 years from March on.
platform::LocalTime civilTime(std::int64_t seconds) {
    const std::int64_t days = floorDivide(seconds, kSecondsPerDay);
    const std::int64_t rest = seconds - days * kSecondsPerDay;
    const std::int64_t shifted = days + 719468;
    const std::int64_t era = floorDivide(shifted, 146097);
    const std::int64_t ofEra = shifted - era * 146097;
    const std::int64_t year = (ofEra - ofEra / 1460 + ofEra / 36524 - ofEra / 146096) / 365;
    const std::int64_t ofYear = ofEra - (365 * year + year / 4 - year / 100);
    const std::int64_t month = (5 * ofYear + 2) / 153;  // 0 is March
    platform::LocalTime time;
    time.day = static_cast<int>(ofYear - (153 * month + 2) / 5 + 1);
    time.month = static_cast<int>(month < 10 ? month + 3 : month - 9);
    time.year = static_cast<int>(year + era * 400 + (time.month <= 2 ? 1 : 0));
    constexpr std::int64_t kThursday = 4;
    constexpr std::int64_t kDaysPerWeek = 7;
    time.dayOfWeek = static_cast<int>(days + kThursday -
                                      floorDivide(days + kThursday, kDaysPerWeek) * kDaysPerWeek);
    time.hour = static_cast<int>(rest / kSecondsPerHour);
    time.minute = static_cast<int>(rest % kSecondsPerHour / kSecondsPerMinute);
    time.second = static_cast<int>(rest % kSecondsPerMinute);
    return time;
}

ByteView viewOf(std::string_view bytes) {
    return {bytes.data(), bytes.size()};
}

}  // namespace

HRESULT CEMailMessage::UseRules(LONG rules) {
    return guarded([&] {
        const auto chosen = chosenRules(rules);
        if (chosen) {
            m_pMail->m_rules = *chosen;
        }
        return chosen ? S_OK : E_INVALIDARG;
    });
}

HRESULT CEMailMessage::GetLoadedBytes(ByteView* bytes) {
    return giving(bytes, [&] {
        *bytes = viewOf(m_pMail->GetLoadedBytes());
        return S_OK;
    });
}

HRESULT CEMailMessage::GetMimeBytes(ByteView* bytes) {
    return giving(bytes, [&] {
        const std::string_view text = m_pMail->GetSourceBytes(m_mimeBytes.emplace());
        *bytes = viewOf(text);
        return text.empty() && m_pMail->GetLoadedBytes().empty() ? E_OUTOFMEMORY : S_OK;
    });
}

HRESULT CEMailMessage::LoadBytes(const void* bytes, size_t size) {
    if (!bytes && size > 0) {
        return E_POINTER;
    }
    return run(
        [&] { return m_pMail->LoadFromBytes(std::string(static_cast<const char*>(bytes), size)); });
}

HRESULT CEMailMessage::AddAttachmentBytes(const void* bytes, size_t size, TextArgument name,
                                          TextArgument contentType) {
    if (!bytes && size > 0) {
        return E_POINTER;
    }
    return runChecked([&] {
        const std::u16string_view given = argumentText(name);
        const std::u16string_view type = argumentText(contentType);
        if (std::ranges::any_of(given, isControl) || !isContentType(type)) {
            return std::optional<std::int32_t>();
        }
        borvik::BvByteData copy;
        if (!copy.append(bytes, size)) {
            return std::optional<std::int32_t>(kMailAttachmentReadFailed);
        }
        const std::string told =
            type.empty() ? std::string(ContentTypeForFile(borvik::wideToUtf8Paired(given)))
                         : borvik::wideToUtf8Paired(type);
        return std::optional(m_pMail->AddBytes(std::move(copy), given, told));
    });
}

HRESULT CEMailMessage::SetInline(LONG number, TextArgument contentId) {
    return runChecked([&] {
        const std::u16string_view id = argumentText(contentId);
        const bool isDone =
            isContentId(id) && m_pMail->SetInline(number, borvik::wideToUtf8Paired(id));
        return isDone ? std::optional<std::int32_t>(kMailOk) : std::nullopt;
    });
}

HRESULT CEMailMessage::GetAttachmentBytes(LONG number, ByteView* bytes) {
    if (!bytes) {
        return E_POINTER;
    }
    return run([&] {
        const std::int32_t result =
            m_pMail->GetAttachmentBytes(number, m_attachmentBytes.emplace());
        *bytes = viewOf(m_attachmentBytes->view());
        return result;
    });
}

HRESULT CEMailMessage::GetAttachmentType(LONG number, BSTR* contentType, BSTR* contentId,
                                         BSTR* disposition) {
    if (!contentType || !contentId || !disposition) {
        return E_POINTER;
    }
    std::string type;
    std::string id;
    std::string word;
    const HRESULT status = run([&] { return m_pMail->GetAttachmentType(number, type, id, word); });
    if (FAILED(status)) {
        return status;
    }
    return guarded([&] {
        const HRESULT first = giveUtf8(type, contentType);
        const HRESULT second = giveUtf8(id, contentId);
        const HRESULT third = giveUtf8(word, disposition);
        return FAILED(first) ? first : FAILED(second) ? second : third;
    });
}

HRESULT CEMailMessage::CountFields(LONG* count) {
    return giving(count, [&] {
        m_fields = m_pMail->GetFields();
        return giveNumber(static_cast<LONG>(m_fields.size()), count);
    });
}

HRESULT CEMailMessage::GetField(LONG number, BSTR* name, BSTR* value, ByteView* rawValue) {
    if (!name || !value || !rawValue) {
        return E_POINTER;
    }
    if (number < 1 || static_cast<std::size_t>(number) > m_fields.size()) {
        return E_INVALIDARG;
    }
    return guarded([&] {
        const MailField& field = m_fields[static_cast<std::size_t>(number) - 1];
        *rawValue = viewOf(field.raw);
        const HRESULT first = giveUtf8(field.name, name);
        const HRESULT second = giveText(field.value, value);
        return FAILED(first) ? first : second;
    });
}

HRESULT CEMailMessage::CountParts(LONG* count) {
    return giving(count, [&] {
        m_parts.clear();
        borvik::BvByteData made;
        const std::string_view loaded = m_pMail->GetLoadedBytes();
        const reading::Message message(
            reading::withoutMboxLine(loaded.empty() ? m_pMail->GetSourceBytes(made) : loaded));
        for (const reading::Part& part : message.parts()) {
            std::string type = std::string(part.type) + "/" + std::string(part.subtype);
            m_parts.push_back({static_cast<LONG>(part.depth), platform::loweredText(type),
                               reading::nameOf(message, part), part.body.size()});
        }
        return giveNumber(static_cast<LONG>(m_parts.size()), count);
    });
}

HRESULT CEMailMessage::GetPart(LONG number, LONG* depth, BSTR* contentType, BSTR* name,
                               uint64_t* size) {
    if (!depth || !contentType || !name || !size) {
        return E_POINTER;
    }
    if (number < 1 || static_cast<std::size_t>(number) > m_parts.size()) {
        return E_INVALIDARG;
    }
    return guarded([&] {
        const PartEntry& part = m_parts[static_cast<std::size_t>(number) - 1];
        *depth = part.depth;
        *size = part.size;
        const HRESULT first = giveUtf8(part.type, contentType);
        const HRESULT second = giveUtf8(part.name, name);
        return FAILED(first) ? first : second;
    });
}

HRESULT CEMailMessage::Copy(IEMailMessage** copy) {
    return giving(copy, [&] {
        *copy = nullptr;
        auto record = std::make_unique<CZnMail>();
        record->CopyFrom(*m_pMail);
        return createObject<CComObject<CEMailMessage>>(
            IID_IEMailMessage, reinterpret_cast<void**>(copy), std::move(record));
    });
}

HRESULT CEMailMessage::SetField(TextArgument name, TextArgument value) {
    return runChecked([&] {
        const std::u16string_view field = argumentText(name);
        const std::u16string_view text = platform::bstrView(value);
        if (!isFieldName(field) || std::ranges::any_of(text, isControl)) {
            return std::optional<std::int32_t>();
        }
        m_pMail->AddHeader(borvik::wideToUtf8Paired(field), m_pMail->EncodeHeaderText(text, false));
        return std::optional<std::int32_t>(kMailOk);
    });
}

HRESULT CEMailMessage::SetDate(int64_t unixSeconds, LONG minutesAhead) {
    return guarded([&] {
        if (unixSeconds < kFirstSecond || unixSeconds > kLastSecond ||
            minutesAhead <= -kMinutesPerDay || minutesAhead >= kMinutesPerDay) {
            return E_INVALIDARG;
        }
        m_pMail->AddHeader(
            "Date",
            FormatDate(civilTime(unixSeconds + minutesAhead * kSecondsPerMinute), -minutesAhead));
        return S_OK;
    });
}

}  // namespace tessolt
