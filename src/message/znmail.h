#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "charset/outward_strings.h"
#include "foundation/base_object.h"
#include "foundation/narrow_string.h"
#include "foundation/wide_string.h"
#include "message/boundary_maker.h"
#include "message/mail_result.h"
#include "message/znmail_attachment.h"
#include "message/znmail_header.h"
#include "message/znmail_recipient.h"
#include "mime/bv_mime.h"

namespace tessolt {

/// How far the characters of a text go, and with that how it travels.
enum TextClass : std::int32_t {
    TextAscii = 1,  ///< Below U+0080: as it is.
    TextLatin = 2,  ///< Below U+0100: in the ANSI code page.
    TextWide = 3,   ///< Anything: in UTF-8.
};

/// An e-mail message: what a caller composes, or what was read from MIME text.
///
/// A record has two sides. The fields are free to read and write; the MIME tree is what a message
/// was last encoded to or loaded from. `Encode` builds the tree anew from the fields and `Decode`
/// fills the fields from the tree; nothing else links the two.
///
/// 8-bit text is in the ANSI code page. Results are 0 or one of `MailResult`. A record belongs to
/// one thread at a time.
class CZnMail : public CZncBase {
public:
    static constexpr std::int32_t kNormalPriority = 3;

    /// `objectName` labels the object for debugging and is kept as a pointer.
    explicit CZnMail(const char* objectName = "CZnMail");
    CZnMail(const CZnMail&) = delete;
    CZnMail& operator=(const CZnMail&) = delete;

    /// Builds the tree from the fields, with a new date and new boundaries. It checks nothing: see
    /// `CheckForSending`. Always 0.
    virtual std::int32_t Encode();
    /// Fills the fields from the tree; those that the tree lacks stay as they are. Always 0.
    virtual std::int32_t Decode();

    /// Empties fields and tree. `m_strMailer` and `m_uID` stay.
    void Clear();

    // Composing.

    /// Adds a recipient for each of the addresses, which ";", "," or "|" separate; the list ends at
    /// an empty one. A single address gets the display name, several have themselves as names.
    /// An invalid address fails with the number of the list, and nothing is added.
    std::int32_t AddTo(std::u16string_view addresses, std::u16string_view displayName = {});
    std::int32_t AddCc(std::u16string_view addresses, std::u16string_view displayName = {});
    std::int32_t AddBcc(std::u16string_view addresses, std::u16string_view displayName = {});
    /// Sets a custom header. One of exactly this name is replaced; nothing is checked.
    void AddHeader(std::string_view name, std::string_view value);
    /// 0 when the sender's address is empty or valid and there is a To recipient; trims the
    /// sender's address.
    std::int32_t CheckForSending();
    /// The addresses of a list in 8-bit form, joined by ";".
    static std::string JoinAddresses(const RecipientList& list);

    // The tree as it stands.

    /// The whole MIME text. Returns `out`.
    CZncString& GetSource(CZncString& out) const;
    /// The same without a copy: good as long as `storage` is and isn't changed.
    std::string_view GetSource(borvik::BvString& storage) const;
    /// Length of the MIME text in bytes.
    std::size_t GetSourceSize() const;
    /// The header block of the message as it would be written. Returns `out`.
    CZncString& GetHead(CZncString& out) const;
    /// The decoded value of a header field of the message, empty when there is none. Returns `out`.
    CZncString& GetHeader(const char* name, CZncString& out) const;

    // Loading and saving.

    /// Replaces the record by the message in `text`.
    std::int32_t LoadFromText(const char* text);
    /// Replaces the record by the message in a file.
    std::int32_t LoadFromFile(const char* path);
    /// Writes the MIME text as it stands to a file.
    std::int32_t SaveToFile(const char* path) const;

    // Attachments. They are numbered from 1.

