#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "base/log_base.h"
#include "mime/header_end.h"
#include "mime/mime_message2.h"

namespace borvik {

/// One run of the parser: turns message text of any quality into a node with all its parts. What
/// can't be read becomes a body. Every part is parsed in place; the work is bounded by a multiple
/// of the text's length.
class MessageLoader {
public:
    /// Multiparts may be nested so many levels deep; the text of a deeper one becomes a body.
    static constexpr int kMostLevels = 100;
    /// A text without a blank line anywhere is taken for a header up to this many bytes.
    static constexpr std::size_t kMostHeaderBytes = 20'000'000;

    /// `fromText` and `bodyIsUtf8` as for `MimeMessage2::LoadMimeComplete2`.
    MessageLoader(bool fromText, bool bodyIsUtf8, LogBase* log)
        : fromText_(fromText), bodyIsUtf8_(bodyIsUtf8), log_(log) {}

    /// Fills the node. False for a null text and for an oversized header. `storage`, which may be
    /// null, is what the text stands in and nobody else needs: a body that is most of it is left
    /// where it stands, and memory of what has been decoded is given back.
    bool load(MimeMessage2& node, std::string_view text,
              std::shared_ptr<DataBuffer> storage = nullptr);

    /// Fills the node from a header block, blank line included, and the bytes that its base64 body
    /// decodes to, which stand in `storage` unless that is null. False, with the node empty, when
    /// only the whole text tells what becomes of it.
    bool loadBase64Leaf(MimeMessage2& node, std::string_view headerBlock, std::string_view bytes,
                        std::shared_ptr<DataBuffer> storage);

private:
    bool loadNode(MimeMessage2& node, NodeText& source, int level);
    bool takeAsHeader(MimeMessage2& node, std::string_view text);
    /// Whether the header of the node may be read behind its end, as far as its blank line stands.
    bool mayReadAhead(NodeText& source);
    void parseMimeBody(MimeMessage2& node, ParsedText& text, std::size_t begin, std::size_t end,
                       int level);

    struct PartRange;
    bool parseMultipart(MimeMessage2& node, ParsedText& text, std::size_t begin, std::size_t end,
                        int level);
    void parseParts(MimeMessage2& node, ParsedText& text, const PartRange& range, int level);

    struct Leaf;
    void parseLeaf(MimeMessage2& node, std::string_view text, const std::string_view* decoded);
    bool isInStorage(std::string_view text) const;
    /// Whether a body is left where it stands.
    bool borrows(std::string_view text) const;
    std::uint32_t charsetFromHtml(MimeMessage2& node, std::uint32_t codePage);
    bool setBodyByEncoding(MimeMessage2& node, const Leaf& leaf, std::uint32_t codePage);
    void log(const char* text);

    bool fromText_;
    bool bodyIsUtf8_;
    LogBase* log_;
    std::shared_ptr<DataBuffer> storage_;
    /// Parts around the one that is being read whose text is kept as it came.
    int keptTexts_ = 0;
    /// Bytes behind their own ends that headers may still be read from.
    MimeMessage2::LastFields lastFields_;
    std::size_t readAheadLeft_ = 0;
};

}  // namespace borvik
