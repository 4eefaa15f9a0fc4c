#pragma once

#include <string>

namespace borvik {

/// Makes boundaries for multiparts that the engine builds by itself.
class BoundaryGen {
public:
    /// Twelve hyphens and twelve random digits, each with a "0" in front of it.
    static std::string generate();
};

}  // namespace borvik
