#include "mail/outgoing_text.h"

#include <algorithm>

#include "mail/dot_stuffing.h"

namespace tessolt {

namespace {

constexpr std::string_view kEndOfMessage = "\r\n.\r\n";
constexpr std::string_view kLoneDot = ".\r\n";
constexpr std::string_view kLineEnd = "\r\n";
constexpr std::string_view kTwoDots = "..";
/// A shorter text is joined with its end, so that both leave in one packet.
constexpr std::size_t kJoinedText = 64 * 1024;
/// What stands between two dots that are doubled goes out by itself when it is longer.
constexpr std::size_t kGathered = 64 * 1024;

bool IsBreak(char c) {
    return c == '\r' || c == '\n';
}

}  // namespace

std::uint64_t OutgoingText::Size() {
    std::uint64_t size = 0;
    for (std::string_view piece = Next(); !piece.empty(); piece = Next()) {
        size += piece.size();
    }
    m_text.Rewind();
    m_beforeLast = '\r';
    m_last = '\n';
    m_begun = m_ended = false;
    return size;
}

std::string_view OutgoingText::Next() {
    if (m_ended) {
        return {};
    }
    if (!m_begun) {
        m_begun = true;
        m_piece = m_text.Next();
        if (m_piece.size() == m_text.Size() && m_piece.size() < kJoinedText) {
            m_ended = true;
            return Joined(m_piece);
        }
        HoldLastDot();
    }
    const std::string_view next = NextOfText();
    m_ended = next.empty();
    return m_ended ? EndMark() : next;
}

std::string_view OutgoingText::Joined(std::string_view whole) {
    const bool hasEnd = m_exactDots && (whole.empty() || whole.ends_with(kLineEnd));
    const std::string_view end = hasEnd ? kLoneDot : kEndOfMessage;
    m_buffer = m_exactDots ? DoubleLineDots(whole, end) : DoubleLoneDots(whole, end);
    return m_buffer;
}

std::string_view OutgoingText::EndMark() const {
    const bool hasEnd = m_exactDots && m_beforeLast == '\r' && m_last == '\n';
    return hasEnd ? kLoneDot : kEndOfMessage;
}

bool OutgoingText::IsDoubled(char before, char behind) const {
    return (m_exactDots && before == '\n') || (IsBreak(before) && IsBreak(behind));
}

/// The first dot of the piece from `from` on that is to be doubled, or npos. What stands before and
/// behind the piece counts; its last byte is no dot at the start of a line.
std::size_t OutgoingText::FindDot(std::size_t from) const {
    if (from == 0) {
        const char behind = m_piece.size() > 1 ? m_piece[1] : 'x';
        if (m_piece.front() == '.' && IsDoubled(m_last, behind)) {
            return 0;
        }
        from = 1;
    }
    return m_exactDots ? FindLineDot(m_piece, from) : FindLoneDot(m_piece, from);
}

std::string_view OutgoingText::TakeFront(std::size_t count) {
    const std::string_view front = m_piece.substr(0, count);
    m_beforeLast = count > 1 ? front[count - 2] : m_last;
    m_last = front.back();
    m_piece.remove_prefix(count);
    return front;
}

/// Keeps a dot at the start of a line back when it ends the piece: what comes behind it decides.
void OutgoingText::HoldLastDot() {
    const std::size_t size = m_piece.size();
    m_holdsDot =
        size > 0 && m_piece.back() == '.' && IsBreak(size > 1 ? m_piece[size - 2] : m_last);
    m_piece.remove_suffix(m_holdsDot ? 1 : 0);
}

std::string_view OutgoingText::NextOfText() {
    if (m_piece.empty()) {
        const bool heldDot = m_holdsDot;
        m_piece = m_text.Next();
        const std::string_view dots = heldDot ? AfterHeldDot() : std::string_view();
        HoldLastDot();
        if (heldDot) {
            return dots;
        }
        if (m_piece.empty()) {
            return m_holdsDot ? NextOfText() : std::string_view();
        }
    }
    const std::size_t dot = FindDot(0);
    return dot == std::string_view::npos ? TakeFront(m_piece.size()) : WithDots(dot);
}

/// The dot that was held back. The end of the text counts as the end of its line.
std::string_view OutgoingText::AfterHeldDot() {
    const bool isDoubled = IsDoubled(m_last, m_piece.empty() ? '\n' : m_piece.front());
    m_beforeLast = m_last;
    m_last = '.';
    return kTwoDots.substr(isDoubled ? 0 : 1);
}

/// The front of the piece, in which a dot is to be doubled.
std::string_view OutgoingText::WithDots(std::size_t firstDot) {
    if (firstDot >= kGathered) {
        // The dot is given twice: what comes next begins with it, and no line ends before that.
        const std::string_view front = TakeFront(firstDot + 1);
        m_piece = {front.data() + firstDot, m_piece.size() + 1};
        return front;
    }
    m_buffer.clear();
    const std::size_t stop = std::min(kGathered, m_piece.size());
    std::size_t done = 0;
    for (std::size_t dot = firstDot; dot < stop; dot = FindDot(dot + 1)) {
        m_buffer.append(m_piece, done, dot + 1 - done);
        m_buffer += '.';
        done = dot + 1;
    }
    m_buffer.append(m_piece, done, stop - done);
    TakeFront(stop);
    return m_buffer;
}

}  // namespace tessolt
