#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tessolt::reading {

/// One mailbox of an address field, in UTF-8.
struct Mailbox {
    std::string name;  ///< Display name, or the comment that stands for one.
    std::string
        address;  ///< Without angle brackets and route; a quoted local part keeps its marks.
};

/// The mailboxes of an address field (RFC 5322 3.4 and 4.4): comments, folds, routes, groups and
/// quoted pairs; ";" between mailboxes as well as ",". What can't be read as a mailbox is kept
/// whole as the name of one without an address. `label` is the charset of 8-bit text that isn't
/// UTF-8.
std::vector<Mailbox> mailboxes(std::string_view raw, std::string_view label = {});

}  // namespace tessolt::reading
