#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "base/borvik_object.h"
#include "base/data_buffer.h"
#include "base/ext_ptr_array.h"
#include "base/log_base.h"
#include "base/string_buffer.h"
#include "charset/charset_registry.h"
#include "charset/xstring.h"
#include "mime/content_params.h"
#include "mime/mime_header.h"

namespace borvik {

class MessageLoader;
class PartIndex;

/// One node of a MIME tree: its header, its decoded body, its children, and the content fields of
/// the header taken apart. The header is the master for what was read, the parts taken apart are
/// the master for what the setters write.
///
/// Text is UTF-8. A node knows its children only, and has no lock: it is touched under that of its
/// tree. Setters report nothing. Logs may be null.
class MimeMessage2 : public BorvikObject {
public:
    MimeMessage2();
    ~MimeMessage2() override;

    MimeMessage2(const MimeMessage2&) = delete;
    MimeMessage2& operator=(const MimeMessage2&) = delete;

    // Tree.

    int getNumParts() const { return static_cast<int>(parts_.getSize()); }
    /// A direct child, counted from 0; null outside the list.
    MimeMessage2* getPart(int index) const { return parts_.get(index); }
    void addPart(std::unique_ptr<MimeMessage2> part);
    /// This node or one below it, depth first; null when none has that object id.
    MimeMessage2* findPartById(std::uint64_t id);
    /// Empties the node and destroys its children.
    void clear();

    // Reading.

    const DataBuffer& rawSignedText() const { return rawSignedText_; }
    const DataBuffer& body() const { return body_; }
    const MimeHeader& header() const { return header_; }
    const StringBuffer& contentType() const { return content_.mediaType; }
    const StringBuffer& name() const { return content_.name; }
    const StringBuffer& protocol() const { return content_.protocol; }
    const StringBuffer& micalg() const { return content_.micalg; }
    const _bvCharset& charset() const { return content_.charset; }
    const StringBuffer& boundary() const { return content_.boundary; }
    const StringBuffer& smimeType() const { return content_.smimeType; }
    const StringBuffer& type() const { return content_.type; }
    const StringBuffer& disposition() const { return disposition_.disposition; }
    const StringBuffer& filename() const { return disposition_.filename; }
    const StringBuffer& encoding() const { return encoding_; }
    const StringBuffer& contentId() const { return contentId_; }

    /// By the first nine characters of the media type alone.
    bool isMultipart() const;
    /// A multipart/signed (RFC 1847) other than PGP's.
    bool isSignedMultipart() const;
    bool isAttachment() const;
    /// The value of the first field of that name; what still looks like encoded words in it is
    /// decoded. False, with `out` empty, when there is none.
    bool getHeaderDecoded(std::string_view name, std::string& out) const;
    /// The charset of the first text part that goes out as 8-bit, depth first. False, with `out`
    /// as it was, when there is none.
    bool findFirst8BitCharset(StringBuffer& out) const;

    // Writing.

    /// Replaces every field of that name, at the end of the list; a blank value just removes them.
    void setHeaderField(std::string_view name, std::string_view value);
    /// Adds a field at the end of the list; nothing for a blank value.
    void addHeaderField(std::string_view name, std::string_view value);
    /// Sets the media type as given and keeps the parameters known. Parameters within `text` stay
    /// part of it: `charset` doesn't follow them.
    void setContentType(std::string_view text);
    void setCharset(const _bvCharset& charset);
    void setCharset(const char* name);
    void setBoundary(std::string_view text);
    void setEncoding(std::string_view word);
    /// An empty word and filename remove the field.
    void setContentDisposition(std::string_view word, std::string_view filename);
    /// Stores the UTF-8 form of the text.
    void setBodyText(XString& text);
    /// Stores the bytes as they are.
    void setBodyRaw(std::string_view bytes);
    void setBodyRaw(DataBuffer&& bytes);
    /// Empties the node and makes it a multipart/mixed with a new boundary.
    void newMultipartMixed();

    // Parsing.

    /// Parses a message with all its parts. `fromText` says that the text came in as a string,
    /// `bodyIsUtf8` that it has been taken to UTF-8 as a whole. False only for a null text and for
    /// a header of more than 20,000,000 bytes; the node is empty then.
    bool LoadMimeComplete2(std::string_view text, bool fromText, LogBase* log, bool bodyIsUtf8);
    /// Makes the node what reading the text of `source` gives.
    void loadCopy(const MimeMessage2& source, LogBase* log);

    // Assembly. All of them append to `out`.

    /// The header block, without a final line end.
    void assembleHeader(std::string& out, LogBase* log) const;
    /// The whole text of the node with everything below it.
    void getMimeText(StringBuffer& out, LogBase* log) const;
    void getMimeTextDb(DataBuffer& out, LogBase* log) const;
    /// The body of the node, children included.
    void getMimeBodyRecursive(DataBuffer& out, LogBase* log) const;
    /// The coded body of a leaf.
    void getMimeBodyEncodedDb(DataBuffer& out, LogBase* log) const;
    /// The stored body, taken from UTF-8 to the code page unless that is 0 or 65001.
    void getMimeBody8Bit(DataBuffer& out, std::uint32_t codePage) const;

    /// The index of the tree that the node and all below it belong to from now on; null for none.
    void setIndex(PartIndex* index);

private:
    friend class MessageLoader;

    void cacheAll();
    void cacheContentType();
    void cacheContentId();
    void cacheContentDisposition();
    void cacheTransferEncoding();
    void refreshAfter(std::string_view fieldName);
    void rebuildContentType(bool defaultCharset);
    void removeParts();

    void writeSignedParts(DataBuffer& out, LogBase* log) const;
    void writeHeaderBlock(DataBuffer& out, LogBase* log) const;
    void writeBoundaryLine(DataBuffer& out, bool closing) const;
    std::string_view bodyForWire(DataBuffer& converted, LogBase* log) const;
    std::size_t textSizeEstimate() const;

    DataBuffer rawSignedText_;
    DataBuffer body_;
    MimeHeader header_;
    ExtPtrArray<MimeMessage2> parts_{true};
    ContentTypeParams content_;
    ContentDispositionParams disposition_;
    StringBuffer encoding_;
    StringBuffer contentId_;
    PartIndex* index_ = nullptr;
};

}  // namespace borvik
