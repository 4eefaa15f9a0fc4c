#include "mail/sasl/sasl_mechanism.h"

#include <algorithm>

#include "base/ascii_text.h"
#include "foundation/md5.h"
#include "mail/sasl/scram.h"

namespace tessolt {

namespace {

/// A mechanism with a fixed name and the credentials.
class NamedMechanism : public SaslMechanism {
public:
    NamedMechanism(std::string_view name, const SaslCredentials& credentials)
        : credentials_(credentials), name_(name) {}
    std::string_view Name() const override { return name_; }

protected:
    SaslCredentials credentials_;

private:
    std::string_view name_;
};

/// RFC 4616.
class PlainMechanism : public NamedMechanism {
public:
    using NamedMechanism::NamedMechanism;
    bool Answer(std::string_view challenge, std::string& answer) override {
        answer = '\0' + credentials_.account + '\0' + credentials_.secret;
        return challenge.empty();
    }
};

/// The account for the first prompt, the password for the second, whatever their words.
class LoginMechanism : public NamedMechanism {
public:
    using NamedMechanism::NamedMechanism;
    bool SpeaksFirst() const override { return false; }
    bool Answer(std::string_view, std::string& answer) override {
        answer = prompts_ == 0 ? credentials_.account : credentials_.secret;
        return ++prompts_ <= 2;
    }

private:
    int prompts_ = 0;
};

/// RFC 2195.
class CramMd5Mechanism : public NamedMechanism {
public:
    using NamedMechanism::NamedMechanism;
    bool SpeaksFirst() const override { return false; }
    bool Answer(std::string_view challenge, std::string& answer) override {
        std::uint8_t digest[kMd5DigestBytes];
        HmacMd5(credentials_.secret, challenge, digest);
        answer = credentials_.account + " " + HexDigest(digest);
        return !challenge.empty();
    }
};

/// A token. A challenge behind the first words tells in JSON what is wrong with it and gets a last
/// answer, upon which the server refuses.
class TokenMechanism : public NamedMechanism {
public:
    using NamedMechanism::NamedMechanism;
    bool Answer(std::string_view challenge, std::string& answer) override {
        answer = challenge.empty() ? FirstWords() : LastWords();
        return true;
    }

private:
    virtual std::string FirstWords() const = 0;
    virtual std::string LastWords() const = 0;
};

constexpr char kSeparator = '\1';

/// RFC 7628.
class BearerMechanism : public TokenMechanism {
public:
    using TokenMechanism::TokenMechanism;

private:
    std::string FirstWords() const override {
        return "n,a=" + ScramName(credentials_.account) + "," + kSeparator +
               "host=" + credentials_.host + kSeparator +
               "port=" + std::to_string(credentials_.port) + kSeparator + "auth=Bearer " +
               credentials_.secret + kSeparator + kSeparator;
    }
    std::string LastWords() const override { return std::string(1, kSeparator); }
};

/// The form of the large providers from before RFC 7628.
class XOAuth2Mechanism : public TokenMechanism {
public:
    using TokenMechanism::TokenMechanism;

private:
    std::string FirstWords() const override {
        return "user=" + credentials_.account + kSeparator + "auth=Bearer " + credentials_.secret +
               kSeparator + kSeparator;
    }
    std::string LastWords() const override { return {}; }
};

using Maker = std::unique_ptr<SaslMechanism> (*)(std::string_view, const SaslCredentials&);

template <typename Mechanism>
std::unique_ptr<SaslMechanism> make(std::string_view name, const SaslCredentials& credentials) {
    return std::make_unique<Mechanism>(name, credentials);
}

template <platform::Digest kDigest>
std::unique_ptr<SaslMechanism> makeScram(std::string_view name,
                                         const SaslCredentials& credentials) {
    return std::make_unique<ScramMechanism>(name, kDigest, credentials, ScramNonce());
}

struct MechanismRow {
    std::string_view name;
    bool takesToken;
    Maker make;
};

/// The strongest first: with the first three the password itself never travels.
constexpr MechanismRow kMechanisms[] = {
    {"SCRAM-SHA-256", false, makeScram<platform::Digest::kSha256>},
    {"SCRAM-SHA-1", false, makeScram<platform::Digest::kSha1>},
    {"CRAM-MD5", false, make<CramMd5Mechanism>},
    {"PLAIN", false, make<PlainMechanism>},
    {"LOGIN", false, make<LoginMechanism>},
    {"OAUTHBEARER", true, make<BearerMechanism>},
    {"XOAUTH2", true, make<XOAuth2Mechanism>},
};

}  // namespace

std::unique_ptr<SaslMechanism> ChooseMechanism(const SaslChoice& choice,
                                               const SaslCredentials& credentials) {
    for (const MechanismRow& row : kMechanisms) {
        const bool isOffered = std::any_of(
            choice.offered.begin(), choice.offered.end(),
            [&](const std::string& name) { return borvik::equalsNoCase(name, row.name); });
        const bool isWanted = choice.wanted.empty() || choice.wanted == row.name;
        if (isOffered && isWanted && row.takesToken == credentials.isToken) {
            return row.make(row.name, credentials);
        }
    }
    return nullptr;
}

}  // namespace tessolt
