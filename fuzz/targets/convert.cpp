#include <string>

#include "base/data_buffer.h"
#include "charset/ansi_text.h"
#include "charset/encoding_convert.h"
#include "charset/lanes/text_runs.h"
#include "charset/tables/conversion_tables.h"
#include "charset/text_kernels.h"
#include "harness.h"

namespace fuzz {
namespace {

using borvik::DataBuffer;
using borvik::EncodingConvert;
using borvik::TextCursor;
using borvik::TextRuns;

/// The lanes of this processor against the plain ones, with room for all of the output.
template <typename Kernel>
void checkLanes(std::string_view input, Kernel kernel) {
    constexpr std::size_t kLongestCharacter = 4;
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(input.data());
    std::string out[2];
    bool complete[2];
    for (const bool native : {false, true}) {
        std::string room(kLongestCharacter * input.size() + TextCursor::kStepRoom, '\0');
        auto* begin = reinterpret_cast<std::uint8_t*>(room.data());
        TextCursor c{bytes, bytes + input.size(), begin,
                     begin + room.size() - TextCursor::kStepRoom};
        complete[native] = kernel(native ? borvik::nativeRuns() : borvik::portableRuns(), c);
        require(c.in == c.inEnd);
        out[native] = room.substr(0, static_cast<std::size_t>(c.out - begin));
    }
    require(complete[0] == complete[1] && out[0] == out[1]);
}

void checkLanesOf(std::uint32_t page, std::string_view input) {
    namespace kernels = borvik::kernels;
    const std::string_view units = input.substr(0, input.size() / 2 * 2);
    if (const borvik::DecodeTable* table = borvik::decodeTable(page)) {
        checkLanes(input, [&](const TextRuns& runs, TextCursor& c) {
            return table->isMultiByte() ? kernels::multiByteToUnicode(runs, *table, c)
                                        : kernels::singleByteToUnicode(runs, *table, c);
        });
    }
    if (const borvik::EncodeTable* table = borvik::encodeTable(page)) {
        checkLanes(units, [&](const TextRuns& runs, TextCursor& c) {
            return kernels::unicodeToMultiByte(runs, *table, c);
        });
    }
    checkLanes(input, kernels::utf8ToUnicode);
    checkLanes(units, kernels::unicodeToUtf8);
}

}  // namespace

/// Any bytes between any two pages, and the loops that this is made of.
void fuzzConvert(Input input) {
    const auto pages = codePages();
    const std::uint32_t from = pages[input.choice() % pages.size()];
    const std::uint32_t to = pages[input.choice() % pages.size()];
    const std::string_view bytes = input.rest();
    DataBuffer first;
    const bool complete = EncodingConvert().convert(from, to, bytes, first);
    // No character takes more than 5 bytes with its escapes, and a 4-byte designation or end.
    require(first.getSize() <= 6 * bytes.size() + 8);
    DataBuffer second;
    second.append("kept");
    require(EncodingConvert().convert(from, to, bytes, second) == complete);
    require(second.view().substr(4) == first.view());

    const std::u16string wide = borvik::utf8ToWidePaired(bytes);
    require(borvik::utf8ToWidePaired(borvik::wideToUtf8Paired(wide)) == wide);
    require(!borvik::isWellFormedUtf8(bytes) || borvik::wideToUtf8Paired(wide) == bytes);
    borvik::wideToAnsi(borvik::ansiToWide(bytes, from), to);
    checkLanesOf(from, bytes);
}

}  // namespace fuzz
