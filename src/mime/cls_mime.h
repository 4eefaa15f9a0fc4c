#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "base/data_buffer.h"
#include "base/string_buffer.h"
#include "mime/shared_mime.h"
#include "text/cls_base.h"
#include "text/xstring.h"

namespace borvik {

class MimePieces;

/// The object behind a `BvMime`: one counted reference to a tree, and the identity of the node
/// addressed in it. All strings are UTF-8. Every operation holds the tree's lock while it touches
/// nodes; one on a node that has left its tree goes on at the empty root of a new tree.
class ClsMime : public ClsBase {
public:
    /// On the root of a new tree.
    ClsMime();
    /// On a node of a tree that others address as well. Call under the tree's lock.
    ClsMime(SharedMime& tree, std::uint64_t partId);
    ~ClsMime() override;

    ClsMime(const ClsMime&) = delete;
    ClsMime& operator=(const ClsMime&) = delete;

    std::uint64_t partId() const { return partId_; }
    SharedMime& tree() { return *tree_; }

    /// Leaves the tree for a new one, on its root.
    void initNew();
    /// Whether it is on the root of a tree that holds nothing and that nobody else is on.
    bool isBlank();

    // Loading and saving.

    /// Parses a string into a new tree. Always true. `bodyIsUtf8` says that the text has been taken
    /// to UTF-8 as a whole, so that 8-bit bodies aren't converted from their labels.
    bool loadMimeText(std::string_view text, bool bodyIsUtf8);
    /// Parses bytes, UTF-16 among them, into a new tree. False when the parser refuses them.
    /// `storage`, unless it is null, is what they stand in: the tree may keep it.
    bool loadMimeBinary(std::string_view bytes, std::shared_ptr<DataBuffer> storage = nullptr);
    bool loadMimeFile(XString& path);
    bool saveMime(XString& path);

    /// Whether the text has no header but begins with a boundary line; `boundary` gets what stands
    /// behind its "--".
    static bool findBoundaryIfNoHeader(std::string_view text, std::string& boundary);

    // Whole text.

    /// False, with `out` empty or a beginning, when there is no memory for the text or it passes
    /// what a string or buffer holds. All other operations throw `std::bad_alloc` then, but for
    /// loading and saving files, which fail.
    /// `isBytes` tells whether the text is what `getMimeBytes` gives.
    bool getMime(XString& out, bool& isBytes);
    bool getMimeBytes(DataBuffer& out);
    /// The same as pieces, which stand in the tree.
    bool getMimePieces(MimePieces& out);
    std::size_t textSizeEstimate();
    void getEntireHead(XString& out);

    // Header fields.

    bool getHeaderField(std::string_view name, XString& out);
    /// The text of the same, up to its first zero byte.
    void readHeaderField(std::string_view name, std::string& out);
    void addHeaderField(std::string_view name, std::string_view value);
    void setHeaderField(std::string_view name, std::string_view value);

    // Parts.

    int numParts();
    std::unique_ptr<ClsMime> getPart(int index);
    void appendPart(ClsMime& other);
    /// The old content becomes the first child of a multipart/mixed root in a new tree.
    void convertToMultipart();

    // Body.

    void getBodyBinary(DataBuffer& out);
    bool saveBody(XString& path);
    void getBodyDecoded(XString& out);
    std::size_t bodySize();
    /// Gives `take` what `getBodyDecoded` would, where it stands. False, without a call, when it
    /// isn't that as it stands, in the ANSI code page.
    bool readBody(const std::function<void(std::string_view)>& take);
    /// Another reference to the same node.
    std::unique_ptr<ClsMime> share();
    /// The root of a new tree that holds a copy of the node.
    std::unique_ptr<ClsMime> copy();
    void setBody(std::string_view text);
    void setBodyFromBinary(DataBuffer&& bytes);

    // Properties.

    void contentType(XString& out);
    void name(XString& out);
    void filename(XString& out);
    void setContentType(std::string_view value);
    void setEncoding(std::string_view value);
    void setDisposition(std::string_view value);
    void setBoundary(std::string_view value);

private:
    class Method;

    /// Runs `work` on the node, under the lock.
    template <class Work>
    auto onMyPart(Work&& work);
    /// The same for work that changes the node.
    template <class Work>
    void changeMyPart(Work&& work);

    template <class Work>
    bool tellsMemory(Work&& work);
    bool buildText(DataBuffer& out);
    bool showText(XString& out);
    bool parseInto(std::string_view text, bool fromText, bool bodyIsUtf8,
                   std::shared_ptr<DataBuffer> storage = nullptr);
    void leaveTree();
    /// Call under the tree's lock.
    bool isOnlyOneOnRoot() const;

    SharedMime* tree_ = nullptr;
    std::uint64_t partId_ = 0;
};

}  // namespace borvik
