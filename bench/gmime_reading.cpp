// Reads messages with GMime and tells what is in them, for tools/compare_reading.py: for each path
// on standard input a line each of `plain`, `html`, `subject`, `sender`, `from`, `to` and
// `attachment` (name and bytes), values in hexadecimal, and `end`.

#include <gmime/gmime.h>

#include <iostream>
#include <string>
#include <string_view>
#include <vector>

namespace {

std::string hex(std::string_view bytes) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const char c : bytes) {
        text += kDigits[static_cast<unsigned char>(c) >> 4];
        text += kDigits[static_cast<unsigned char>(c) & 15];
    }
    return text;
}

std::string textOf(const char* text) {
    return text != nullptr ? text : "";
}

void tell(const char* what, std::string_view value) {
    std::cout << what << ' ' << hex(value) << '\n';
}

std::string contentOf(GMimeObject* object) {
    GMimeStream* const stream = g_mime_stream_mem_new();
    if (GMIME_IS_PART(object)) {
        if (GMimeDataWrapper* const content = g_mime_part_get_content(GMIME_PART(object))) {
            g_mime_data_wrapper_write_to_stream(content, stream);
        }
    } else if (GMIME_IS_MESSAGE_PART(object)) {
        GMimeMessage* const within = g_mime_message_part_get_message(GMIME_MESSAGE_PART(object));
        if (within != nullptr) {
            g_mime_object_write_to_stream(GMIME_OBJECT(within), nullptr, stream);
        }
    }
    GByteArray* const bytes = g_mime_stream_mem_get_byte_array(GMIME_STREAM_MEM(stream));
    std::string content(reinterpret_cast<const char*>(bytes->data), bytes->len);
    g_object_unref(stream);
    return content;
}

/// The record's rule, told over GMime's tree.
void visit(GMimeObject* object, int depth) {
    if (GMIME_IS_MULTIPART(object) && g_mime_multipart_get_count(GMIME_MULTIPART(object)) > 0) {
        GMimeMultipart* const multipart = GMIME_MULTIPART(object);
        for (int i = 0; i < g_mime_multipart_get_count(multipart); ++i) {
            visit(g_mime_multipart_get_part(multipart, i), depth + 1);
        }
        return;
    }
    const bool isPart = GMIME_IS_PART(object);
    const std::string name = isPart ? textOf(g_mime_part_get_filename(GMIME_PART(object))) : "";
    GMimeContentType* const type = g_mime_object_get_content_type(object);
    const bool isHtml = g_mime_content_type_is_type(type, "text", "html");
    const bool isShown =
        (isHtml || g_mime_content_type_is_type(type, "text", "plain")) && name.empty();
    const bool isText = GMIME_IS_TEXT_PART(object) && (depth == 0 || isShown);
    if (isText && textOf(g_mime_object_get_disposition(object)) != "attachment") {
        char* const text = g_mime_text_part_get_text(GMIME_TEXT_PART(object));
        tell(isHtml ? "html" : "plain", textOf(text));
        g_free(text);
        return;
    }
    std::cout << "attachment " << hex(name) << ' ' << hex(contentOf(object)) << '\n';
}

void tellMailboxes(const char* what, InternetAddressList* list, bool first) {
    for (int i = 0; list != nullptr && i < internet_address_list_length(list); ++i) {
        InternetAddress* const address = internet_address_list_get_address(list, i);
        if (INTERNET_ADDRESS_IS_GROUP(address)) {
            tellMailboxes(what, internet_address_group_get_members(INTERNET_ADDRESS_GROUP(address)),
                          false);
        } else {
            tell(what,
                 textOf(internet_address_mailbox_get_addr(INTERNET_ADDRESS_MAILBOX(address))));
            first ? tell("sender", textOf(internet_address_get_name(address))) : void();
        }
        first = false;
    }
}

void tellMessage(const std::string& path) {
    GMimeStream* const stream = g_mime_stream_file_open(path.c_str(), "r", nullptr);
    GMimeParser* const parser = g_mime_parser_new_with_stream(stream);
    GMimeMessage* const message = g_mime_parser_construct_message(parser, nullptr);
    if (message != nullptr) {
        tell("subject", textOf(g_mime_message_get_subject(message)));
        tellMailboxes("from", g_mime_message_get_from(message), true);
        tellMailboxes("to", g_mime_message_get_to(message), false);
        if (GMimeObject* const body = g_mime_message_get_mime_part(message)) {
            visit(body, 0);
        }
        g_object_unref(message);
    }
    g_object_unref(parser);
    g_object_unref(stream);
}

}  // namespace

int main() {
    g_mime_init();
    for (std::string path; std::getline(std::cin, path);) {
        tellMessage(path);
        std::cout << "end" << std::endl;
    }
}
