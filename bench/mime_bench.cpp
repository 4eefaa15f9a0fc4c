// Parsing with full decoding, composing, base64 and quoted-printable, ours and the peers (GMime,
// OpenSSL, GLib) in turn in one run.

#include <gmime/gmime.h>
#include <openssl/evp.h>

#include <cstring>
#include <random>
#include <string>
#include <string_view>

#include "base/data_buffer.h"
#include "charset/ansi_text.h"
#include "message/znmail.h"
#include "mime/cls_mime.h"
#include "mime/coding/content_coding.h"
#include "peer_timing.h"
#include "reading/field_text.h"
#include "reading/letter.h"
#include "text/outward_strings.h"
#include "text/xstring.h"

namespace {

using borvik::ClsMime;
using borvik::ContentCoding;
using borvik::DataBuffer;
using borvik::XString;

constexpr std::size_t kMega = 1'000'000;

std::string randomBytes(std::size_t count) {
    std::mt19937 generator(7);
    std::string bytes(count, '\0');
    for (char& byte : bytes) {
        byte = static_cast<char>(generator());
    }
    return bytes;
}

/// French text in lines of many lengths, about one character in forty outside ASCII.
std::string latinText(std::size_t size) {
    static constexpr std::string_view kPhrases[] = {
        "Bonjour \xE0 tous, ",
        "veuillez trouver ci-joint ",
        "le compte rendu ",
        "de la r\xE9union ",
        "d'hier. ",
        "Merci d'avance ",
        "de me signaler toute ",
        "erreur ou omission, ",
        "et \xE0 bient\xF4t. ",
        "La prochaine fois, ",
        "nous parlerons du budget pour ",
        "l'ann\xE9"
        "e qui vient.\r\n",
    };
    std::mt19937 generator(7);
    std::string text;
    while (text.size() < size) {
        text += kPhrases[generator() % std::size(kPhrases)];
    }
    return text;
}

std::string base64Body(std::string_view bytes) {
    DataBuffer out;
    ContentCoding::encodeBase64Mime(bytes, out);
    return std::string(out.view());
}

std::string quotedPrintableBody(std::string_view bytes) {
    DataBuffer out;
    ContentCoding::encodeQuotedPrintable(bytes, out);
    return std::string(out.view());
}

std::string messageWith(std::size_t text_size, std::size_t attachment_size) {
    std::string message =
        "Return-Path: <ann@example.org>\r\n"
        "Received: from a.example.org (a.example.org [192.0.2.1])\r\n"
        "\tby b.example.org (8.1) with ESMTP id 12345\r\n\tfor <bob@example.org>; "
        "Tue, 5 Mar 2024 14:03:09 +0100\r\n"
        "From: =?iso-8859-1?Q?Andr=E9_Dupont?= <ann@example.org>\r\n"
        "To: \"Bob Smith\" <bob@example.org>, carol@example.org\r\n"
        "Subject: =?utf-8?B?R3LDvMOfZSBhdXMgS8O2bG4=?=\r\n"
        "Date: Tue, 5 Mar 2024 14:03:09 +0100\r\nMessage-ID: <1@example.org>\r\n"
        "MIME-Version: 1.0\r\nContent-Type: multipart/mixed; boundary=\"outer\"\r\n\r\n"
        "--outer\r\nContent-Type: multipart/alternative; boundary=\"inner\"\r\n\r\n"
        "--inner\r\nContent-Type: text/plain; charset=iso-8859-1\r\n"
        "Content-Transfer-Encoding: quoted-printable\r\n\r\n" +
        quotedPrintableBody(latinText(text_size)) +
        "\r\n--inner\r\nContent-Type: text/html; charset=iso-8859-1\r\n"
        "Content-Transfer-Encoding: base64\r\n\r\n" +
        base64Body(latinText(text_size)) + "\r\n--inner--\r\n";
    if (attachment_size > 0) {
        message +=
            "--outer\r\nContent-Type: application/octet-stream; name=\"data.bin\"\r\n"
            "Content-Disposition: attachment; filename=\"data.bin\"\r\n"
            "Content-Transfer-Encoding: base64\r\n\r\n" +
            base64Body(randomBytes(attachment_size)) + "\r\n";
    }
    return message + "--outer--\r\n";
}

std::size_t readOurs(ClsMime& node) {
    const int parts = node.numParts();
    if (parts == 0) {
        DataBuffer body;
        node.getBodyBinary(body);
        return body.getSize();
    }
    std::size_t total = 0;
    for (int i = 0; i < parts; ++i) {
        total += readOurs(*node.getPart(i));
    }
    return total;
}

std::size_t parseOurs(const std::string& message) {
    ClsMime root;
    root.loadMimeBinary(message);
    XString value;
    std::size_t total = 0;
    for (const char* name : {"From", "To", "Subject", "Date"}) {
        root.getHeaderField(name, value);
        total += value.utf8Length();
    }
    return total + readOurs(root);
}

/// The same by the reader of current rules.
std::size_t parseCurrent(const std::string& text) {
    const tessolt::reading::Message message(text);
    std::size_t total = 0;
    for (const char* name : {"From", "To", "Subject", "Date"}) {
        total += tessolt::reading::headerText(message.field(name)).size();
    }
    for (const auto& part : message.parts()) {
        if (!part.isOpened()) {
            total += part.isType("text") ? tessolt::reading::bodyText(message, part).size()
                                         : tessolt::reading::bodyBytes(message, part).size();
        }
    }
    return total;
}

void readGmimePart(GMimeObject*, GMimeObject* part, gpointer total) {
    auto& sum = *static_cast<std::size_t*>(total);
    if (GMIME_IS_TEXT_PART(part)) {
        char* text = g_mime_text_part_get_text(GMIME_TEXT_PART(part));
        sum += std::strlen(text);
        g_free(text);
    } else if (GMIME_IS_PART(part)) {
        GMimeStream* out = g_mime_stream_mem_new();
        g_mime_data_wrapper_write_to_stream(g_mime_part_get_content(GMIME_PART(part)), out);
        sum += static_cast<std::size_t>(g_mime_stream_length(out));
        g_object_unref(out);
    }
}

std::size_t parseGmime(const std::string& message) {
    GMimeStream* in = g_mime_stream_mem_new_with_buffer(message.data(), message.size());
    GMimeParser* parser = g_mime_parser_new_with_stream(in);
    GMimeMessage* parsed = g_mime_parser_construct_message(parser, nullptr);
    std::size_t total = 0;
    GMimeHeaderList* headers = g_mime_object_get_header_list(GMIME_OBJECT(parsed));
    for (const char* name : {"From", "To", "Subject", "Date"}) {
        total += std::strlen(g_mime_header_get_value(g_mime_header_list_get_header(headers, name)));
    }
    g_mime_message_foreach(parsed, readGmimePart, &total);
    g_object_unref(parsed);
    g_object_unref(parser);
    g_object_unref(in);
    return total;
}

void benchParsing() {
    struct Case {
        const char* label;
        std::size_t text;
        std::size_t attachment;
        int repeats;
    };
    for (const Case& one : {Case{"parse 4 KB message", 1000, 0, 500},
                            Case{"parse 200 KB message", 20'000, 100'000, 50},
                            Case{"parse 3 MB of text", kMega, 0, 3},
                            Case{"parse 10 MB attachment", 1000, 10 * kMega, 1}}) {
        const std::string message = messageWith(one.text, one.attachment);
        std::size_t sink = 0;
        const auto repeat = [&](std::size_t (*parse)(const std::string&)) {
            return [&, parse] {
                for (int i = 0; i < one.repeats; ++i) {
                    sink += parse(message);
                }
            };
        };
        const double megabytes = message.size() * one.repeats / double(kMega);
        bench::compare(one.label, megabytes, repeat(parseOurs), {{"GMime", repeat(parseGmime)}});
        bench::compare(std::string(one.label) + ", current", megabytes, repeat(parseCurrent),
                       {{"GMime", repeat(parseGmime)}});
    }
}

std::size_t composeGmime(const std::string& text, const std::string& attachment) {
    GMimeMessage* message = g_mime_message_new(TRUE);
    g_mime_message_add_mailbox(message, GMIME_ADDRESS_TYPE_FROM, "Ann", "ann@example.org");
    g_mime_message_add_mailbox(message, GMIME_ADDRESS_TYPE_TO, "Bob", "bob@example.org");
    g_mime_message_set_subject(message,
                               "Gr\xC3\xBC\xC3\x9F"
                               "e",
                               "utf-8");
    GMimeMultipart* mixed = g_mime_multipart_new_with_subtype("mixed");
    GMimeTextPart* plain = g_mime_text_part_new_with_subtype("plain");
    g_mime_text_part_set_text(plain, text.c_str());
    g_mime_part_set_content_encoding(GMIME_PART(plain), GMIME_CONTENT_ENCODING_BASE64);
    g_mime_multipart_add(mixed, GMIME_OBJECT(plain));
    if (!attachment.empty()) {
        GMimePart* part = g_mime_part_new_with_type("application", "octet-stream");
        g_mime_part_set_filename(part, "data.bin");
        g_mime_part_set_content_encoding(part, GMIME_CONTENT_ENCODING_BASE64);
        GMimeStream* in = g_mime_stream_mem_new_with_buffer(attachment.data(), attachment.size());
        GMimeDataWrapper* content =
            g_mime_data_wrapper_new_with_stream(in, GMIME_CONTENT_ENCODING_DEFAULT);
        g_mime_part_set_content(part, content);
        g_object_unref(content);
        g_object_unref(in);
        g_mime_multipart_add(mixed, GMIME_OBJECT(part));
        g_object_unref(part);
    }
    g_mime_message_set_mime_part(message, GMIME_OBJECT(mixed));
    GMimeStream* out = g_mime_stream_mem_new();
    g_mime_object_write_to_stream(GMIME_OBJECT(message), nullptr, out);
    const auto size = static_cast<std::size_t>(g_mime_stream_length(out));
    g_object_unref(out);
    g_object_unref(plain);
    g_object_unref(mixed);
    g_object_unref(message);
    return size;
}

void benchComposing() {
    struct Case {
        const char* label;
        std::size_t text;
        std::size_t attachment;
        int repeats;
    };
    for (const Case& one :
         {Case{"compose 1 KB message", 1000, 0, 300}, Case{"compose 1 MB of text", kMega, 0, 5},
          Case{"compose 10 MB attachment", 1000, 10 * kMega, 1}}) {
        std::string utf8(one.text, 'a');
        for (std::size_t i = 0; i + 64 < utf8.size(); i += 64) {
            utf8.replace(i, 4, "\xD0\x9F\r\n");
        }
        const std::string bytes = randomBytes(one.attachment);
        std::string path = "/tmp/tessolt-bench-data.bin";
        std::FILE* file = std::fopen(path.c_str(), "wb");
        std::fwrite(bytes.data(), 1, bytes.size(), file);
        std::fclose(file);
        tessolt::CZnMail mail;
        mail.m_wstrFromName = u"Ann";
        mail.m_wstrFromAddress = u"ann@example.org";
        mail.m_wstrSubject = u"Grüße";
        mail.AddTo(u"bob@example.org", u"Bob");
        borvik::BvString wide;
        wide.x().setFromUtf8(utf8.c_str());
        mail.m_wstrBodyPlainText = wide.getWide();
        if (one.attachment > 0) {
            mail.AddFiles(borvik::utf8ToWidePaired(path));
        }
        std::remove(path.c_str());
        std::size_t sink = 0;
        const auto ours = [&] {
            for (int i = 0; i < one.repeats; ++i) {
                mail.Encode();
                borvik::BvString text;
                sink += mail.GetSource(text).size();
            }
        };
        const auto peer = [&] {
            for (int i = 0; i < one.repeats; ++i) {
                sink += composeGmime(utf8, bytes);
            }
        };
        bench::compare(one.label, (one.text + one.attachment) * one.repeats / double(kMega), ours,
                       {{"GMime", peer}});
    }
}

std::size_t runGmimeEncoding(GMimeContentEncoding kind, bool encode, std::string_view in,
                             std::string& out) {
    GMimeEncoding state;
    if (encode) {
        g_mime_encoding_init_encode(&state, kind);
    } else {
        g_mime_encoding_init_decode(&state, kind);
    }
    out.resize(g_mime_encoding_outlen(&state, in.size()));
    return g_mime_encoding_flush(&state, in.data(), in.size(), out.data());
}

void benchBase64() {
    const std::string bytes = randomBytes(8 * kMega);
    const std::string coded = base64Body(bytes);
    std::string flat = coded;
    std::erase_if(flat, [](char c) { return c == '\r' || c == '\n'; });
    std::string out(coded.size() + 1024, '\0');
    auto* raw = reinterpret_cast<unsigned char*>(out.data());
    DataBuffer ours;
    bench::compare(
        "base64 encode", bytes.size() / double(kMega),
        [&] {
            ours.clear();
            ContentCoding::encodeBase64Mime(bytes, ours);
        },
        {{"OpenSSL",
          [&] {
              EVP_EncodeBlock(raw, reinterpret_cast<const unsigned char*>(bytes.data()),
                              static_cast<int>(bytes.size()));
          }},
         {"GLib",
          [&] {
              gint state = 0;
              gint save = 0;
              g_base64_encode_step(reinterpret_cast<const guchar*>(bytes.data()), bytes.size(),
                                   TRUE, out.data(), &state, &save);
          }},
         {"GMime", [&] { runGmimeEncoding(GMIME_CONTENT_ENCODING_BASE64, true, bytes, out); }}});
    out.resize(coded.size() + 1024);
    raw = reinterpret_cast<unsigned char*>(out.data());
    bench::compare(
        "base64 decode", coded.size() / double(kMega),
        [&] {
            ours.clear();
            ContentCoding::decodeBase64(coded, ours);
        },
        {{"OpenSSL",
          [&] {
              EVP_DecodeBlock(raw, reinterpret_cast<const unsigned char*>(flat.data()),
                              static_cast<int>(flat.size()));
          }},
         {"GLib",
          [&] {
              gint state = 0;
              guint save = 0;
              g_base64_decode_step(coded.data(), coded.size(), raw, &state, &save);
          }},
         {"GMime", [&] { runGmimeEncoding(GMIME_CONTENT_ENCODING_BASE64, false, coded, out); }}});
}

void benchQuotedPrintable() {
    const std::string text = latinText(8 * kMega);
    const std::string coded = quotedPrintableBody(text);
    std::string out;
    DataBuffer ours;
    bench::compare("quoted-printable encode", text.size() / double(kMega),
                   [&] {
                       ours.clear();
                       ContentCoding::encodeQuotedPrintable(text, ours);
                   },
                   {{"GMime", [&] {
                         runGmimeEncoding(GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE, true, text, out);
                     }}});
    bench::compare(
        "quoted-printable decode", coded.size() / double(kMega),
        [&] {
            ours.clear();
            ContentCoding::decodeQuotedPrintable(coded, ours);
        },
        {{"GMime",
          [&] { runGmimeEncoding(GMIME_CONTENT_ENCODING_QUOTEDPRINTABLE, false, coded, out); }}});
}

}  // namespace

int main() {
    g_mime_init();
    benchParsing();
    benchComposing();
    benchBase64();
    benchQuotedPrintable();
    g_mime_shutdown();
}
