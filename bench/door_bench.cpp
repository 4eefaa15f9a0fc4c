// What a user of the shared library gets: the public interface, the classes behind it and the peers
// (GMime, mimetic, ICU) in turn in one run over the same inputs. The real messages are those in the
// folder that the argument names, else made ones.

#include <gmime/gmime.h>
#include <mimetic/mimetic.h>
#include <tessolt/tessolt.h>
#include <unicode/ustring.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

#include "charset/ansi_text.h"
#include "message/znmail.h"
#include "peak_memory.h"
#include "peer_timing.h"

namespace {

using tessolt::IEMailMessage;
using tessolt::Text;

constexpr double kMega = 1e6;
constexpr std::size_t kLineBytes = 57;

/// A folder that goes with its files.
class Scratch {
public:
    Scratch() {
        std::string pattern = (std::filesystem::temp_directory_path() / "door-XXXXXX").string();
        path_ = ::mkdtemp(pattern.data());
    }
    ~Scratch() { std::filesystem::remove_all(path_); }
    std::string write(const std::string& name, const std::string& content) const {
        const std::string path = path_ / name;
        std::ofstream(path, std::ios::binary) << content;
        return path;
    }
    std::string path(const std::string& name) const { return path_ / name; }

private:
    std::filesystem::path path_;
};

std::string binary(std::size_t size) {
    std::string bytes(size, '\0');
    unsigned state = 1;
    for (char& byte : bytes) {
        state = state * 1664525 + 1013904223;
        byte = static_cast<char>(state >> 24);
    }
    return bytes;
}

std::string base64Lines(const std::string& bytes) {
    std::string text;
    for (std::size_t at = 0; at < bytes.size(); at += kLineBytes) {
        const std::string line = bytes.substr(at, kLineBytes);
        gchar* coded = g_base64_encode(reinterpret_cast<const guchar*>(line.data()), line.size());
        text.append(coded).append("\r\n");
        g_free(coded);
    }
    return text;
}

/// No base64 text looks like the boundary.
std::string part(const std::string& head, const std::string& body) {
    return "--=_cut\r\n" + head + "\r\n\r\n" + body + "\r\n";
}

std::string mixed(const std::string& parts) {
    return "Received: from a.example.org (a.example.org [192.0.2.1])\r\n\tby b.example.org with "
           "ESMTP "
           "id 1;\r\n\tTue, 5 Mar 2024 14:03:09 +0100\r\n"
           "From: =?utf-8?Q?Andr=C3=A9?= <ann@example.org>\r\nTo: Bob <bob@example.org>\r\n"
           "Subject: =?utf-8?B?R3LDvMOfZSBhdXMgS8O2bG4=?=\r\n"
           "Date: Tue, 5 Mar 2024 14:03:09 +0100\r\nMIME-Version: 1.0\r\n"
           "Content-Type: multipart/mixed; boundary=\"=_cut\"\r\n\r\n" +
           parts + "--=_cut--\r\n";
}

std::string attachment(const std::string& bytes) {
    return part(
        "Content-Type: application/octet-stream; name=\"data.bin\"\r\n"
        "Content-Disposition: attachment; filename=\"data.bin\"\r\n"
        "Content-Transfer-Encoding: base64",
        base64Lines(bytes));
}

/// Messages as they come: texts in several codings and sizes, some with attachments.
std::vector<std::string> madeMessages() {
    std::vector<std::string> messages;
    for (int i = 0; i < 60; ++i) {
        std::string quoted;
        std::string html = "<html><body>";
        for (int line = 0; line < 10 + i * 7; ++line) {
            quoted +=
                "Les r=E9sultats de l'ann=E9e qui vient sont meilleurs que pr=E9vu,=\r\n oui.\r\n";
            html +=
                "<p>\xC3\x9C"
                "ber den Wolken ist die Freiheit wohl grenzenlos.</p>\n";
        }
        std::string parts = part(
            "Content-Type: text/plain; charset=iso-8859-1\r\n"
            "Content-Transfer-Encoding: quoted-printable",
            quoted);
        parts += part("Content-Type: text/html; charset=utf-8\r\nContent-Transfer-Encoding: base64",
                      base64Lines(html));
        messages.push_back(mixed(parts + (i % 3 == 0 ? attachment(binary(2000U * i)) : "")));
    }
    return messages;
}

/// A text in so many multiparts, one in the other.
std::string nested(int levels) {
    std::string open;
    std::string close;
    for (int level = 0; level < levels; ++level) {
        const std::string boundary = "level-" + std::to_string(level) + "-";
        open += "Content-Type: multipart/mixed; boundary=\"" + boundary + "\"\r\n\r\n--" +
                boundary + "\r\n";
        close = "\r\n--" + boundary + "--\r\n" + close;
    }
    std::string text;
    while (text.size() < 2'000'000) {
        text += "Plain words of some length, and a line end.\r\n";
    }
    return "Subject: nested\r\n" + open + "Content-Type: text/plain\r\n\r\n" + text + close;
}

std::string plainText(std::size_t size, std::string_view line) {
    std::string text = "Subject: text\r\nContent-Type: text/plain\r\n\r\n";
    while (text.size() < size) {
        text += line;
    }
    return text + "\r\n";
}

std::vector<std::string> readMessages(const char* folder) {
    std::vector<std::string> messages;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (entry.is_regular_file()) {
            std::ifstream file(entry.path(), std::ios::binary);
            messages.emplace_back(std::istreambuf_iterator<char>(file),
                                  std::istreambuf_iterator<char>());
        }
    }
    return messages;
}

