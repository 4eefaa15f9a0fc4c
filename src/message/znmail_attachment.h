#pragma once

#include <memory>
#include <string>
#include <vector>

#include "mime/bv_mime.h"

namespace tessolt {

struct LoadedPart;

/// One attachment of a message: a finished MIME node with header and body.
class CZnMailAttachment {
public:
    std::string m_strFileName;     ///< Without folder; as the sender wrote it in a loaded message.
    std::string m_strContentType;  ///< Media type without parameters.
    bool m_bInline = false;        ///< Shown within the HTML body, which names its Content-ID.
    /// Of a loaded message it is a handle into the tree that was loaded, and keeps that tree alive.
    /// Never null in the list of a record, but where `m_pLoaded` is set.
    std::unique_ptr<borvik::BvMime> m_pPart;
    /// Set in a message that was loaded under current rules: where the part stands.
    std::shared_ptr<const LoadedPart> m_pLoaded;
};

/// Attachments in the order of adding or of decoding.
using AttachmentList = std::vector<std::unique_ptr<CZnMailAttachment>>;

}  // namespace tessolt