    /// Attaches the files of a list, which "|" separates; it ends at a blank entry. Nothing is
    /// added when one can't be opened; those ahead of one that can't be read stay.
    std::int32_t AddFiles(std::string_view paths);
    /// Attaches a copy of a file.
    std::int32_t AddFile(std::string_view path, std::string_view contentType);
    std::int32_t GetAttachmentCount() const;
    /// The name as the sender wrote it: never a path to be trusted. Empty on failure.
    std::int32_t GetAttachmentName(std::int32_t number, CZncString& out) const;
    /// Length in bytes of the MIME text of the attachment, so far more than that of the file. 0 on
    /// failure.
    std::int32_t GetAttachmentSize(std::int32_t number, std::uint32_t& out) const;
    /// Writes the decoded bytes to a file.
    std::int32_t SaveAttachment(std::int32_t number, const char* path) const;

    // Header text and charsets.

    static TextClass ClassifyText(std::u16string_view text);
    /// The MIME name of the charset of a code page (RFC 2978), empty for an unknown one.
    static std::string_view CharsetForCodePage(std::uint32_t codePage);
    /// The text as one encoded word (RFC 2047) unless it is ASCII; between quote marks if `quoted`.
    std::string EncodeHeaderText(std::u16string_view text, bool quoted) const;
    /// Fills body and content fields of a node. `contentType` comes without a charset parameter.
    void SetTextBody(borvik::BvMime& node, std::u16string_view text,
                     std::string_view contentType) const;

    CZncString m_strMailer;  ///< Text of the X-Mailer field; empty for none.
    CZncStringW m_wstrSubject;
    CZncStringW m_wstrBodyPlainText;
    CZncStringW m_wstrBodyHtml;
    CZncStringW m_wstrFromName;
    CZncStringW m_wstrFromAddress;
    CZncStringW m_wstrReplyAddress;
    CZncStringW m_wstrReadReceiptAddress;
    CZncStringW m_wstrOrganization;
    RecipientList m_lstTo;
    RecipientList m_lstCc;
    RecipientList m_lstBcc;
    /// Number of the message on the POP3 server, 0 when it wasn't fetched.
    std::uint32_t m_uID = 0;
    std::int32_t m_nEncoding = 0;                ///< Code page that labels Latin text, 0 for none.
    std::int32_t m_nPriority = kNormalPriority;  ///< 1 (highest) to 5; others act as 3.
    AttachmentList m_lstAttachments;
    HeaderMap m_mapHeaders;
    std::unique_ptr<borvik::BvMime> m_pMime;  ///< Root of the tree, never null.
    CZncString m_strBoundary;                 ///< What the boundaries of the last `Encode` end in.
    std::uint32_t m_uBoundaryCount = 0;       ///< Boundaries made by the last `Encode`.
    std::uint32_t m_uContentId = 0;           ///< Last number used for a Content-ID.

private:
    /// A text body in the form in which it travels.
    struct EncodedText {
        std::string bytes;
        std::string contentType;
        bool isBinary = false;  ///< Goes as base64.
    };

    static bool AddRecipients(RecipientList& list, std::u16string_view addresses,
                              std::u16string_view displayName);

    void AddAddressFields();
    void AddPriorityFields();
    void AddCustomHeaders();
    void AddField(const char* name, const std::string& value);
    std::string FormatMailbox(const CZncStringW& name, const CZncStringW& address) const;
    std::string FormatRecipients(const RecipientList& list) const;
    void BuildContent();
    void DrawBoundary(const EncodedText& plain, const EncodedText& html);
    std::string NextBoundary();
    void AppendTextParts(const EncodedText& plain, const EncodedText& html);
    EncodedText EncodeText(std::u16string_view text, std::string_view contentType) const;
    std::uint32_t LabelCodePage() const;
    static void SetTextBody(borvik::BvMime& node, const EncodedText& text);
    static void AppendText(borvik::BvMime& parent, const EncodedText& text);
    static void MakeMultipart(borvik::BvMime& node, const char* contentType,
                              const std::string& boundary);

    void ParseAddressField(const char* field, RecipientList& list);
    /// Sorts a node and those below it into bodies and attachments. False when an attachment has
    /// taken the handle over.
    bool WalkParts(std::unique_ptr<borvik::BvMime>& node, int depth);

    const CZnMailAttachment* FindAttachment(std::int32_t number) const;
};

/// The 8-bit form of a text that comes from the MIME tree, up to its first zero byte. It points
/// into `text`.
std::string_view AnsiTextOf(borvik::BvString& text);

}  // namespace tessolt