// Each way to read a message from a file, with every leaf decoded.

std::size_t loadPublic(const std::string& path) {
    auto message = tessolt::CreateObject<IEMailMessage>(u"Tessolt.EMailMessage");
    message->LoadMIME(Text(path));
    Text plain;
    Text html;
    LONG count = 0;
    message->get_BodyPlainText(plain.put());
    message->get_BodyHtml(html.put());
    message->CountAttachments(&count);
    return plain.view().size() + html.view().size() + static_cast<std::size_t>(count);
}

/// The text isn't asked for.
std::size_t loadUnread(const std::string& path) {
    auto message = tessolt::CreateObject<IEMailMessage>(u"Tessolt.EMailMessage");
    message->LoadMIME(Text(path));
    LONG count = 0;
    message->CountAttachments(&count);
    return static_cast<std::size_t>(count);
}

std::size_t loadCore(const std::string& path) {
    tessolt::CZnMail mail;
    mail.m_pMime->LoadMimeFile(path.c_str());
    mail.Decode();
    return mail.m_wstrBodyPlainText.View().size() +
           static_cast<std::size_t>(mail.GetAttachmentCount());
}

void readGmimePart(GMimeObject*, GMimeObject* object, gpointer total) {
    auto& sum = *static_cast<std::size_t*>(total);
    if (GMIME_IS_TEXT_PART(object)) {
        char* text = g_mime_text_part_get_text(GMIME_TEXT_PART(object));
        sum += text ? std::strlen(text) : 0;
        g_free(text);
    } else if (GMIME_IS_PART(object) && g_mime_part_get_content(GMIME_PART(object))) {
        GMimeStream* out = g_mime_stream_mem_new();
        g_mime_data_wrapper_write_to_stream(g_mime_part_get_content(GMIME_PART(object)), out);
        sum += static_cast<std::size_t>(g_mime_stream_length(out));
        g_object_unref(out);
    }
}

std::size_t loadGmime(const std::string& path) {
    GMimeStream* in = g_mime_stream_file_open(path.c_str(), "rb", nullptr);
    GMimeParser* parser = g_mime_parser_new_with_stream(in);
    GMimeMessage* message = g_mime_parser_construct_message(parser, nullptr);
    std::size_t total = 0;
    if (message) {
        g_mime_message_foreach(message, readGmimePart, &total);
        g_object_unref(message);
    }
    g_object_unref(parser);
    g_object_unref(in);
    return total;
}

