#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/mail_rules.h"
#include "foundation/base_object.h"
#include "foundation/narrow_string.h"
#include "foundation/wide_string.h"
#include "message/boundary_maker.h"
#include "message/mail_result.h"
#include "message/mail_tree.h"
#include "message/znmail_attachment.h"
#include "message/znmail_header.h"
#include "message/znmail_recipient.h"
#include "mime/bv_mime.h"
#include "text/outward_strings.h"

namespace tessolt {

namespace reading {
class Message;
}

class WireText;
struct LoadedMessage;

/// One header field of a message.
struct MailField {
    std::string name;      ///< As it is written.
    std::u16string value;  ///< Unfolded, encoded words decoded.
    std::string raw;       ///< As it stands, folds included, without the last line end.
};

/// How far the characters of a text go, and with that how it travels.
enum TextClass : std::int32_t {
    TextAscii = 1,  ///< Below U+0080: as it is.
    TextLatin = 2,  ///< Below U+0100: see `EncodeHeaderText`.
    TextWide = 3,   ///< Anything: in UTF-8.
};

/// An e-mail message: what a caller composes, or what was read from MIME text.
///
/// A record has two sides. The fields are free to read and write; the MIME tree is what a message
/// was last encoded to or loaded from; that of a message of one part is made when it is asked for.
/// `Encode` builds the tree anew from the fields and `Decode` fills the fields from the tree;
/// nothing else links the two. Under current rules a loaded text stands in place of the tree, and
/// `Encode` changes in it what was changed in the fields.
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
    /// `CheckForSending`. `kMailNotBuilt`, with the tree as it was, when memory is short, else 0.
    virtual std::int32_t Encode();
    /// Adds the field with the blind copies to the tree, for a reader that makes an envelope of it.
    void AddBlindCopies();
    void RemoveBlindCopies();
    /// What the record stands on, to be kept before fields are added for a while.
    struct Standing {
        std::unique_ptr<borvik::BvMime> blank;  ///< A tree that holds nothing.
        std::shared_ptr<const LoadedMessage> loaded;
    };
    Standing KeepStanding() const;
    /// For want of memory to remove such fields one by one: the loaded text as it was, or an empty
    /// tree, and no custom headers whose names begin with `prefix`. Takes no memory.
    void FallBack(Standing before, std::string_view prefix);
    /// Fills the fields from the tree; those that the tree lacks stay as they are. Always 0. Throws
    /// `std::bad_alloc`.
    virtual std::int32_t Decode();

    /// Empties fields and tree. `m_strMailer` and `m_uID` stay.
    void Clear();
    /// Makes this record equal to the other, rules and tree included; neither then sees a change of
    /// the other. Throws `std::bad_alloc`, and is of no use then.
    void CopyFrom(const CZnMail& other);

    // Composing.

    /// Adds a recipient for each of the addresses, which ";", "," or "|" separate; the list ends at
    /// an empty one. A single address gets the display name, several have themselves as names.
    /// An invalid address fails with the number of the list, and nothing is added.
    std::int32_t AddTo(std::u16string_view addresses, std::u16string_view displayName = {});
    std::int32_t AddCc(std::u16string_view addresses, std::u16string_view displayName = {});
    std::int32_t AddBcc(std::u16string_view addresses, std::u16string_view displayName = {});
    /// Removes the custom headers whose names begin with `prefix`, and their fields in the tree.
    void RemoveHeaders(std::string_view prefix);
    /// Sets a custom header. One of exactly this name is replaced; nothing is checked.
    void AddHeader(std::string_view name, std::string_view value);
    /// 0 when the sender's address is empty or valid and there is a To recipient; trims the
    /// sender's address.
    std::int32_t CheckForSending();
    /// The addresses of a list in 8-bit form, joined by ";", without any ";" at the end.
    static std::string JoinAddresses(const RecipientList& list);

    // The tree as it stands.

    /// The whole MIME text, which is never empty unless there is no memory for it. Returns `out`.
    CZncString& GetSource(CZncString& out) const;
    /// The same without a copy: good as long as `storage` and the record are and aren't changed.
    std::string_view GetSource(borvik::BvString& storage) const;
    /// The same as bytes, those that `SaveToFile` writes. Empty when memory ran out.
    std::string_view GetSourceBytes(borvik::BvByteData& storage) const;
    /// Fills `text`, which is empty, with what goes to a server: each part in the charset of its
    /// label when the ANSI code page is UTF-8, else as `GetSource`. Good while the record isn't
    /// changed; empty when memory ran out.
    void GetWireText(WireText& text) const;
    /// The same for a server that takes 8-bit text or doesn't. What was loaded under current rules
    /// has those parts coded that can't travel as they came, and nothing else. `canTravel` is false
    /// where that isn't enough.
    void GetWireText(WireText& text, bool takesEightBit, bool& canTravel) const;
    /// Length of the MIME text in bytes, 0 when there is no memory for it.
    std::size_t GetSourceSize() const;
    /// The header block of the message as it would be written. Returns `out`.
    CZncString& GetHead(CZncString& out) const;
    /// The decoded value of a header field of the message, empty when there is none. Returns `out`.
    CZncString& GetHeader(const char* name, CZncString& out) const;

