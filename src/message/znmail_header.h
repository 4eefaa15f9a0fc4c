#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "foundation/wide_string.h"

namespace tessolt {

/// One custom header of a message.
class CZnMailHeader {
public:
    CZncStringW m_wstrName;
    CZncStringW m_wstrValue;
};

/// Custom headers by the bytes of their 8-bit name; names that differ in case are different keys.
using HeaderMap = std::map<std::string, std::unique_ptr<CZnMailHeader>, std::less<>>;

}  // namespace tessolt
