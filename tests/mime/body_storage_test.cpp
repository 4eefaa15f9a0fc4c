// Bodies that stay where they stand, and memory that is given back while it is decoded.

#include <gtest/gtest.h>

#include <memory>
#include <random>
#include <string>

#include "mime/body_decoding.h"
#include "mime/coding/content_coding.h"
#include "mime/mime_message2.h"

namespace borvik {
namespace {

constexpr std::size_t kLarge = 700'000;

std::string base64Text(const std::string& bytes) {
    DataBuffer out;
    ContentCoding::encodeBase64Mime(bytes, out);
    return std::string(out.view());
}

std::shared_ptr<DataBuffer> storageOf(const std::string& text) {
    auto storage = std::make_shared<DataBuffer>();
    storage->append(text);
    return storage;
}

/// Reads the text where it stands in a storage that the node may keep, which goes behind that.
std::unique_ptr<MimeMessage2> loadedFromStorage(const std::string& text) {
    const auto storage = storageOf(text);
    auto node = std::make_unique<MimeMessage2>();
    node->LoadMimeComplete2(storage->view(), false, nullptr, false, storage);
    return node;
}

std::string rendered(const MimeMessage2& node) {
    DataBuffer out;
    node.getMimeTextDb(out, nullptr);
    return std::string(out.view());
}

TEST(BodyStorage, UsingUpBase64GivesWhatKeepingItGives) {
    std::mt19937 random(3);
    std::string bytes(kLarge, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(random());
    }
    const std::string plain = base64Text(bytes);
    const std::string junks[] = {"", "\n", " \t-.,!", "@\x80\xFF_", "=", std::string(1, '\0')};
    for (const std::string& junk : junks) {
        std::string text = plain;
        for (int i = 0; i < 40 && !junk.empty(); ++i) {
            const std::size_t from = junk == "=" ? kLarge / 2 : 0;
            text.insert(from + random() % (text.size() - from), 1, junk[random() % junk.size()]);
        }
        DataBuffer kept;
        decodeBase64Body(text, 0, false, kept);
        DataBuffer usedUp;
        decodeBase64Body(storageOf(text)->view(), 0, true, usedUp);
        EXPECT_TRUE(kept.view() == usedUp.view()) << junk;
    }
}

TEST(BodyStorage, KeptStorageMakesNoDifference) {
    const std::string words(kLarge, 'w');
    const std::string coded = base64Text(words);
    const std::string parts =
        "\r\n\r\n--b\r\nContent-Transfer-Encoding: base64\r\n\r\n" + coded +
        "--b\r\nContent-Type: text/html\r\nContent-Transfer-Encoding: base64\r\n\r\n" +
        base64Text("<meta charset=\"koi8-r\">\xC1" + words) + "--b--\r\n";
    const std::string kinds[] = {
        "Subject: text\r\n\r\n" + words,
        "Content-Type: text/plain; charset=koi8-r\r\n\r\n\xC1" + words,
        "Content-Type: text/html\r\n\r\n<meta charset=\"koi8-r\">\xC1" + words,
        "Content-Type: text/plain\r\nContent-Transfer-Encoding: base64\r\n\r\n" + coded,
        "Content-Type: multipart/mixed; boundary=b" + parts,
        "Content-Type: multipart/signed; boundary=b" + parts,
    };
    for (const std::string& text : kinds) {
        MimeMessage2 copied;
        copied.LoadMimeComplete2(text, false, nullptr, false);
        EXPECT_TRUE(rendered(*loadedFromStorage(text)) == rendered(copied)) << text.substr(0, 60);
    }
}

TEST(BodyStorage, CopyKeepsItsBodyWhenTheSourceChangesOrGoes) {
    const std::string first =
        "Content-Type: image/png\r\nContent-Transfer-Encoding: base64\r\n\r\n" +
        base64Text(std::string(kLarge, 'p'));
    auto source = loadedFromStorage(first);
    MimeMessage2 copy;
    copy.loadCopy(*source, nullptr);
    source->setBodyRaw("other");
    EXPECT_EQ(source->body().view(), "other");
    EXPECT_TRUE(copy.body().view() == std::string(kLarge, 'p'));
    source->loadCopy(copy, nullptr);
    copy.clear();
    EXPECT_TRUE(copy.body().empty());
    EXPECT_TRUE(source->body().view() == std::string(kLarge, 'p'));
}

}  // namespace
}  // namespace borvik
