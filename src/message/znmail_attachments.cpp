#include <algorithm>
#include <utility>
#include <vector>

#include "charset/ansi_text.h"
#include "foundation/text_operations.h"
#include "message/address_text.h"
#include "message/content_types.h"
#include "message/znmail.h"
#include "platform/file_system.h"

namespace tessolt {
namespace {

constexpr char kPathSeparator = '|';
constexpr std::size_t kReadStep = 65536;

/// Opens a regular file; a folder, or a pipe that would block, can't be.
bool openFile(std::string_view path, platform::File& file) {
    return file.open(platform::toNativePath(borvik::ansiToUtf8(path)),
                     platform::kOpenRead | platform::kOpenRegularOnly) == 0;
}

bool canBeOpened(std::string_view path) {
    platform::File file;
    return openFile(path, file);
}

/// Reads a whole file, also one that grows meanwhile or doesn't tell its size.
bool readFile(std::string_view path, borvik::DataBuffer& bytes) {
    platform::File file;
    std::uint64_t size = 0;
    // The byte more lets the end of the file show without growing the buffer.
    if (!openFile(path, file) || file.size(size) != 0 || size >= borvik::DataBuffer::kMaxSize ||
        !bytes.ensureCapacity(static_cast<std::size_t>(size) + 1)) {
        return false;
    }
    for (;;) {
        const std::size_t room = bytes.getCapacity() - bytes.getSize();
        const std::size_t step = room > 0 ? room : kReadStep;
        char* const tail = bytes.grow(step);
        std::size_t got = 0;
        if (tail == nullptr || file.read(tail, step, got) != 0) {
            return false;
        }
        if (got == 0) {
            return true;
        }
        bytes.setLength(bytes.getSize() + got);
    }
}

/// What follows the last separator of either kind, fit to stand between quote marks.
std::string fileNameOf(std::string_view path) {
    std::string name(path.substr(path.find_last_of("/\\") + 1));
    std::ranges::replace(name, '"', '\'');
    return name;
}

}  // namespace

std::int32_t CZnMail::AddFiles(std::string_view paths) {
    std::vector<std::string_view> files;
    for (const std::string_view token : ListTokens(UpToZero(paths), kPathSeparator)) {
        const std::string_view path = TrimmedText(token);
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
    for (const std::string_view path : files) {
        if (AddFile(path, ContentTypeForFile(path)) != kMailOk) {
            return kMailAttachmentReadFailed;
        }
    }
    return kMailOk;
}

std::int32_t CZnMail::AddFile(std::string_view path, std::string_view contentType) {
    borvik::BvByteData bytes;
    if (!readFile(path, bytes.data())) {
        return kMailAttachmentReadFailed;
    }
    const std::string name = fileNameOf(path);
    auto attachment = std::make_unique<CZnMailAttachment>();
    attachment->m_strFileName.Assign(name);
    attachment->m_strContentType.Assign(contentType);
    attachment->m_pPart = std::make_unique<borvik::BvMime>();
    borvik::BvMime& part = *attachment->m_pPart;
    part.ContentType((std::string(contentType) + ";name=\"" + name + "\"").c_str());
    ++m_uContentId;
    part.AddHeaderField("Content-ID", ("<" + std::to_string(m_uContentId) + ">").c_str());
    part.Encoding("base64");
    part.Disposition(("attachment;filename=\"" + name + "\"").c_str());
    part.SetBodyFromBinary(std::move(bytes));
    m_lstAttachments.push_back(std::move(attachment));
    return kMailOk;
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
    out.Assign(attachment ? attachment->m_strFileName.View() : std::string_view());
    return attachment ? kMailOk : kMailBadAttachmentNumber;
}

std::int32_t CZnMail::GetAttachmentSize(std::int32_t number, std::uint32_t& out) const {
    out = 0;
    const CZnMailAttachment* attachment = FindAttachment(number);
    if (!attachment) {
        return kMailBadAttachmentNumber;
    }
    borvik::BvString text;
    attachment->m_pPart->GetMime(text);
    out = static_cast<std::uint32_t>(AnsiTextOf(text).size());
    return kMailOk;
}

std::int32_t CZnMail::SaveAttachment(std::int32_t number, const char* path) const {
    const CZnMailAttachment* attachment = FindAttachment(number);
    if (!attachment) {
        return kMailBadAttachmentNumber;
    }
    borvik::BvByteData bytes;
    if (!attachment->m_pPart->GetBodyBinary(bytes)) {
        return kMailAttachmentDecodeFailed;
    }
    return bytes.saveFile(path) ? kMailOk : kMailAttachmentWriteFailed;
}

}  // namespace tessolt