    /// The same as UTF-16, whole where it was loaded under current rules.
    std::u16string GetHeaderText(const char* name) const;

    /// All header fields of it in their order.
    std::vector<MailField> GetFields() const;
    /// The bytes that were loaded under current rules, exactly; empty for any other message. Good
    /// until the record is changed.
    std::string_view GetLoadedBytes() const;

    // Loading and saving. A path here and below that the ANSI code page can't express fails as one
    // that can't be opened.

    /// Replaces the record by the message in `text`. Loading and saving fail when memory is short.
    std::int32_t LoadFromText(const char* text);
    /// The same of any bytes; under classic rules the text ends at its first zero byte.
    std::int32_t LoadFromBytes(std::string text);
    /// Replaces the record by the message in a file.
    std::int32_t LoadFromFile(std::u16string_view path);
    /// 0 when the record may be saved: what was loaded under current rules always, anything else
    /// when it could be sent.
    std::int32_t CheckForSaving();
    /// Writes the MIME text as it stands to a file.
    std::int32_t SaveToFile(std::u16string_view path) const;

    // Attachments. They are numbered from 1.

    /// Attaches the files of a list, which "|" separates; it ends at a blank entry. Nothing is
    /// added when one can't be opened; those ahead of one that can't be read stay.
    std::int32_t AddFiles(std::u16string_view paths);
    /// Attaches a copy of a file. Fails when its text would bring that of the message over 2 GiB.
    std::int32_t AddFile(std::u16string_view path, std::string_view contentType);
    /// Attaches bytes under a name. Fails as `AddFile`.
    std::int32_t AddBytes(borvik::BvByteData&& bytes, std::u16string_view name,
                          std::string_view contentType);
    /// Makes an attachment that was added an image of the HTML body, which shows it as
    /// "cid:" + `contentId`. False for any other.
    bool SetInline(std::int32_t number, std::string_view contentId);
    std::int32_t GetAttachmentCount() const;
    /// Fills `bytes` with the decoded bytes.
    std::int32_t GetAttachmentBytes(std::int32_t number, borvik::BvByteData& bytes) const;
    /// Media type in lower case, Content-ID without its brackets, and the word of
    /// Content-Disposition in lower case, each empty where there is none.
    std::int32_t GetAttachmentType(std::int32_t number, std::string& type, std::string& contentId,
                                   std::string& disposition) const;
    /// The name as the sender wrote it: never a path to be trusted. Empty on failure.
    std::int32_t GetAttachmentName(std::int32_t number, CZncString& out) const;
    /// The same as UTF-16, whole where it was loaded under current rules.
    std::int32_t GetAttachmentNameText(std::int32_t number, std::u16string& out) const;
    /// Length in bytes of the MIME text of the attachment, so far more than that of the file. 0 on
    /// failure, which no memory for that text is too.
    std::int32_t GetAttachmentSize(std::int32_t number, std::uint32_t& out) const;
    /// Writes the decoded bytes to a file.
    std::int32_t SaveAttachment(std::int32_t number, std::u16string_view path) const;

    // Header text and charsets.

    static TextClass ClassifyText(std::u16string_view text);
    /// The MIME name of the charset of a code page (RFC 2978), empty for an unknown one.
    static std::string_view CharsetForCodePage(std::uint32_t codePage);
    /// The text as one encoded word (RFC 2047) unless it is ASCII; between quote marks if `quoted`.
    /// Latin text is in the ANSI code page under the label of `m_nEncoding`; when that page is
    /// UTF-8, it is converted to the page of the label, or labelled UTF-8 where it doesn't fit.
    std::string EncodeHeaderText(std::u16string_view text, bool quoted) const;

    MailRules m_rules;       ///< What it is written and read by; `Clear` leaves it alone.
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
    std::int32_t m_nEncoding = 0;                ///< Code page of Latin text; 0 is the ANSI page.
    std::int32_t m_nPriority = kNormalPriority;  ///< 1 (highest) to 5; others act as 3.
    AttachmentList m_lstAttachments;
    HeaderMap m_mapHeaders;
    MailTree m_pMime;                    ///< Root of the tree.
    CZncString m_strBoundary;            ///< What the boundaries of the last `Encode` end in.
    std::uint32_t m_uBoundaryCount = 0;  ///< Boundaries made by the last `Encode`.
    std::uint32_t m_uContentId = 0;      ///< Last number used for a Content-ID.

private:
    /// A short text of the message, once written.
    struct KeptText {
        std::string text;          ///< As `GetSource` gives it.
        bool isBytes = false;      ///< It is 7-bit, and the bytes of the message too.
        std::size_t headSize = 0;  ///< Of one that was drafted: the header without its line end.
    };
    /// Null when it wasn't asked for since the tree was changed, or isn't short.
    mutable std::shared_ptr<const KeptText> m_pKept;