template <class Codec>
std::size_t decodeMimetic(const std::string& body, Codec codec) {
    std::string out;
    mimetic::decode(body.begin(), body.end(), codec, std::back_inserter(out));
    return out.size();
}

std::size_t readMimetic(const mimetic::MimeEntity& entity) {
    std::size_t total = 0;
    const mimetic::istring coding = entity.header().contentTransferEncoding().mechanism();
    if (entity.body().parts().empty() && coding == "base64") {
        total += decodeMimetic(entity.body(), mimetic::Base64::Decoder());
    } else if (entity.body().parts().empty() && coding == "quoted-printable") {
        total += decodeMimetic(entity.body(), mimetic::QP::Decoder());
    }
    for (const mimetic::MimeEntity* child : entity.body().parts()) {
        total += readMimetic(*child);
    }
    return total;
}

std::size_t loadMimetic(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::stringstream content;
    content << file.rdbuf();
    const std::string text = content.str();
    return readMimetic(mimetic::MimeEntity(text.begin(), text.end()));
}

using Load = std::size_t (*)(const std::string&);

void compareLoading(const char* label, const std::vector<std::string>& paths, int repeats) {
    double bytes = 0;
    for (const std::string& path : paths) {
        bytes += static_cast<double>(std::filesystem::file_size(path));
    }
    static volatile std::size_t sink = 0;
    const auto all = [&](Load load) {
        return [&paths, repeats, load] {
            for (int i = 0; i < repeats; ++i) {
                for (const std::string& path : paths) {
                    sink = sink + load(path);
                }
            }
        };
    };
    const std::vector<bench::Peer> peers = {{"GMime", all(loadGmime)},
                                            {"mimetic", all(loadMimetic)}};
    bench::comparePublic(label, bytes * repeats / kMega, all(loadPublic), all(loadCore), peers);
}

// Composing.

std::size_t composePublic(const std::string& body, const std::string& file,
                          const std::string& target = {}) {
    auto message = tessolt::CreateObject<IEMailMessage>(u"Tessolt.EMailMessage");
    message->put_FromName(Text("Ann"));
    message->put_FromAddress(Text("ann@example.org"));
    message->put_Subject(Text("A greeting"));
    message->put_BodyPlainText(Text(body));
    message->AddTo(Text("bob@example.org"), Text("Bob"));
    if (!file.empty()) {
        message->AddAttachment(Text(file));
    }
    message->Encode();
    if (!target.empty()) {
        message->SaveMIME(Text(target));
        return 0;
    }
    Text source;
    message->get_MessageSource(source.put());
    return source.view().size();
}

/// With the file as bytes, and the text as bytes.
std::size_t composeInMemory(const std::string& body, std::string_view file) {
    auto message = tessolt::CreateObject<IEMailMessage>(u"Tessolt.EMailMessage");
    const auto data = message.as<tessolt::IMessageData>();
    message->put_FromName(Text("Ann"));
    message->put_FromAddress(Text("ann@example.org"));
    message->put_Subject(Text("A greeting"));
    message->put_BodyPlainText(Text(body));
    message->AddTo(Text("bob@example.org"), Text("Bob"));
    data->AddAttachmentBytes(file.data(), file.size(), Text("data.bin"));
    message->Encode();
    tessolt::ByteView bytes{};
    data->GetMimeBytes(&bytes);
    return bytes.size;
}

std::size_t composeCore(const std::string& body, const std::string& file,
                        const std::string& target = {}) {
    tessolt::CZnMail mail;
    mail.m_wstrFromName = u"Ann";
    mail.m_wstrFromAddress = u"ann@example.org";
    mail.m_wstrSubject = u"A greeting";
    mail.m_wstrBodyPlainText.Assign(Text(body).view());
    mail.AddTo(u"bob@example.org", u"Bob");
    if (!file.empty()) {
        mail.AddFile(Text(file).view(), "application/octet-stream");
    }
    mail.Encode();
    if (!target.empty()) {
        return mail.m_pMime->SaveMime(target.c_str()) ? 1 : 0;
    }
    borvik::BvString storage;
    return mail.GetSource(storage).size();
}

