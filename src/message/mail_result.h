#pragma once

#include <cstdint>

namespace tessolt {

/// What the operations of the message model return: 0 or one of these. The layer above turns them
/// into the numbers that callers see.
enum MailResult : std::int32_t {
    kMailOk = 0,
    kMailNoAttachmentNamed = -2201,      ///< The list of files to attach is blank.
    kMailAttachmentOpenFailed = -2202,   ///< A file to attach can't be opened.
    kMailAttachmentReadFailed = -2203,   ///< A file to attach can't be read.
    kMailAttachmentWriteFailed = -2204,  ///< The target of a saved attachment can't be written.
    kMailBadFromAddress = -2205,
    kMailNoToRecipients = -2206,
    kMailBadToAddress = -2207,
    kMailBadCcAddress = -2208,
    kMailBadBccAddress = -2209,
    kMailTextLoadFailed = -2210,
    kMailFileLoadFailed = -2211,
    kMailFileSaveFailed = -2212,
    kMailBadAttachmentNumber = -2213,
    kMailAttachmentDecodeFailed = -2214,
    /// No memory for the message, or its text passes 2 GiB. Callers see it as an unmapped result.
    kMailNotBuilt = -2215,
};

}  // namespace tessolt
