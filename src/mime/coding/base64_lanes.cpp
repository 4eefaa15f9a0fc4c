#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "mime/coding/base64_lanes.cpp"
#include <hwy/foreach_target.h>

#include "charset/lanes/base64_vectors-inl.h"
#include "mime/coding/base64.h"
#include "mime/coding/base64_scalar.h"

HWY_BEFORE_NAMESPACE();
namespace borvik::HWY_NAMESPACE {

#if BORVIK_HAS_VECTORS

namespace {

/// Vectors of 64 bytes to encode to, which hold a line but for a rest, and of 32 to decode from, of
/// which two and a half hold one; or as near as the processor comes.
#if HWY_HAVE_SCALABLE
using EncodeTag = ByteTag;
using DecodeTag = ByteTag;
#else
using EncodeTag = WideTag;
using DecodeTag = hn::CappedTag<std::uint8_t, 2 * kVector>;
#endif
constexpr EncodeTag kEncode;
constexpr DecodeTag kDecode;
constexpr std::size_t kEncodedChars = hn::MaxLanes(kEncode);
constexpr std::size_t kEncodedBytes = kEncodedChars / 4 * 3;
constexpr std::size_t kDecodedChars = hn::MaxLanes(kDecode);
/// Bytes that 16 characters stand for.
constexpr std::size_t kVectorBytes = kVector / 4 * 3;

/// The first bytes of a vector to as many characters as it is wide; reads the whole of it.
template <class Tag>
HWY_INLINE void encodeStep(Tag tag, const char* in, char* out) {
    static constexpr Table16 kSpread = {{1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10}};
    auto bytes = hn::LoadU(tag, reinterpret_cast<const std::uint8_t*>(in));
    if constexpr (hn::MaxLanes(tag) != kVector) {
        // 12 bytes go to each 16.
        static constexpr std::uint32_t kLanes[] = {0, 1, 2, 3, 3, 4,  5,  6,
                                                   6, 7, 8, 9, 9, 10, 11, 12};
        constexpr hn::Repartition<std::uint32_t, Tag> kTag32;
        const auto places = hn::SetTableIndices(kTag32, kLanes);
        bytes = hn::BitCast(tag, hn::TableLookupLanes(hn::BitCast(kTag32, bytes), places));
    }
    const auto spread = hn::TableLookupBytes(bytes, repeated(tag, kSpread));
    hn::StoreU(digitsOf(tag, splitSextets(tag, spread)), tag, reinterpret_cast<std::uint8_t*>(out));
}

/// What stands behind 76 characters at `in`: the length of a line end, 0 for anything else.
inline std::size_t lineEndBehindLine(const char* in) {
    in += kMimeLineLength;
    return in[0] == '\n' ? 1 : (in[0] == '\r' && in[1] == '\n' ? 2 : 0);
}

/// Decodes a step's characters, and writes as many bytes as they are. `marks` gets others than 0
/// where a character isn't of the alphabet: with the first of them the bytes stop meaning anything.
HWY_INLINE void decodeStep(const char* in, char* out, hn::Vec<DecodeTag>& marks) {
    static constexpr Table16 kToBytes = {
        {2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, 0x80, 0x80, 0x80, 0x80}};
    const auto text = hn::LoadU(kDecode, reinterpret_cast<const std::uint8_t*>(in));
    marks = hn::Or(marks, foreignMarks(kDecode, text));
    storeGroups(kDecode, joinSextets(kDecode, sextetsOf(kDecode, text)), kToBytes,
                reinterpret_cast<std::uint8_t*>(out));
}

HWY_INLINE std::uint64_t foreignBits(hn::Vec<DecodeTag> marks) {
    return bitsOf(kDecode, hn::Ne(marks, hn::Zero(kDecode)));
}

/// One whole body line, 76 characters to 57 bytes, unless a character isn't of the alphabet. The
/// last step decodes a part of the one before it once more. Writes up to 65 bytes.
HWY_INLINE bool decodeLine(const char* in, char* out) {
    constexpr std::size_t kLast = kMimeLineLength - kDecodedChars;
    auto marks = hn::Zero(kDecode);
    for (std::size_t i = 0; i < kLast; i += kDecodedChars) {
        decodeStep(in + i, out + i / 4 * 3, marks);
    }
    decodeStep(in + kLast, out + kLast / 4 * 3, marks);
    return hn::AllTrue(kDecode, hn::Eq(marks, hn::Zero(kDecode)));
}

}  // namespace

char* encodeRun(std::string_view bytes, char* out) {
    while (bytes.size() >= kEncodedChars) {
        encodeStep(kEncode, bytes.data(), out);
        bytes.remove_prefix(kEncodedBytes);
        out += kEncodedChars;
    }
    return scalar::encodeBase64Run(bytes, out);
}

char* encodeLines(std::string_view bytes, char* out) {
    // The last step of a line takes 9 of the 16 bytes that it reads, and the characters that it
    // writes too much are overwritten by the line end and the line behind.
    constexpr std::size_t kWhole = kBase64LineBytes / kVectorBytes * kVectorBytes;
    constexpr std::size_t kRead = kWhole + kVector;
    static_assert(kRead >= kWhole - kEncodedBytes + kEncodedChars);
    while (bytes.size() >= kRead) {
        for (std::size_t i = 0; i < kWhole; i += kEncodedBytes) {
            encodeStep(kEncode, bytes.data() + i, out + i / 3 * 4);
        }
        encodeStep(kBytes, bytes.data() + kWhole, out + kWhole / 3 * 4);
        out += kMimeLineLength;
        *out++ = '\r';
        *out++ = '\n';
        bytes.remove_prefix(kBase64LineBytes);
    }
    return scalar::encodeBase64Lines(bytes, out);
}

char* decodeRun(std::string_view text, char* out) {
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
        while (decoder.betweenGroups() && static_cast<std::size_t>(end - in) >= kDecodedChars) {
            auto marks = hn::Zero(kDecode);
            decodeStep(in, decoder.out(), marks);
            const std::uint64_t foreign = foreignBits(marks);
            const std::size_t groups =
                (foreign == 0 ? kDecodedChars
                              : static_cast<std::size_t>(__builtin_ctzll(foreign))) /
                4;
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

#else

char* encodeRun(std::string_view bytes, char* out) {
    return scalar::encodeBase64Run(bytes, out);
}
char* encodeLines(std::string_view bytes, char* out) {
    return scalar::encodeBase64Lines(bytes, out);
}
char* decodeRun(std::string_view text, char* out) {
    return scalar::decodeBase64Run(text, out);
}

#endif

}  // namespace borvik::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace borvik {

HWY_EXPORT(encodeRun);
HWY_EXPORT(encodeLines);
HWY_EXPORT(decodeRun);

char* encodeBase64Run(std::string_view bytes, char* out) {
    return HWY_DYNAMIC_DISPATCH(encodeRun)(bytes, out);
}

char* encodeBase64Lines(std::string_view bytes, char* out) {
    return HWY_DYNAMIC_DISPATCH(encodeLines)(bytes, out);
}

char* decodeBase64Run(std::string_view text, char* out) {
    return HWY_DYNAMIC_DISPATCH(decodeRun)(text, out);
}

}  // namespace borvik

#endif
