#include "mail/received_body.h"

#include <algorithm>
#include <new>
#include <string_view>

#include "platform/memory_pages.h"

namespace tessolt {

namespace {

constexpr std::string_view kEndMark = "\r\n.\r\n";
constexpr std::string_view kEmptyBody = ".\r\n";
constexpr std::string_view kLineEnd = "\r\n";
/// Room for a small message.
constexpr std::size_t kFirstRoom = 4 * 1024;
/// So much is made ready at once: what is made ready is touched.
constexpr std::size_t kStep = 256 * 1024;
/// A server that promises more is not believed before it has sent that.
constexpr std::uint64_t kMostExpected = std::uint64_t{256} << 20;

}  // namespace

ReceivedBody::ReceivedBody(std::string& text, bool exactDots)
    : m_text(text), m_exactDots(exactDots), m_dots(exactDots), m_zero(std::string::npos) {
    m_text.clear();
}

void ReceivedBody::Expect(std::uint64_t size) try {
    if (size > m_text.capacity() && size <= kMostExpected) {
        // Counts of servers leave out what the dots and the end mark take.
        platform::reserveLarge(m_text,
                               static_cast<std::size_t>(size + size / 64) + kFirstRoom / 16);
    }
} catch (const std::bad_alloc&) {
    return;  // it may come without
}

std::span<char> ReceivedBody::Room() {
    if (m_done == m_text.size()) {
        if (m_done == m_text.capacity() || m_done == 0) {
            platform::reserveLarge(m_text, std::max(kFirstRoom, 2 * m_done));
        }
        m_text.resize(std::min(m_done + kStep, m_text.capacity()));
    }
    return std::span(m_text).subspan(m_done);
}

void ReceivedBody::Take(std::size_t count) {
    char* const piece = m_text.data() + m_done;
    const std::size_t fresh = std::min(count, kTail);
    std::shift_left(m_tail.begin(), m_tail.end(), static_cast<std::ptrdiff_t>(fresh));
    std::copy_n(piece + count - fresh, fresh, m_tail.end() - fresh);
    m_received += count;
    const std::string_view kept(piece, m_dots.Remove(piece, count));
    if (!m_exactDots && m_zero == std::string::npos) {
        const std::size_t zero = kept.find('\0');
        m_zero = zero == std::string_view::npos ? zero : m_done + zero;
    }
    m_done += kept.size();
}

bool ReceivedBody::IsComplete() const {
    const std::string_view tail(m_tail.data(), m_tail.size());
    return tail == kEndMark || (m_received == kEmptyBody.size() && tail.ends_with(kEmptyBody));
}

void ReceivedBody::Finish() {
    const bool isEmpty = m_received == kEmptyBody.size();
    const std::size_t end =
        m_exactDots ? m_done - std::min(m_done, kLineEnd.size()) : std::min(m_done, m_zero);
    m_text.resize(isEmpty ? 0 : end);
    if (m_text.capacity() / 2 > m_text.size() + kFirstRoom / 2) {
        m_text.shrink_to_fit();  // it may be kept for long
    }
}

}  // namespace tessolt
