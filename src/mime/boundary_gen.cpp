#include "mime/boundary_gen.h"

#include "base/borvik_rand.h"

namespace borvik {

std::string BoundaryGen::generate() {
    constexpr int kHyphens = 12;
    constexpr int kDigits = 12;
    std::string boundary(kHyphens, '-');
    for (int i = 0; i < kDigits; ++i) {
        boundary += '0';
        boundary += static_cast<char>('0' + BorvikRand::randomInt(0, 9));
    }
    return boundary;
}

}  // namespace borvik
