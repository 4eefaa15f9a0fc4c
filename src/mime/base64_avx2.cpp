#include "mime/base64_avx2.h"

#include "mime/base64.h"
#include "mime/base64_scalar.h"

#if defined(__x86_64__)

#include <immintrin.h>

#define TESSOLT_AVX2 __attribute__((target("avx2")))

namespace borvik::avx2 {

namespace {

constexpr std::size_t kWideBytes = 24;  // of bytes in one full step
constexpr std::size_t kWideChars = 32;  // of characters in one full step

/// Spreads 3 bytes over the 4 bytes of each 32-bit lane, in the order that the multiplications
/// want.
TESSOLT_AVX2 inline __m256i spreadPattern() {
    return _mm256_setr_epi8(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10,  //
                            1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10);
}

/// 12 bytes at the start of each half to 16 characters in each half.
TESSOLT_AVX2 inline __m256i encodeVector(__m256i bytes) {
    const __m256i spread = _mm256_shuffle_epi8(bytes, spreadPattern());
    const __m256i high = _mm256_mulhi_epu16(_mm256_and_si256(spread, _mm256_set1_epi32(0x0fc0fc00)),
                                            _mm256_set1_epi32(0x04000040));
    const __m256i low = _mm256_mullo_epi16(_mm256_and_si256(spread, _mm256_set1_epi32(0x003f03f0)),
                                           _mm256_set1_epi32(0x01000010));
    const __m256i sextets = _mm256_or_si256(high, low);
    // Number of the alphabet's run: 0 for "A".., 1 for "a".., 2 to 11 for digits, 12 "+", 13 "/".
    const __m256i run = _mm256_sub_epi8(_mm256_subs_epu8(sextets, _mm256_set1_epi8(51)),
                                        _mm256_cmpgt_epi8(sextets, _mm256_set1_epi8(25)));
    const __m256i offsets =
        _mm256_setr_epi8(65, 71, -4, -4, -4, -4, -4, -4, -4, -4, -4, -4, -19, -16, 0, 0, 65, 71, -4,
                         -4, -4, -4, -4, -4, -4, -4, -4, -4, -19, -16, 0, 0);
    return _mm256_add_epi8(sextets, _mm256_shuffle_epi8(offsets, run));
}

/// 24 bytes to 32 characters; reads 28 bytes.
TESSOLT_AVX2 inline void encodeStep(const char* in, char* out) {
    const __m128i first = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in));
    const __m128i second = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + 12));
    const __m256i both = _mm256_inserti128_si256(_mm256_castsi128_si256(first), second, 1);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), encodeVector(both));
}

/// 12 bytes to 16 characters; reads 16 bytes.
TESSOLT_AVX2 inline void encodeHalfStep(const char* in, char* out) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out),
                     _mm256_castsi256_si128(encodeVector(_mm256_castsi128_si256(bytes))));
}

/// Values of 32 characters; `foreign` gets a bit for each that isn't of the alphabet. Two look-ups
/// by the halves of each byte meet in a common bit just for those.
TESSOLT_AVX2 inline __m256i sextetsOf(__m256i text, std::uint32_t& foreign) {
    const __m256i lowClasses =
        _mm256_setr_epi8(0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x13, 0x1A,
                         0x1B, 0x1B, 0x1B, 0x1A, 0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11,
                         0x11, 0x11, 0x13, 0x1A, 0x1B, 0x1B, 0x1B, 0x1A);
    const __m256i highClasses =
        _mm256_setr_epi8(0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10, 0x10, 0x10, 0x10,
                         0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08,
                         0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x10);
    const __m256i offsets =
        _mm256_setr_epi8(0, 16, 19, 4, -65, -65, -71, -71, 0, 0, 0, 0, 0, 0, 0, 0,  //
                         0, 16, 19, 4, -65, -65, -71, -71, 0, 0, 0, 0, 0, 0, 0, 0);
    const __m256i slash = _mm256_set1_epi8('/');
    const __m256i highNibbles = _mm256_and_si256(_mm256_srli_epi32(text, 4), slash);
    const __m256i classes =
        _mm256_and_si256(_mm256_shuffle_epi8(lowClasses, _mm256_and_si256(text, slash)),
                         _mm256_shuffle_epi8(highClasses, highNibbles));
    foreign = ~static_cast<std::uint32_t>(
        _mm256_movemask_epi8(_mm256_cmpeq_epi8(classes, _mm256_setzero_si256())));
    const __m256i offset =
        _mm256_shuffle_epi8(offsets, _mm256_add_epi8(_mm256_cmpeq_epi8(text, slash), highNibbles));
    return _mm256_add_epi8(text, offset);
}

