#include <algorithm>
#include <new>
#include <optional>
#include <utility>
#include <vector>

#include "charset/ansi_text.h"
#include "foundation/text_operations.h"
#include "message/address_text.h"
#include "message/ansi_units.h"
#include "message/content_types.h"
#include "message/znmail.h"
#include "platform/file_system.h"

namespace tessolt {
namespace {

constexpr char kEscape = '\x1B';
constexpr char16_t kPathSeparator = u'|';
constexpr std::size_t kReadStep = 65536;

/// Opens a regular file; a folder, or a pipe that would block, can't be. Nor can a path that the
/// ANSI code page can't express.
bool openFile(std::u16string_view path, platform::File& file) {
    return AnsiOfExactly(path) && file.open(platform::toNativePath(borvik::wideToUtf8Paired(path)),
                                            platform::kOpenRead | platform::kOpenRegularOnly) == 0;
}

bool canBeOpened(std::u16string_view path) {
    platform::File file;
    return openFile(path, file);
}

/// Reads a whole file, also one that grows meanwhile or doesn't tell its size. False for one that
/// is longer than `mostBytes`.
bool readFile(std::u16string_view path, std::size_t mostBytes, borvik::DataBuffer& bytes) {
    platform::File file;
    std::uint64_t size = 0;
    if (!openFile(path, file) || file.size(size) != 0 || size > mostBytes) {
        return false;
    }
    // The byte more lets the end of the file show without growing the buffer.
    bytes.ensureCapacity(static_cast<std::size_t>(size) + 1);
    for (;;) {
        const std::size_t room = bytes.getCapacity() - bytes.getSize();
        const std::size_t step = room > 0 ? room : kReadStep;
        char* const tail = bytes.grow(step);
        std::size_t got = 0;
        if (tail == nullptr || file.read(tail, step, got) != 0) {
            return false;
        }
        if (got == 0) {
            return bytes.getSize() <= mostBytes;
        }
        bytes.setLength(bytes.getSize() + got);
    }
}

/// What follows the last separator of either kind, fit to stand between quote marks.
std::string fileNameOf(std::u16string_view path) {
    std::u16string name(path.substr(path.find_last_of(u"/\\") + 1));
    std::ranges::replace(name, u'"', u'\'');
    return borvik::wideToAnsi(name);
}

}  // namespace

std::int32_t CZnMail::AddFiles(std::u16string_view paths) {
    std::vector<std::u16string_view> files;
    for (const std::u16string_view token : ListTokens(UpToZero(paths), kPathSeparator)) {
        const std::u16string_view path = TrimmedText(token);
        if (path.empty()) {
            break;
        }
        files.push_back(path);
    }
    if (files.empty()) {
        return kMailNoAttachmentNamed;
    }
    if (!std::ranges::all_of(files, canBeOpened)) {
        return kMailAttachmentOpenFailed;
    }
    for (const std::u16string_view path : files) {
        if (AddFile(path, ContentTypeForFile(borvik::wideToUtf8Paired(path))) != kMailOk) {
            return kMailAttachmentReadFailed;
        }
    }
    return kMailOk;
}

/// How long a file may be so that its base64 lines still fit into the text of the message.
std::size_t CZnMail::RoomForFile() const {
    constexpr std::size_t kCodedLine = 78;
    constexpr std::size_t kLineOfFile = 57;
    std::size_t taken = 0;
    for (const auto& attachment : m_lstAttachments) {
        taken += attachment->m_pLoaded ? LoadedAttachmentSource(*attachment).size()
                                       : attachment->m_pPart->TextSizeEstimate();
    }
    const std::size_t left =
        borvik::StringBuffer::kMaxSize - std::min(taken, borvik::StringBuffer::kMaxSize);
    return left / kCodedLine * kLineOfFile;
}

std::int32_t CZnMail::AddFile(std::u16string_view path, std::string_view contentType) try {
    borvik::BvByteData bytes;
    if (!readFile(path, RoomForFile(), bytes.data())) {
        return kMailAttachmentReadFailed;
    }
    return AddBytes(std::move(bytes), path, contentType);
} catch (const std::bad_alloc&) {
    return kMailAttachmentReadFailed;
}

std::int32_t CZnMail::AddBytes(borvik::BvByteData&& bytes, std::u16string_view path,
                               std::string_view contentType) try {
    if (bytes.view().size() > RoomForFile()) {
        return kMailAttachmentReadFailed;
    }
    std::string name = fileNameOf(path);
    if (m_rules.canonicalText) {
        // One of ISO-2022-JP would have the part's whole header read in that charset.
        std::replace(name.begin(), name.end(), kEscape, '_');
    }
    auto attachment = std::make_unique<CZnMailAttachment>();
    attachment->m_strFileName.assign(name);
    attachment->m_strContentType.assign(contentType);
    attachment->m_pPart = std::make_unique<borvik::BvMime>();
    borvik::BvMime& part = *attachment->m_pPart;
    part.ContentType((std::string(contentType) + ";name=\"" + name + "\"").c_str());
    const std::uint32_t id = m_uContentId + 1;
    part.AddHeaderField("Content-ID", ("<" + std::to_string(id) + ">").c_str());
    part.Encoding("base64");
    part.Disposition(("attachment;filename=\"" + name + "\"").c_str());
    part.SetBodyFromBinary(std::move(bytes));
    m_lstAttachments.push_back(std::move(attachment));
    m_uContentId = id;
    return kMailOk;
} catch (const std::bad_alloc&) {
    return kMailAttachmentReadFailed;
}

std::int32_t CZnMail::GetAttachmentCount() const {
    return static_cast<std::int32_t>(m_lstAttachments.size());
}

const CZnMailAttachment* CZnMail::FindAttachment(std::int32_t number) const {
    return number >= 1 && number <= GetAttachmentCount()
               ? m_lstAttachments[static_cast<std::size_t>(number) - 1].get()
               : nullptr;
}

std::int32_t CZnMail::GetAttachmentName(std::int32_t number, CZncString& out) const {
    const CZnMailAttachment* attachment = FindAttachment(number);
    out.Assign(attachment ? std::string_view(attachment->m_strFileName) : std::string_view());
    return attachment ? kMailOk : kMailBadAttachmentNumber;
}

std::int32_t CZnMail::GetAttachmentSize(std::int32_t number, std::uint32_t& out) const {
    out = 0;
    const CZnMailAttachment* attachment = FindAttachment(number);
    if (!attachment) {
        return kMailBadAttachmentNumber;
    }
    if (attachment->m_pLoaded) {
        out = static_cast<std::uint32_t>(LoadedAttachmentSource(*attachment).size());
        return kMailOk;
    }
    try {
        borvik::BvString text;
        if (attachment->m_pPart->GetMime(text)) {
            out = static_cast<std::uint32_t>(AnsiTextOf(text).size());
            return kMailOk;
        }
    } catch (const std::bad_alloc&) {
    }
    return kMailAttachmentDecodeFailed;
}

std::int32_t CZnMail::SaveAttachment(std::int32_t number, std::u16string_view path) const {
    const CZnMailAttachment* attachment = FindAttachment(number);
    if (!attachment) {
        return kMailBadAttachmentNumber;
    }
    const std::optional<std::string> ansi = AnsiOfExactly(UpToZero(path));
    if (!ansi) {
        return kMailAttachmentWriteFailed;
    }
    try {
        if (!attachment->m_pLoaded) {
            return attachment->m_pPart->SaveBody(ansi->c_str()) ? kMailOk
                                                                : kMailAttachmentWriteFailed;
        }
        const std::string content = LoadedAttachmentBytes(*attachment);
        if (content.size() > borvik::DataBuffer::kMaxSize) {
            return kMailAttachmentDecodeFailed;
        }
        borvik::BvByteData bytes;
        bytes.data().borrow(content.data(), content.size());
        return bytes.saveFile(ansi->c_str()) ? kMailOk : kMailAttachmentWriteFailed;
    } catch (const std::bad_alloc&) {
        return kMailAttachmentDecodeFailed;
    }
}

}  // namespace tessolt
