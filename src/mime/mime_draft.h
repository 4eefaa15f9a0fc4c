#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

namespace borvik {

class BvMime;
class MimePieces;

/// A text body in the form in which it travels.
struct TextBody {
    std::string bytes;
    std::string contentType;
    /// Goes as base64; any other is 7-bit and ends at its first zero byte.
    bool isBinary = false;
    /// Of a text that isn't binary.
    const char* coding = "7bit";
};

/// Fills body and content fields of a node.
void setTextBody(BvMime& node, const TextBody& body);

/// A message of a single part that isn't a tree yet: fields as a program gives them, and a body.
/// Most messages are composed to be written and nothing else, and the text of a usual one can be
/// written from here. It is the text of the tree that `makeTree` makes, byte for byte.
class MimeDraft {
public:
    /// As `BvMime::AddHeaderField`, by a name without zero bytes.
    void addHeaderField(std::string_view name, std::string_view value) {
        beginField(name).append(value);
        endField();
    }
    /// The same in two steps: what is appended to the result of the first is the value.
    std::string& beginField(std::string_view name);
    void endField();
    void setBody(TextBody&& body);

    /// Fills `text`, which is empty, and tells how long the header block is without the line ends
    /// behind it. False for what only a tree can write, and for a text that isn't 7-bit throughout:
    /// `text` may hold anything then. Throws `std::bad_alloc`.
    bool writeText(std::string& text, std::size_t& headSize) const;
    /// Fills `out`, which is empty, with the same text, 8-bit or not, and the body left where it
    /// stands. False for what only a tree can write, and for any but a long body.
    bool writePieces(MimePieces& out) const;
    /// Bytes of the body before it is coded.
    std::size_t bodySize() const { return body_.bytes.size(); }
    /// The tree that the same calls on a `BvMime` make.
    std::unique_ptr<BvMime> makeTree() const;

private:
    template <class Take>
    void forEachField(Take&& take) const;
    bool isWritable() const;
    void writeHead(std::string& text) const;
    bool writePlainFields(std::string& text) const;
    /// The bytes that go out coded or as they are.
    std::string_view bodyBytes() const;

    /// Names and values, each with two zero bytes behind it: one allocation for all, and a text as
    /// long as what they become.
    std::string fields_;
    std::size_t nameAt_ = 0;   ///< Where the last name begins.
    std::size_t valueAt_ = 0;  ///< And its value.
    TextBody body_;
    bool hasBody_ = false;
    bool hasContentField_ = false;
};

}  // namespace borvik