/// 32 sextets to 24 bytes; writes 32.
TESSOLT_AVX2 inline void storeSextets(__m256i sextets, char* out) {
    const __m256i pairs = _mm256_maddubs_epi16(sextets, _mm256_set1_epi32(0x01400140));
    const __m256i groups = _mm256_madd_epi16(pairs, _mm256_set1_epi32(0x00011000));
    const __m256i packed = _mm256_shuffle_epi8(
        groups, _mm256_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1,  //
                                 2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1));
    const __m256i joined =
        _mm256_permutevar8x32_epi32(packed, _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 3, 7));
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), joined);
}

/// What stands behind 76 characters at `in`: the length of a line end, 0 for anything else.
inline std::size_t lineEndBehindLine(const char* in) {
    in += kMimeLineLength;
    return in[0] == '\n' ? 1 : (in[0] == '\r' && in[1] == '\n' ? 2 : 0);
}

/// 32 characters to 24 bytes; writes 32. The result has a bit for each character that isn't of the
/// alphabet: with the first of them the bytes stop meaning anything.
TESSOLT_AVX2 inline std::uint32_t decodeStep(const char* in, char* out) {
    std::uint32_t foreign = 0;
    const __m256i text = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(in));
    storeSextets(sextetsOf(text, foreign), out);
    return foreign;
}

/// One whole body line, 76 characters to 57 bytes, unless a character isn't of the alphabet. The
/// last step decodes a part of the one before it once more. Writes 65 bytes.
TESSOLT_AVX2 inline bool decodeLine(const char* in, char* out) {
    constexpr std::size_t kLast = kMimeLineLength - kWideChars;
    const std::uint32_t foreign = decodeStep(in, out) |
                                  decodeStep(in + kWideChars, out + kWideBytes) |
                                  decodeStep(in + kLast, out + kLast / 4 * 3);
    return foreign == 0;
}

}  // namespace

bool available() {
    return __builtin_cpu_supports("avx2") != 0;
}

TESSOLT_AVX2 char* encodeBase64Run(std::string_view bytes, char* out) {
    constexpr std::size_t kRead = 28;
    while (bytes.size() >= kRead) {
        encodeStep(bytes.data(), out);
        bytes.remove_prefix(kWideBytes);
        out += kWideChars;
    }
    return scalar::encodeBase64Run(bytes, out);
}

TESSOLT_AVX2 char* encodeBase64Lines(std::string_view bytes, char* out) {
    // The last step of a line takes 9 of the 16 bytes that it reads, and the characters that it
    // writes too much are overwritten by the line end and the line behind.
    constexpr std::size_t kRead = 2 * kWideBytes + 16;
    while (bytes.size() >= kRead) {
        encodeStep(bytes.data(), out);
        encodeStep(bytes.data() + kWideBytes, out + kWideChars);
        encodeHalfStep(bytes.data() + 2 * kWideBytes, out + 2 * kWideChars);
        out += kMimeLineLength;
        *out++ = '\r';
        *out++ = '\n';
        bytes.remove_prefix(kBase64LineBytes);
    }
    return scalar::encodeBase64Lines(bytes, out);
}

TESSOLT_AVX2 char* decodeBase64Run(std::string_view text, char* out) {
    base64_detail::GroupDecoder decoder(out);
    const char* in = text.data();
    const char* const end = in + text.size();
    constexpr std::size_t kLineRead = kMimeLineLength + 2;
    while (in != end) {
        while (decoder.betweenGroups() && static_cast<std::size_t>(end - in) >= kLineRead) {
            const std::size_t lineEnd = lineEndBehindLine(in);
            if (lineEnd == 0 || !decodeLine(in, decoder.out())) {
                break;
            }
            decoder.advance(kBase64LineBytes);
            in += kMimeLineLength + lineEnd;
        }
        while (decoder.betweenGroups() && static_cast<std::size_t>(end - in) >= kWideChars) {
            const std::uint32_t foreign = decodeStep(in, decoder.out());
            const std::size_t groups =
                (foreign == 0 ? kWideChars : static_cast<std::size_t>(__builtin_ctz(foreign))) / 4;
            decoder.advance(groups * 3);
            in += groups * 4;
            if (foreign != 0) {
                break;
            }
        }
        // A line end, mostly; at most a group's worth, so that the wide loop goes on soon.
        for (int i = 0; i < 4 && in != end; ++i) {
            if (!decoder.take(*in++)) {
                return decoder.finish();
            }
            if (decoder.betweenGroups() && in != end &&
                base64_detail::kSextets[static_cast<unsigned char>(*in)] < 64) {
                break;
            }
        }
    }
    return decoder.finish();
}

}  // namespace borvik::avx2

#undef TESSOLT_AVX2

#else

namespace borvik::avx2 {

bool available() {
    return false;
}
char* encodeBase64Run(std::string_view /*bytes*/, char* out) {
    return out;
}
char* encodeBase64Lines(std::string_view /*bytes*/, char* out) {
    return out;
}
char* decodeBase64Run(std::string_view /*text*/, char* out) {
    return out;
}

}  // namespace borvik::avx2

#endif
