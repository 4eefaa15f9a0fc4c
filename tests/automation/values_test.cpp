#include <new>
#include <sstream>
#include <type_traits>

#include "automation/object_calls.h"

namespace tessolt {
namespace {

static_assert(std::is_convertible_v<Text&, BSTR> && !std::is_convertible_v<Text, BSTR>,
              "a pointer into a text that is gone at once");
static_assert(sizeof(TextArgument) == sizeof(BSTR) && std::is_trivially_copyable_v<TextArgument>,
              "calls pass it as the pointer that it holds");

TEST(Values, TextsCompareByContentAndAreWritten) {
    const Text first(u"Gr\u00FC\u00DFe");
    const Text same(
        "Gr\xC3\xBC\xC3\x9F"
        "e");
    EXPECT_TRUE(first == same && !(first != same) && first <= same && !(first < same));
    EXPECT_TRUE(first == u"Gr\u00FC\u00DFe" && first != u"Gr" && u"Gr" != first);
    EXPECT_TRUE(Text("a") < Text("b") && Text(u"a\0b") != Text(std::u16string_view(u"a\0b", 3)));
    EXPECT_TRUE(Text().empty() && Text() == Text("") && Text() == nullptr && !same.empty());
    std::ostringstream stream;
    stream << first;
    EXPECT_EQ(stream.str(), same.utf8());
}

TEST(Values, TextsThatAreTooLongAreRefused) {
    constexpr std::size_t kTooLong = (std::size_t{1} << 32) + 3;
    EXPECT_THROW(Text(std::u16string_view(u"abc", kTooLong)), std::bad_alloc);
}

/// The conversions by the book: a character at a time.
std::u16string decodedPlainly(std::string_view utf8) {
    std::u16string units;
    while (!utf8.empty()) {
        const auto lead = static_cast<unsigned char>(utf8[0]);
        const std::size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
        char32_t character = lead < 0x80 ? lead : lead & (0x7F >> length);
        for (std::size_t i = 1; i < length; ++i) {
            character = character << 6 | (static_cast<unsigned char>(utf8[i]) & 0x3F);
        }
        if (character > 0xFFFF) {
            units += static_cast<char16_t>(0xD7C0 + (character >> 10));
            character = 0xDC00 + (character & 0x3FF);
        }
        units += static_cast<char16_t>(character);
        utf8.remove_prefix(length);
    }
    return units;
}

TEST(Values, ConversionsAreWholeAtEveryLengthAndRoom) {
    const std::string_view pieces[] = {"plain text of some length ", "\xC3\xBC",
                                       "\xD0\x96\xD0\xB6",           "\xE6\x97\xA5\xE6\x9C\xAC",
                                       "\xF0\x9F\x98\x80",           std::string_view("\0", 1)};
    std::string utf8;
    for (unsigned i = 0; utf8.size() < 9000; ++i) {
        utf8 += pieces[(i * i + i / 7) % std::size(pieces)];
        const std::u16string units = decodedPlainly(utf8);
        ASSERT_EQ(Text(utf8).view(), units);
        ASSERT_EQ(Text(units).utf8(), utf8);
        ASSERT_EQ(TessoltUtf16Length(utf8.data(), utf8.size()), units.size());
        std::string bytes(utf8.size(), '\0');
        const std::size_t room = utf8.size() - i % 5;
        const std::size_t written =
            TessoltUtf16ToUtf8(units.data(), units.size(), bytes.data(), room);
        ASSERT_LE(written, room);
        ASSERT_LT(room - written, 4u);
        ASSERT_EQ(bytes.substr(0, written), utf8.substr(0, written));
    }
    const std::pair<const char*, const char16_t*> illFormed[] = {
        {"a\x80\x80z", u"a\uFFFD\uFFFDz"},
        {"\xF0\x9F\x98", u"\uFFFD"},
        {"\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},
        {"\xE6\x97\xC3\xBC\xFF", u"\uFFFD\u00FC\uFFFD"}};
    for (const auto& [bytes, units] : illFormed) {
        EXPECT_EQ(Text(bytes), units);
        const std::string padded = std::string(3000, 'x') + bytes;
        EXPECT_EQ(Text(padded).view().substr(3000), units);
    }
    EXPECT_EQ(Text(u"\xDE00\xD83Dx\xD83D").utf8(), "\xEF\xBF\xBD\xEF\xBF\xBDx\xEF\xBF\xBD");
}

TEST(Values, InterfacesLeadToEachOtherAndArgumentsHaveDefaults) {
    const auto smtp = CreateObject<IDispatch>("Tessolt.Smtp").as<IUnknown>().as<ISmtp>();
    ASSERT_TRUE(smtp);
    EXPECT_EQ(smtp.as<IDispatch>().get(), smtp.get());
    smtp->SetSecure();
    EXPECT_EQ(number(*smtp, &ISmtp::get_HostPort), 465);
    smtp->Connect(Text("256.0.0.1"));
    const auto message = make<IEMailMessage>("EMailMessage");
    message->AddTo(Text("a@b"));
    smtp->Queue(nullptr, Text("host"));
    EXPECT_EQ(lastError(smtp), 36002);
}

}  // namespace
}  // namespace tessolt
