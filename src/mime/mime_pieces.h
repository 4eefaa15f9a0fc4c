#pragma once

#include <cstddef>
#include <memory>
#include <string_view>
#include <vector>

#include "base/ascii_text.h"
#include "base/data_buffer.h"
#include "mime/coding/base64.h"

namespace borvik {

/// A body that isn't copied into the text of a message, but read or coded from where it stands.
struct LongBody {
    std::size_t at;  ///< Where in the rest of the text it belongs.
    std::string_view bytes;
    bool isBase64;  ///< Goes out in base64 lines, else as it is.

    std::size_t size() const { return isBase64 ? base64LinesSize(bytes.size()) : bytes.size(); }
};

/// The text of a message, less its long bodies, and these.
class MimePieces {
public:
    /// A shorter body is a part of the rest.
    static constexpr std::size_t kLeastLong = 64 * 1024;

    std::size_t size() const {
        std::size_t size = rest.getSize();
        for (const LongBody& body : longBodies) {
            size += body.size();
        }
        return size;
    }
    bool isAscii() const {
        bool isAscii = rest.isAscii();
        for (const LongBody& body : longBodies) {
            isAscii = isAscii && (body.isBase64 || borvik::isAscii(body.bytes));
        }
        return isAscii;
    }

    DataBuffer rest;
    std::vector<LongBody> longBodies;  ///< In their order. Good until the node is changed.
    std::shared_ptr<const void> tree;  ///< Keeps them alive.
};

}  // namespace borvik
