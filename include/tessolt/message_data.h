/// What an `EMailMessage` gives beside its automation interface: bytes in memory, header fields and
/// images within HTML. `IEMailMessage::QueryInterface` leads to it; scripts don't see it.
#pragma once

#include <tessolt/automation_types.h>
#include <tessolt/guids.h>
#include <tessolt/text_argument.h>

namespace tessolt {

/// The rules that an object works by, where its own of old and those of today part.
enum : LONG {
    TESSOLT_RULES_CLASSIC = 0,
    TESSOLT_RULES_CURRENT = 1,
};

struct IEMailMessage;

/// Bytes that belong to somebody else.
struct ByteView {
    const char* data;  ///< The first of them; null or any for none.
    size_t size;       ///< How many.
};

/// Results are those of the automation interfaces: S_OK, with the outcome in `LastError` where an
/// operation says that it sets it. E_POINTER for a null result pointer; no result is touched then.
struct IMessageData : IUnknown {
    /// Its identifier.
    static constexpr const IID& kIid = IID_IMessageData;

    /// The rules that the message is read and written by, in place of those of the settings, up to
    /// the next `Clear`; to be called while the message is empty. E_INVALIDARG for an unknown
    /// number.
    virtual HRESULT UseRules(LONG rules) = 0;

    /// The bytes that were fetched or loaded, each as it came; empty when none were, or classic
    /// rules read them. No copy: good until the message is changed, encoded anew, sent or gone.
    virtual HRESULT GetLoadedBytes(ByteView* bytes) = 0;
    /// The MIME text as it stands, the same bytes that `SaveMIME` writes. Good until the next call
    /// of this, and no longer than what is above.
    virtual HRESULT GetMimeBytes(ByteView* bytes) = 0;
    /// Replaces the message by the one in these bytes, which are copied. Sets `LastError`.
    virtual HRESULT LoadBytes(const void* bytes, size_t size) = 0;

    /// Attaches a copy of the bytes. Without a content type it is told from the name's ending. Sets
    /// `LastError`: 36002 for a name or type with control characters, or a type that is none.
    virtual HRESULT AddAttachmentBytes(const void* bytes, size_t size, TextArgument name,
                                       TextArgument contentType = {}) = 0;
    /// Makes attachment `number`, which was added and not loaded, an image of the HTML body, which
    /// shows it as "cid:" + `contentId` (RFC 2392). The two then travel in a multipart/related (RFC
    /// 2387). Sets `LastError`: 36002 for another attachment, or an id that isn't printable ASCII.
    virtual HRESULT SetInline(LONG number, TextArgument contentId) = 0;
    /// The decoded bytes of attachment `number`. Good until the next call of this, until the
    /// message is changed, or gone. Sets `LastError`.
    virtual HRESULT GetAttachmentBytes(LONG number, ByteView* bytes) = 0;
    /// Its media type and the word of its Content-Disposition in lower case, and its Content-ID
    /// without brackets; empty where it has none. Sets `LastError`.
    virtual HRESULT GetAttachmentType(LONG number, BSTR* contentType, BSTR* contentId,
                                      BSTR* disposition) = 0;

    /// The number of header fields of the message as it stands. Finds them anew.
    virtual HRESULT CountFields(LONG* count) = 0;
    /// Field `number`, from 1, as the last `CountFields` found them: its name, its text, and its
    /// value as it stands, which is good until the next `CountFields`. E_INVALIDARG beyond the
    /// last.
    virtual HRESULT GetField(LONG number, BSTR* name, BSTR* value, ByteView* rawValue) = 0;
    /// Sets a header field for the next `Encode`: one of the caller's own, or by current rules
    /// "Date", "Message-ID", "In-Reply-To" and "References" too, which then aren't made. Text
    /// beyond ASCII is encoded (RFC 2047). Sets `LastError`: 36002 for a name that is none (RFC
    /// 5322, 2.2) or a value with control characters.
    virtual HRESULT SetField(TextArgument name, TextArgument value) = 0;
    /// Sets the field "Date": seconds since 1970 in UTC, as a clock shows them that is so many
    /// minutes ahead of UTC. E_INVALIDARG for a year before 1900 or after 9999, or a day or more.
    virtual HRESULT SetDate(int64_t unixSeconds, LONG minutesAhead) = 0;

    /// The number of parts of the message as it stands, the message itself first, each in front of
    /// the parts within it. Finds them anew.
    virtual HRESULT CountParts(LONG* count) = 0;
    /// Part `number`, from 1, as the last `CountParts` found them: how deep it lies, 0 for the
    /// message, its media type in lower case, its name, empty without one, and the bytes of its
    /// content as it is sent. E_INVALIDARG beyond the last.
    virtual HRESULT GetPart(LONG number, LONG* depth, BSTR* contentType, BSTR* name,
                            uint64_t* size) = 0;

    /// A new message that is equal to this one: its fields, those that get a blind copy,
    /// attachments, rules, number in the mailbox, and its MIME text as it stands. What is done to
    /// one of the two later doesn't show in the other, and each may be used by a thread of its own.
    /// Bytes that were loaded aren't copied. The caller releases it. E_POINTER, or E_OUTOFMEMORY.
    virtual HRESULT Copy(IEMailMessage** copy) = 0;

protected:
    ~IMessageData() = default;
};

}  // namespace tessolt