/// `in` is what is attached, null for nothing.
std::size_t composeGmimeStream(const std::string& body, GMimeStream* in,
                               const std::string& target) {
    GMimeMessage* message = g_mime_message_new(TRUE);
    g_mime_message_add_mailbox(message, GMIME_ADDRESS_TYPE_FROM, "Ann", "ann@example.org");
    g_mime_message_add_mailbox(message, GMIME_ADDRESS_TYPE_TO, "Bob", "bob@example.org");
    g_mime_message_set_subject(message, "A greeting", "utf-8");
    GMimeTextPart* plain = g_mime_text_part_new_with_subtype("plain");
    g_mime_text_part_set_text(plain, body.c_str());
    GMimeMultipart* parts = g_mime_multipart_new_with_subtype("mixed");
    g_mime_multipart_add(parts, GMIME_OBJECT(plain));
    if (in) {
        GMimePart* data = g_mime_part_new_with_type("application", "octet-stream");
        g_mime_part_set_filename(data, "data.bin");
        g_mime_part_set_content_encoding(data, GMIME_CONTENT_ENCODING_BASE64);
        GMimeDataWrapper* content =
            g_mime_data_wrapper_new_with_stream(in, GMIME_CONTENT_ENCODING_DEFAULT);
        g_mime_part_set_content(data, content);
        g_object_unref(content);
        g_object_unref(in);
        g_mime_multipart_add(parts, GMIME_OBJECT(data));
        g_object_unref(data);
    }
    g_mime_message_set_mime_part(message, in ? GMIME_OBJECT(parts) : GMIME_OBJECT(plain));
    GMimeStream* out = target.empty() ? g_mime_stream_mem_new()
                                      : g_mime_stream_file_open(target.c_str(), "wb", nullptr);
    g_mime_object_write_to_stream(GMIME_OBJECT(message), nullptr, out);
    const auto size = static_cast<std::size_t>(g_mime_stream_tell(out));
    g_object_unref(out);
    g_object_unref(plain);
    g_object_unref(parts);
    g_object_unref(message);
    return size;
}

std::size_t composeGmime(const std::string& body, const std::string& file,
                         const std::string& target = {}) {
    GMimeStream* in = file.empty() ? nullptr : g_mime_stream_file_open(file.c_str(), "rb", nullptr);
    return composeGmimeStream(body, in, target);
}

std::size_t composeGmimeBytes(const std::string& body, const std::string& file) {
    return composeGmimeStream(body, g_mime_stream_mem_new_with_buffer(file.data(), file.size()),
                              {});
}

std::size_t composeMimetic(const std::string& body, const std::string& file,
                           const std::string& target = {}) {
    mimetic::MultipartMixed message;
    message.header().from("Ann <ann@example.org>");
    message.header().to("Bob <bob@example.org>");
    message.header().subject("A greeting");
    auto* plain = new mimetic::TextPlain(body);
    message.body().parts().push_back(plain);
    if (!file.empty()) {
        message.body().parts().push_back(
            new mimetic::Attachment(file, mimetic::ContentType("application", "octet-stream")));
    }
    if (!target.empty()) {
        std::ofstream(target, std::ios::binary) << message;
        return 0;
    }
    std::ostringstream out;
    out << message;
    return out.str().size();
}

void compareComposing(const char* label, std::size_t size, const std::string& file, int repeats,
                      const std::string& target) {
    std::string body;
    while (body.size() < 1000) {
        body += "Plain words of some length, and a line end.\r\n";
    }
    const auto times = [&](auto compose) {
        return [=] {
            for (int i = 0; i < repeats; ++i) {
                compose();
            }
        };
    };
    const std::vector<bench::Peer> peers = {
        {"GMime", times([=] { composeGmime(body, file, target); })},
        {"mimetic", times([=] { composeMimetic(body, file, target); })}};
    bench::comparePublic(label, static_cast<double>(size + body.size()) * repeats / kMega,
                         times([=] { composePublic(body, file, target); }),
                         times([=] { composeCore(body, file, target); }), peers);
}