    using EncodedText = borvik::TextBody;

    /// 8-bit text with what it is to be called.
    struct LabelledText {
        std::string bytes;
        std::string_view charset;
        bool isAscii = false;  ///< Needs no label.
    };

    static bool AddRecipients(RecipientList& list, std::u16string_view addresses,
                              std::u16string_view displayName);

    /// Differences to a loaded message.
    struct LoadedChanges;

    /// `Decode` and `Encode` of what was loaded under current rules.
    void DecodeLoaded();
    std::int32_t EncodeLoaded();
    LoadedChanges ChangesSince(const CZnMail& before) const;
    std::string MergeChanges(const LoadedChanges& changes, const reading::Message& message);
    std::string ComposeAnew();
    /// Makes `text`, just encoded, the message that stands, and finds the attachments in it.
    void StandOn(std::string text);
    /// Sets a field of what was loaded, at the end of the header; an empty value takes it away.
    void SetLoadedField(std::string_view name, std::string_view value);
    /// What was loaded, without what `Queue` had added where the rules have it so.
    std::shared_ptr<const LoadedMessage> LoadedOutward() const;
    std::string_view LoadedWireText(std::string_view text, borvik::BvString& storage) const;
    void AddLoadedAttachment(std::uint32_t part);
    static std::string LoadedAttachmentBytes(const CZnMailAttachment& attachment);
    static std::string_view LoadedAttachmentSource(const CZnMailAttachment& attachment);

    /// The kept text, which is written first if need be; null for a long one. Throws
    /// `std::bad_alloc`.
    std::shared_ptr<const KeptText> Kept() const;
    /// The same where its text is the bytes of the message; else, or without memory, null.
    std::shared_ptr<const KeptText> KeptBytes() const;
    /// `GetMimePieces` of the tree, which isn't made for a draft with a long body.
    bool FillPieces(borvik::MimePieces& pieces) const;
    /// Everything but the tree. Takes no memory.
    void ClearFields();
    std::int32_t LoadAnew(const std::function<bool()>& load, std::int32_t failure);
    /// Builds the tree from the fields and the attachments given.
    void BuildTree(const AttachmentList& attachments);
    void AddAddressFields(borvik::MimeDraft& draft) const;
    bool HasHeader(std::string_view name) const;
    void AddDate(borvik::MimeDraft& draft) const;
    void AddMessageId(borvik::MimeDraft& draft) const;
    void AddPriorityFields(borvik::MimeDraft& draft) const;
    void AddCustomHeaders(borvik::MimeDraft& draft) const;
    void AppendMailbox(std::u16string_view name, std::u16string_view address,
                       std::string& out) const;
    void AppendHeaderText(std::u16string_view text, bool quoted, std::string& out) const;
    void AppendRecipients(const RecipientList& list, std::string& out) const;
    std::string FormatRecipients(const RecipientList& list) const;
    void AddRecipientField(const char* name, const RecipientList& list,
                           borvik::MimeDraft& draft) const;
    void BuildContent(borvik::MimeDraft&& draft, const AttachmentList& attachments);
    void DrawBoundary(const EncodedText& plain, const EncodedText& html,
                      const AttachmentList& attachments);
    std::string NextBoundary();
    using PartList = std::vector<const borvik::BvMime*>;
    void AppendTextParts(const EncodedText& plain, const EncodedText& html, const PartList& images);
    void AppendHtml(borvik::BvMime& parent, const EncodedText& html, const PartList& images);
    void AppendParts(borvik::BvMime& parent, const PartList& parts) const;
    EncodedText EncodeText(std::u16string_view text, std::string_view contentType) const;
    LabelledText LabelText(std::u16string_view text) const;
    EncodedText EncodeCanonicalText(std::u16string_view text, std::string_view contentType) const;
    static void AppendText(borvik::BvMime& parent, const EncodedText& text);
    static void MakeMultipart(borvik::BvMime& node, const char* contentType,
                              const std::string& boundary);

    void ParseAddressField(const char* field, RecipientList& list);
    /// Sorts a node and those below it into bodies and attachments. False when an attachment has
    /// taken the handle over.
    bool WalkParts(std::unique_ptr<borvik::BvMime>& node, int depth);

    std::size_t RoomForFile() const;
    const CZnMailAttachment* FindAttachment(std::int32_t number) const;

    /// What was loaded under current rules, or last encoded from that; null when the tree stands.
    std::shared_ptr<const LoadedMessage> m_pLoaded;
};

/// The 8-bit form of a text that comes from the MIME tree, up to its first zero byte. It points
/// into `text`.
std::string_view AnsiTextOf(borvik::BvString& text);

}  // namespace tessolt
