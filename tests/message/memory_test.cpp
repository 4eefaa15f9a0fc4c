#include <gtest/gtest.h>
#include <malloc.h>

#include <ctime>
#include <string>

#include "message/znmail.h"
#include "support/process_memory.h"

namespace tessolt {
namespace {

constexpr std::size_t kParts = 20'000;

std::string multipart(std::string_view part, std::size_t parts = kParts) {
    std::string text = "Content-Type: multipart/mixed; boundary=b\r\n\r\n";
    for (std::size_t i = 0; i < parts; ++i) {
        text += part;
    }
    return text + "--b--\r\n";
}

std::size_t heapBytes() {
    const struct mallinfo2 heap = mallinfo2();
    return heap.uordblks + heap.hblkhd;
}

TEST(Memory, TinyPartsTakeLittle) {
    if (support::kKeepsFreedMemory) {
        GTEST_SKIP();
    }
    constexpr std::size_t kMostInTree = 300;
    constexpr std::size_t kMostOfAttachment = 300;
    for (const char* part : {"--b\r\nx:y\r\n", "--b\r\nContent-Type: a/c\r\n\r\nh\r\n"}) {
        const std::string text = multipart(part);
        const std::size_t before = heapBytes();
        borvik::BvMime tree;
        tree.LoadMime(text.c_str());
        EXPECT_EQ(tree.NumParts(), static_cast<int>(kParts));
        const std::size_t inTree = heapBytes() - before;
        EXPECT_LE(inTree / kParts, kMostInTree) << part;
        CZnMail mail;
        mail.LoadFromText(text.c_str());
        EXPECT_EQ(mail.GetAttachmentCount(), static_cast<std::int32_t>(kParts));
        EXPECT_LE((heapBytes() - before - 2 * inTree) / kParts, kMostOfAttachment) << part;
    }
}

TEST(Memory, ManyRecipientsTakeLittle) {
    if (support::kKeepsFreedMemory) {
        GTEST_SKIP();
    }
    constexpr std::size_t kBytes = 1 << 20;
    constexpr long kMostKib = 32 << 10;
    std::string text = "To: ";
    while (text.size() < kBytes) {
        text += "a,";
    }
    text += "\r\n\r\nbody";
    malloc_trim(0);
    const long before = support::memoryKib("VmRSS");
    support::resetPeakMemory();
    CZnMail mail;
    mail.LoadFromText(text.c_str());
    EXPECT_EQ(mail.m_lstTo.size(), kBytes / 2 - 2);
    EXPECT_LE(support::memoryKib("VmHWM") - before, kMostKib);
}

std::clock_t timeOfSizes(std::size_t parts) {
    CZnMail mail;
    mail.LoadFromText(multipart("--b\r\nContent-Type: a/b\r\nContent-Transfer-Encoding: 8bit\r\n"
                                "\r\n\xE9\r\n",
                                parts)
                          .c_str());
    const std::clock_t begin = std::clock();
    std::uint32_t size = 0;
    for (std::int32_t number = 1; number <= mail.GetAttachmentCount(); ++number) {
        EXPECT_EQ(mail.GetAttachmentSize(number, size), kMailOk);
    }
    EXPECT_GT(size, 0U);
    return std::clock() - begin;
}

TEST(Memory, TimeOfSizesGrowsWithTheAttachments) {
    // A share and not a time, since an emulated processor runs this as well.
    constexpr int kTimesParts = 8;
    constexpr int kMostTimesTime = 3 * kTimesParts;
    constexpr int kTries = 5;
    double growth = 0;
    for (int i = 0; i < kTries; ++i) {
        const auto few = static_cast<double>(timeOfSizes(kParts / kTimesParts));
        growth = static_cast<double>(timeOfSizes(kParts)) / (few + 1);
        if (growth <= kMostTimesTime) {
            break;
        }
    }
    EXPECT_LE(growth, kMostTimesTime);
}

}  // namespace
}  // namespace tessolt
