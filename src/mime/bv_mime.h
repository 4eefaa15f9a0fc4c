#pragma once

#include <array>
#include <cstddef>
#include <functional>
#include <memory>
#include <string_view>

#include "base/bv_object.h"

namespace borvik {

class BvByteData;
class BvString;
class ClsMime;
class MimePieces;

/// Handle on one node of a MIME tree (RFC 2045, RFC 2046): the door through which a message is
/// built and read. Several handles may address nodes of one tree; it lives as long as any of them.
///
/// Every 8-bit string that passes is in the ANSI code page of the process; a null argument counts
/// as empty. Inside, text is UTF-8: what has no place in the ANSI code page is lost when it is read
/// here, not in the tree, and `BvString` results can be read as UTF-8 or UTF-16 instead.
///
/// What there is no memory for throws `std::bad_alloc` where nothing else is told.
///
/// Calls on one tree may come from several threads. A handle itself belongs to one thread at a
/// time.
class BvMime : public BvObject {
public:
    /// A root node with no header fields, no body and no parts.
    BvMime();
    /// A handle on the node that `impl` addresses; takes it over.
    explicit BvMime(std::unique_ptr<ClsMime> impl);
    ~BvMime() override;

    // Loading and saving. Loading puts the handle on the root of a new tree.

    /// Parses message text of any quality. Always true.
    bool LoadMime(const char* text);
    /// Parses a file. False when it can't be read (the tree stays as it is then), when its header
    /// is over 20,000,000 bytes long (the root is empty then) or when memory is short.
    bool LoadMimeFile(const char* path);
    /// Writes the bytes of the node, with everything below it, to a file. The result of the write;
    /// false also when there is no memory for the text.
    bool SaveMime(const char* path);

    // Whole text of the node.

    /// The node with everything below it. 8-bit bytes are read in the charset of the first 8-bit
    /// text part. False, with `out` empty, when there is no memory for the text, or it has 2 GiB.
    bool GetMime(BvString& out);
    /// The same; `isBytes` tells whether the UTF-8 of it is what `GetMimeBytes` gives.
    bool GetMime(BvString& out, bool& isBytes);
    /// The same as bytes, those that `SaveMime` writes. The limit is 4 GiB, and `out` may hold a
    /// beginning when that is passed.
    bool GetMimeBytes(BvByteData& out);
    /// The same with long bodies left where they stand. `out`, which is empty before, is good until
    /// a node is changed. False when there is no memory.
    bool GetMimePieces(MimePieces& out);
    /// About the length of that text, without making it.
    std::size_t TextSizeEstimate();
    /// The header block as it would be written, without the blank line that ends it. Always true.
    bool GetEntireHead(BvString& out);

    // Header fields. Names compare ignoring ASCII case.

    /// The decoded value of the first field of that name. False, with `out` empty, when there is
    /// none.
    bool GetHeaderField(const char* name, BvString& out);
    /// The same as UTF-8, up to its first zero byte; empty when there is none.
    void ReadHeaderField(std::string_view name, std::string& out);
    /// Adds a field at the end, beside any of the same name; nothing for a blank value. Always
    /// true.
    bool AddHeaderField(const char* name, const char* value);
    /// Removes every field of that name and, unless the value is blank, adds one at the end. Always
    /// true.
    bool SetHeaderField(const char* name, const char* value);

    // Parts.

    /// Number of direct children.
    int NumParts();
    /// A new handle on a direct child, counted from 0; null outside the list.
    std::unique_ptr<BvMime> GetPart(int index);
    /// Appends a copy of the other node, made by writing and reading it. A node that isn't
    /// multipart becomes the first child of a new multipart/mixed root, which this handle is on
    /// from then on. False, with no change, for null.
    bool AppendPart(const BvMime* part);

    // Body.

    /// The stored bytes; those of a text are UTF-8. Always true.
    bool GetBodyBinary(BvByteData& out);
    /// Writes the stored bytes to a file, creating or replacing it. The result of the write.
    bool SaveBody(const char* path);
    /// The stored body as text. Zero bytes of a text become blanks, any other body ends at the
    /// first of them. Always true.
    bool GetBodyDecoded(BvString& out);
    /// Length of the stored bytes.
    std::size_t BodySize();
    /// Gives `take` the text of `GetBodyDecoded` in the ANSI code page, up to its first zero byte:
    /// without a copy where it is stored as that. `take` must not call anything of the tree.
    void ReadBody(const std::function<void(std::string_view)>& take);
    /// A further handle on the same node.
    std::unique_ptr<BvMime> Share();
    /// A handle on the root of a new tree: a copy of this node with everything below it, which
    /// shares long bodies.
    std::unique_ptr<BvMime> Copy() const;
    /// Stores the text; no header field changes.
    void SetBody(const char* text);
    /// Stores the bytes and sets the transfer encoding to base64. Always true.
    bool SetBodyFromBinary(const BvByteData& bytes);
    /// The same without a copy: takes the storage over.
    bool SetBodyFromBinary(BvByteData&& bytes);

    // Properties.

    /// The media type without parameters, or what was last set, in lower case.
    void ContentType(BvString& out);
    /// Sets the media type and keeps the parameters known. Parameters within `value` are written as
    /// they are and label bytes that are in that charset already.
    void ContentType(const char* value);
    /// The decoded "name" parameter of Content-Type.
    void Name(BvString& out);
    /// The decoded "filename" parameter of Content-Disposition.
    void Filename(BvString& out);
    /// Sets Content-Transfer-Encoding.
    void Encoding(const char* value);
    /// Sets Content-Disposition with the file name known; an empty value removes the field.
    void Disposition(const char* value);
    /// Sets the boundary parameter of Content-Type.
    void Boundary(const char* value);

    // The same results as plain text, in the ANSI code page. Each is good until ten further calls
    // of this group on this handle.

    /// Null when there is no such field.
    const char* header(const char* name);
    const char* entireHead();
    /// Null when there is no memory for the text.
    const char* getMime();
    const char* bodyDecoded();
    const char* contentType();
    const char* filename();
    const char* name();

private:
    static constexpr std::size_t kResultRingSize = 10;

    BvString& nextResult();

    std::unique_ptr<ClsMime> impl_;
    /// Nothing sets it: strings of the boundary are in the ANSI code page, not in UTF-8.
    bool utf8_ = false;
    std::size_t ringPosition_ = 0;
    /// Made at first use: most handles on a part never return plain text.
    std::unique_ptr<std::array<BvString, kResultRingSize>> resultRing_;
};

}  // namespace borvik
