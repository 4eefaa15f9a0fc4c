#include "charset/iso2022_jp_reader.h"

#include <algorithm>

#include "charset/text_kernels.h"

namespace borvik {

bool Iso2022JpReader::operator()(TextCursor& c) {
    bool complete = true;
    while (c.goesOn()) {
        if (held_ == 0) {
            runs_.jisToUtf16(table_, c, decoder_.set);
        }
        if (!c.goesOn()) {
            break;
        }
        const auto room = static_cast<std::size_t>(c.outLimit - c.out) / sizeof(char16_t);
        if (room < kFewestUnits) {
            break;
        }
        // Each byte becomes a unit at most, and the last step may touch as many as it likes.
        const std::size_t limit = std::min(kBytesPerStep, room - TextCursor::kStepRoom - 1);
        std::uint8_t* begin = bytes_.data() + held_;
        TextCursor jis{c.in, c.inEnd, begin, begin + limit};
        decoder_(jis);
        c.in = jis.in;
        TextCursor shiftJis{bytes_.data(), jis.out, c.out, c.outLimit};
        const bool goesOn = c.in < c.inEnd;
        complete = kernels::multiByteToUnicode(runs_, table_, shiftJis, goesOn) && complete;
        c.out = shiftJis.out;
        held_ = shiftJis.left();
        bytes_[0] = held_ == 0 ? 0 : *shiftJis.in;
    }
    return complete;
}

}  // namespace borvik
