#include "message/wire_text.h"

#include <algorithm>

#include "base/ascii_text.h"
#include "mime/coding/base64.h"

namespace tessolt {

namespace {

/// Bytes that are coded at once: whole lines, and few enough for a processor to keep at hand.
constexpr std::size_t kCodedAtOnce = 2048 * borvik::kBase64LineBytes;
constexpr std::size_t kLineEnd = 2;

}  // namespace

bool WireText::IsAscii() const {
    return borvik::isAscii(m_whole) && m_pieces.isAscii();
}

void WireText::Rewind() {
    m_wholeGiven = false;
    m_restGiven = m_body = m_bodyGiven = 0;
}

std::string_view WireText::Next() {
    if (!m_wholeGiven && !m_whole.empty()) {
        m_wholeGiven = true;
        return m_whole;
    }
    const auto& bodies = m_pieces.longBodies;
    if (m_lines == nullptr && !bodies.empty()) {
        m_lines = std::make_unique_for_overwrite<char[]>(borvik::base64LinesSize(kCodedAtOnce));
    }
    const std::string_view rest = m_pieces.rest.view();
    const std::size_t stop = m_body < bodies.size() ? bodies[m_body].at : rest.size();
    if (m_restGiven < stop) {
        const std::string_view piece = rest.substr(m_restGiven, stop - m_restGiven);
        m_restGiven = stop;
        return piece;
    }
    return m_body < bodies.size() ? NextOfBody(bodies[m_body]) : std::string_view();
}

std::string_view WireText::NextOfBody(const borvik::LongBody& body) {
    const std::size_t left = body.bytes.size() - m_bodyGiven;
    const std::size_t count = body.isBase64 ? std::min(left, kCodedAtOnce) : left;
    const std::string_view bytes = body.bytes.substr(m_bodyGiven, count);
    m_bodyGiven += count;
    const bool isLast = count == left;
    if (isLast) {
        ++m_body;
        m_bodyGiven = 0;
    }
    if (!body.isBase64) {
        return bytes;
    }
    const char* const end = borvik::encodeBase64Lines(bytes, m_lines.get());
    const auto size = static_cast<std::size_t>(end - m_lines.get());
    // Behind the last line of the body, and not of each piece, stands one more line end.
    return {m_lines.get(), isLast ? size : size - kLineEnd};
}

}  // namespace tessolt
