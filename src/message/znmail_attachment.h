#pragma once

#include <memory>
#include <vector>

#include "foundation/narrow_string.h"
#include "mime/bv_mime.h"

namespace tessolt {

/// One attachment of a message: a finished MIME node with header and body.
class CZnMailAttachment {
public:
    CZncString m_strFileName;     ///< Without folder; as the sender wrote it in a loaded message.
    CZncString m_strContentType;  ///< Media type without parameters.
    /// Never null in the list of a record. Of a loaded message it is a handle into the tree that
    /// was loaded, and keeps that tree alive.
    std::unique_ptr<borvik::BvMime> m_pPart;
};

/// Attachments in the order of adding or of decoding.
using AttachmentList = std::vector<std::unique_ptr<CZnMailAttachment>>;

}  // namespace tessolt