void compareInMemory(const std::string& file) {
    const auto core = [&] {
        tessolt::CZnMail mail;
        mail.m_wstrBodyPlainText = u"text";
        mail.AddTo(u"bob@example.org", u"Bob");
        borvik::BvByteData bytes;
        bytes.append(file.data(), file.size());
        mail.AddBytes(std::move(bytes), u"data.bin", "application/octet-stream");
        mail.Encode();
        borvik::BvByteData storage;
        mail.GetSourceBytes(storage);
    };
    bench::comparePublic("compose 10 MB in memory", static_cast<double>(file.size()) / kMega,
                         [&] { composeInMemory("text", file); }, core,
                         {{"GMime", [&] { composeGmimeBytes("text", file); }}});
}

// Texts.

void compareTexts() {
    const std::pair<const char*, const char*> scripts[] = {
        {"ASCII", "The quick brown fox jumps over the lazy dog. "},
        {"Latin",
         "Gr\xC3\xBC\xC3\x9F"
         "e aus K\xC3\xB6ln am Rhein, "},
        {"Cyrillic", "\xD0\x9F\xD1\x80\xD0\xB8\xD0\xB2\xD0\xB5\xD1\x82 "},
        {"Japanese", "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E\xE3\x81\xA7\xE3\x81\x99\xE3\x80\x82"}};
    for (const auto& [name, phrase] : scripts) {
        std::string utf8;
        while (utf8.size() < 20000) {
            utf8 += phrase;
        }
        const Text text(utf8);
        const std::u16string_view units = text.view();
        const auto length = static_cast<int32_t>(utf8.size());
        const auto unitLength = static_cast<int32_t>(units.size());
        constexpr int kRepeats = 300;
        const auto times = [](auto work) {
            return [work] {
                for (int i = 0; i < kRepeats; ++i) {
                    work();
                    asm volatile("" ::: "memory");
                }
            };
        };
        const double size = static_cast<double>(utf8.size()) * kRepeats / kMega;
        const auto fromIcu = [=] {
            UErrorCode error = U_ZERO_ERROR;
            int32_t wanted = 0;
            u_strFromUTF8WithSub(nullptr, 0, &wanted, utf8.data(), length, 0xFFFD, nullptr, &error);
            error = U_ZERO_ERROR;
            std::u16string out(static_cast<std::size_t>(wanted), u'\0');
            u_strFromUTF8WithSub(out.data(), wanted, nullptr, utf8.data(), length, 0xFFFD, nullptr,
                                 &error);
        };
        const auto toIcu = [=] {
            UErrorCode error = U_ZERO_ERROR;
            int32_t wanted = 0;
            u_strToUTF8WithSub(nullptr, 0, &wanted, units.data(), unitLength, 0xFFFD, nullptr,
                               &error);
            error = U_ZERO_ERROR;
            std::string out(static_cast<std::size_t>(wanted), '\0');
            u_strToUTF8WithSub(out.data(), wanted, nullptr, units.data(), unitLength, 0xFFFD,
                               nullptr, &error);
        };
        bench::comparePublic(
            std::string("Text from UTF-8, ") + name, size, times([=] { Text made(utf8); }),
            times([=] { borvik::utf8ToWidePaired(utf8); }), {{"ICU", times(fromIcu)}});
        bench::comparePublic(
            std::string("Text to UTF-8, ") + name, size, times([&] { text.utf8(); }),
            times([=] { borvik::wideToUtf8Paired(units); }), {{"ICU", times(toIcu)}});
    }
}

