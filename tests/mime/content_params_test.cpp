#include "mime/content_params.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <tuple>
#include <utility>

#include "mime/url_encode.h"

namespace borvik {
namespace {

/// All that was read, in one line.
std::string describe(const ContentTypeParams& p) {
    std::string out;
    for (const StringBuffer* text :
         {&p.mediaType, &p.name, &p.protocol, &p.micalg, &p.boundary, &p.smimeType, &p.type}) {
        out.append(text->view()).append("|");
    }
    return out.append(p.charset.getName());
}

TEST(ContentTypeParams, ReadsAFieldValue) {
    const std::pair<std::string_view, std::string_view> cases[] = {
        {"", "|||||||"},
        {"TEXT/Plain", "text/plain|||||||"},
        {"text/plain x; charset=UTF-8", "text/plain|||||||"},
        {"text / plain; charset = \"ISO-8859-1\" ", "text|||||||"},
        {"text/plain ;\r\n\tcharset = \"ISO-8859-1\" ", "text/plain|||||||iso-8859-1"},
        {"multipart/signed; boundary=\"a; b=c\"; protocol=\"Application/X\"; micalg=SHA1",
         "multipart/signed||application/x|sha1|a; b=c|||"},
        {"a/b; name=x y; NAME=z\tw", "a/b|zw||||||"},
        {"a/b; name=\"x \\\" y\"; type=\"T\"; smime-type=Signed-Data",
         "a/b|x \" y||||signed-data|t|"},
        {"a/b; name==x;;name;type=y", "a/b|x||||||"},
        {"a/b; name*0*=utf-8''a%20b; name*1*=%C3%A9+; name*2=c", "a/b|a b\xC3\xA9 c||||||"},
        {"a/b; name*0*=iso-8859-1'en'x''%E9; name*1*=%E9", "a/b|\xC3\xA9\xC3\xA9||||||"},
        {"a/b; name*=iso-8859-2''%B1", "a/b|\xC4\x85||||||"},
        {"a/b; name=<[[7]]>; type=\"x\"", "a/b||||||x|"},
        {"a/b; name=<[[99999999999999999999]]>; type=\"x\"", "a/b||||||x|"},
        {"a/b; name=<[[; boundary=\"y\"; type=\"x\"", "a/b|y|||y||x|"},
        {"a/b; name=\"open", "a/b|||||||"},
    };
    for (const auto& [value, result] : cases) {
        ContentTypeParams params;
        params.type.setString("old");
        params.parse(value);
        EXPECT_EQ(describe(params), result) << value;
    }
}

TEST(ContentTypeParams, WritesAFieldValue) {
    ContentTypeParams params;
    params.mediaType.setString("text/RFC822-headers;x=y ");
    EXPECT_EQ(params.format(true).view(), "text/RFC822-headers;x=y");

    params.mediaType.setString("application/pkcs7-mime");
    params.charset.setByName("utf-8");
    params.name.setString("n");
    params.protocol.setString("p");
    params.micalg.setString("m");
    params.boundary.setString("b");
    params.smimeType.setString("s");
    params.type.setString("t");
    EXPECT_EQ(params.format(true).view(),
              "application/pkcs7-mime; charset=\"utf-8\"; type=\"t\";boundary=\"b\";name=\"n\";"
              "protocol=\"p\";micalg=m;smime-type=s");
    params.clear();
    params.mediaType.setString("multipart/related");
    params.type.setString("text/html");
    EXPECT_EQ(params.format(true).view(), "multipart/related");
}

TEST(ContentDispositionParams, ReadsAFieldValue) {
    const std::tuple<std::string_view, std::string_view, std::string_view> cases[] = {
        {"attachment", "attachment", ""},
        {" Attach ment ;; filename = \"a b; c.txt\"", "Attachment", "a b; c.txt"},
        {"attachment; filename*0*=utf-8''a%20b; filename*1*=c.txt", "attachment", "a bc.txt"},
        {"inline; filename*=%zz%4", "inline", "%zz"},
    };
    for (const auto& [value, disposition, filename] : cases) {
        ContentDispositionParams params;
        params.parse(value);
        EXPECT_EQ(params.disposition.view(), disposition);
        EXPECT_EQ(params.filename.view(), filename);
    }
}

}  // namespace
}  // namespace borvik
