// Any bytes between any two pages: nothing may be read or written out of place, and what comes out
// must hold together. The first two bytes pick the pages.

#include <array>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "base/data_buffer.h"
#include "charset/ansi_text.h"
#include "charset/encoding_convert.h"
#include "charset/tables/code_pages.h"
#include "charset/tables/stored_tables.h"

namespace {

using borvik::DataBuffer;
using borvik::EncodingConvert;

std::vector<std::uint32_t> makePages() {
    std::vector<std::uint32_t> pages = {
        borvik::kNoCodePage, 54936,
        borvik::kUtf16Le,    borvik::kUtf16Be,
        borvik::kUtf7,       borvik::kUtf8,
        borvik::kUtf32Le,    borvik::kUtf32Be,
        borvik::kIso2022Jp,  borvik::kIso2022JpCs,
        borvik::kIso2022Jp2, borvik::kIso2022Kr,
    };
    for (const borvik::StoredTable& table : borvik::storedTables()) {
        pages.push_back(table.codePage);
    }
    return pages;
}

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const std::vector<std::uint32_t> pages = makePages();
    if (size < 2) {
        return 0;
    }
    const std::uint32_t from = pages[data[0] % pages.size()];
    const std::uint32_t to = pages[data[1] % pages.size()];
    // A copy of its own size, so that reading behind its end is seen.
    const std::vector<char> input(data + 2, data + size);
    DataBuffer first;
    const bool complete = EncodingConvert().convert(from, to, input.data(), input.size(), first);
    // No character takes more than 5 bytes with its escapes, and a 4-byte designation or end.
    require(first.getSize() <= 6 * input.size() + 8);
    DataBuffer second;
    second.append("kept");
    require(EncodingConvert().convert(from, to, input.data(), input.size(), second) == complete);
    require(second.view().substr(4) == first.view());

    const std::string text(input.begin(), input.end());
    const std::u16string wide = borvik::utf8ToWidePaired(text);
    require(borvik::utf8ToWidePaired(borvik::wideToUtf8Paired(wide)) == wide);
    borvik::wideToAnsi(borvik::ansiToWide(text, from), to);
    return 0;
}