void compareCreation() {
    constexpr int kObjects = 20000;
    const auto create = [] {
        for (int i = 0; i < kObjects; ++i) {
            tessolt::CreateObject<IEMailMessage>(u"Tessolt.EMailMessage");
        }
    };
    const auto core = [] {
        for (int i = 0; i < kObjects; ++i) {
            tessolt::CZnMail mail;
        }
    };
    const auto gmime = [] {
        for (int i = 0; i < kObjects; ++i) {
            g_object_unref(g_mime_message_new(TRUE));
        }
    };
    // A million objects count as a megabyte here: read MB/s as millions a second.
    bench::comparePublic("object creation (millions)", kObjects / kMega, create, core,
                         {{"GMime", gmime}});
}

// Memory.

void printPeak(const char* label, const std::string& path, const std::function<void()>& work) {
    bench::printPeak(label, static_cast<double>(std::filesystem::file_size(path)), work);
}

void printPeaks(const Scratch& scratch, const std::string& large, const std::string& data) {
    const std::string target = scratch.path("target.eml");
    const std::string text =
        scratch.write("text.eml", "Subject: text\r\n\r\n" + std::string(25'000'000, 'x') + "\r\n");
    printPeak("load 50 MB attachment, ours", large, [&] { loadPublic(large); });
    printPeak("load 50 MB attachment, GMime", large, [&] { loadGmime(large); });
    printPeak("load 50 MB attachment, mimetic", large, [&] { loadMimetic(large); });
    printPeak("load 25 MB of text, ours", text, [&] { loadPublic(text); });
    printPeak("load 25 MB of text unread, ours", text, [&] { loadUnread(text); });
    printPeak("load 25 MB of text, GMime", text, [&] { loadGmime(text); });
    printPeak("load 25 MB of text, mimetic", text, [&] { loadMimetic(text); });
    printPeak("compose 10 MB, MessageSource, ours", data, [&] { composePublic("text", data); });
    printPeak("compose 10 MB, SaveMIME, ours", data, [&] { composePublic("text", data, target); });
    printPeak("compose 10 MB in memory, ours", data,
              [&] { composeInMemory("text", binary(std::filesystem::file_size(data))); });
    printPeak("compose 10 MB, GMime", data, [&] { composeGmime("text", data); });
    printPeak("compose 10 MB, mimetic", data, [&] { composeMimetic("text", data); });
}

}  // namespace

int main(int argc, char** argv) {
    g_mime_init();
    const Scratch scratch;
    std::vector<std::string> paths;
    for (const std::string& message : argc > 1 ? readMessages(argv[1]) : madeMessages()) {
        paths.push_back(scratch.write(std::to_string(paths.size()) + ".eml", message));
    }
    const std::string large = scratch.write("large.eml", mixed(attachment(binary(36'000'000))));
    const std::string data = scratch.write("data.bin", binary(10'000'000));
    printPeaks(scratch, large, data);
    compareCreation();
    compareTexts();
    compareLoading("real messages", paths, 3);
    compareLoading("50 MB base64 message", {large}, 1);
    std::string parts;
    for (int i = 0; i < 10'000; ++i) {
        parts += attachment("attachment of some bytes");
    }
    compareLoading("10,000 attachments", {scratch.write("many.eml", mixed(parts))}, 1);
    parts.clear();
    for (int i = 0; i < 10'000; ++i) {
        parts += part("Content-Type: text/plain", "A few words.");
    }
    compareLoading("10,000 parts", {scratch.write("parts.eml", mixed(parts))}, 1);
    const std::string lines =
        plainText(5'000'000, "Plain words of some length, and a line end.\r\n");
    compareLoading("5 MB without anything to decode", {scratch.write("plain.eml", lines)}, 1);
    const std::string line = plainText(5'000'000, "Plain words of some length, and no line end. ");
    compareLoading("5 MB in one line", {scratch.write("line.eml", line)}, 1);
    compareLoading("2 MB in 100 levels", {scratch.write("nested.eml", nested(100))}, 1);
    const std::string target = scratch.path("target.eml");
    compareComposing("compose 10 MB, MessageSource", 10'000'000, data, 1, "");
    compareComposing("compose 10 MB, SaveMIME", 10'000'000, data, 1, target);
    compareInMemory(binary(10'000'000));
    compareComposing("compose small", 0, "", 300, "");

    g_mime_shutdown();
}
