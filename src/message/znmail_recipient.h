#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "foundation/wide_string.h"

namespace tessolt {

/// One To, Cc or Bcc recipient of a message.
class CZnMailRecipient {
public:
    CZnMailRecipient(std::u16string name, std::u16string address)
        : m_wstrName(std::move(name)), m_wstrAddress(std::move(address)) {}

    CZncStringW m_wstrName;     ///< Display name, may be empty.
    CZncStringW m_wstrAddress;  ///< Without angle brackets.
};

/// Recipients in the order of adding.
using RecipientList = std::vector<std::unique_ptr<CZnMailRecipient>>;

}  // namespace tessolt
