#include "message/content_types.h"

#include <algorithm>
#include <cstddef>
#include <iterator>

namespace tessolt {

namespace {

constexpr std::string_view kUnknownContentType = "application/octet-stream";

struct ExtensionType {
    std::string_view extension;
    std::string_view contentType;
};

constexpr ExtensionType kExtensionTypes[] = {
    {"exe", "application/octet-stream"},
    {"zip", "application/zip"},
    {"pdf", "application/pdf"},
    {"ps", "application/postscript"},
    {"gz", "application/x-gzip"},
    {"mp3", "audio/mpeg"},
    {"aif", "audio/x-aiff"},
    {"aifc", "audio/x-aiff"},
    {"aiff", "audio/x-aiff"},
    {"wav", "audio/x-wav"},
    {"ram", "audio/x-pn-realaudio"},
    {"ra", "audio/x-pn-realaudio"},
    {"bmp", "image/bmp"},
    {"gif", "image/gif"},
    {"jpe", "image/jpeg"},
    {"jpeg", "image/jpeg"},
    {"jpg", "image/jpeg"},
    {"png", "image/png"},
    {"svg", "image/svg+xml"},
    {"tif", "image/tiff"},
    {"tiff", "image/tiff"},
    {"ico", "image/x-icon"},
    {"css", "text/css"},
    {"html", "text/html"},
    {"htm", "text/html"},
    {"c", "text/plain"},
    {"h", "text/plain"},
    {"txt", "text/plain"},
    {"mpa", "video/mpeg"},
    {"mov", "video/quicktime"},
    {"avi", "video/x-msvideo"},
};

}  // namespace

std::string_view ContentTypeForFile(std::string_view path) {
    const std::size_t dot = path.rfind('.');
    if (dot == std::string_view::npos) {
        return kUnknownContentType;
    }
    const auto* found =
        std::ranges::find(kExtensionTypes, path.substr(dot + 1), &ExtensionType::extension);
    return found == std::end(kExtensionTypes) ? kUnknownContentType : found->contentType;
}

}  // namespace tessolt
