#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/borvik_object.h"
#include "base/data_buffer.h"
#include "base/log_base.h"
#include "base/string_buffer.h"
#include "charset/charset_registry.h"
#include "mime/header/content_params.h"
#include "mime/header/mime_header.h"
#include "mime/mime_pieces.h"
#include "text/xstring.h"

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

    int getNumParts() const { return static_cast<int>(parts_.size()); }
    /// A direct child, counted from 0; null outside the list.
    MimeMessage2* getPart(int index) const {
        return index < 0 || index >= getNumParts() ? nullptr
                                                   : parts_[static_cast<std::size_t>(index)].get();
    }
    void addPart(std::unique_ptr<MimeMessage2> part);
    /// This node or one below it, depth first; null when none has that object id.
    MimeMessage2* findPartById(std::uint64_t id);
    /// Empties the node and destroys its children.
    void clear();

    // Reading.

    const DataBuffer& rawSignedText() const;
    const DataBuffer& body() const { return body_; }
    const MimeHeader& header() const { return header_; }
    const StringBuffer& contentType() const { return fields().content.mediaType; }
    const StringBuffer& name() const { return fields().content.name; }
    const StringBuffer& protocol() const { return fields().content.protocol; }
    const StringBuffer& micalg() const { return fields().content.micalg; }
    const _bvCharset& charset() const { return fields().content.charset; }
    const StringBuffer& boundary() const { return fields().content.boundary; }
    const StringBuffer& smimeType() const { return fields().content.smimeType; }
    const StringBuffer& type() const { return fields().content.type; }
    const StringBuffer& disposition() const { return fields().disposition.disposition; }
    const StringBuffer& filename() const { return fields().disposition.filename; }
    const StringBuffer& encoding() const { return fields().encoding; }
    const StringBuffer& contentId() const { return fields().contentId; }

    /// Whether it is as a new one.
    bool isBlank() const;
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
    /// Stores the bytes as they are.
    void setBodyRaw(std::string_view bytes);
    void setBodyRaw(DataBuffer&& bytes);
    /// Empties the node and makes it a multipart/mixed with a new boundary.
    void newMultipartMixed();

    // Parsing.

    /// Parses a message with all its parts. `fromText` says that the text came in as a string,
    /// `bodyIsUtf8` that it has been taken to UTF-8 as a whole. False only for a null text and for
    /// a header of more than 20,000,000 bytes; the node is empty then.
    /// `storage`, unless it is null, is what the text stands in: the node may keep it.
    bool LoadMimeComplete2(std::string_view text, bool fromText, LogBase* log, bool bodyIsUtf8,
                           std::shared_ptr<DataBuffer> storage = nullptr);
    /// Adds copies of all that `source` holds to this node, which is new.
    void copyFrom(const MimeMessage2& source);
    /// Makes the node what reading the text of `source` gives.
    void loadCopy(const MimeMessage2& source, LogBase* log);

    // Assembly. All of them append to `out`.

    /// The header block, without a final line end.
    void assembleHeader(std::string& out, LogBase* log) const;
    /// The whole text of the node with everything below it.
    void getMimeText(StringBuffer& out, LogBase* log) const;
    void getMimeTextDb(DataBuffer& out, LogBase* log) const;
    /// The same without copies of long bodies; `out` is empty.
    void getMimePieces(MimePieces& out, LogBase* log) const;
    /// About the length of that text.
    std::size_t textSizeEstimate() const;
    /// Long bodies that are left out.
    using LongBodies = std::vector<LongBody>;
    /// The body of the node, children included.
    void getMimeBodyRecursive(DataBuffer& out, LogBase* log, LongBodies* left = nullptr) const;
    /// The coded body of a leaf.
    void getMimeBodyEncodedDb(DataBuffer& out, LogBase* log, LongBodies* left = nullptr) const;
    /// The stored body, taken from UTF-8 to the code page unless that is 0 or 65001.
    void getMimeBody8Bit(DataBuffer& out, std::uint32_t codePage) const;

    /// The index of the tree that the node and all below it belong to from now on.
    void setIndex(PartIndex* index);

private:
    friend class MessageLoader;

    /// The content fields taken apart.
    struct ContentFields {
        ContentTypeParams content;
        ContentDispositionParams disposition;
        StringBuffer encoding;
        StringBuffer contentId;
    };

    /// Empty ones when the node has none.
    const ContentFields& fields() const { return fields_ == nullptr ? noFields() : *fields_; }
    static const ContentFields& noFields();
    /// Those of this node alone, which may be changed.
    ContentFields& editFields();

    /// What the content fields of the part read before said, for the next that says the same.
    struct LastFields {
        std::array<std::string, 4> values;
        std::shared_ptr<ContentFields> fields;
    };
    /// Forgets the charset, whatever the header says.
    void clearCharset();
    void setRawSignedText(std::string_view text);

    /// Takes the content fields apart, or shares what `last` holds of the same text.
    /// Values of the content fields; those with encoded words have the text that they stand for.
    struct CodedValues {
        std::array<std::string_view, 4> values;
        std::array<std::string, 4> decoded;
    };

    void cacheAll(LastFields& last);
    /// Takes one content field of the header apart.
    void cacheField(std::size_t field);
    void refreshAfter(std::string_view fieldName);
    void rebuildContentType(bool defaultCharset);
    void takeContentValue(std::size_t field, std::string_view value);
    void readContentValues(CodedValues& coded) const;

    void writeWhole(DataBuffer& out, LogBase* log, LongBodies* left) const;
    void writeSignedParts(DataBuffer& out, LogBase* log, LongBodies* left) const;
    void writeHeaderBlock(DataBuffer& out, LogBase* log) const;
    void writeBoundaryLine(DataBuffer& out, bool closing) const;
    /// The storage of the body, for another node to borrow from; null for a small one, of which a
    /// copy costs less.
    std::shared_ptr<DataBuffer> sharedBody() const;
    std::string_view bodyForWire(DataBuffer& converted, LogBase* log) const;

    // A message may consist of very many tiny parts: what most of those lack is made at first use.
    /// Its own, or borrowed from `bodyStorage_`.
    mutable DataBuffer body_;
    mutable std::shared_ptr<DataBuffer> bodyStorage_;
    MimeHeader header_;
    std::vector<std::unique_ptr<MimeMessage2>> parts_;
    std::unique_ptr<DataBuffer> rawSignedText_;
    std::shared_ptr<ContentFields> fields_;  ///< Nodes may share it: see `editFields`.
    PartIndex* index_ = nullptr;
};

}  // namespace borvik
