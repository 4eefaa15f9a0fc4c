/// Login mechanisms as they are, without a connection (RFC 4422): challenge in, answer out.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tessolt {

/// Who logs in. All texts are UTF-8.
struct SaslCredentials {
    std::string account;
    std::string secret;    ///< Password or token.
    bool isToken = false;  ///< The secret is an OAuth 2 access token.
    std::string host = {};
    int port = 0;
};

/// One side of one login, for the client.
class SaslMechanism {
public:
    virtual ~SaslMechanism() = default;
    SaslMechanism() = default;
    SaslMechanism(const SaslMechanism&) = delete;
    SaslMechanism& operator=(const SaslMechanism&) = delete;

    /// The name in the registry.
    virtual std::string_view Name() const = 0;
    /// Whether the client speaks first.
    virtual bool SpeaksFirst() const { return true; }
    /// Makes the answer to a challenge, both as bytes; an empty challenge asks for the first words
    /// of a mechanism that speaks first. False: the server is wrong, and the login has to be
    /// cancelled.
    virtual bool Answer(std::string_view challenge, std::string& answer) = 0;
    /// Whether the server's word that the login is done may be believed: what it has to prove, it
    /// has proved.
    virtual bool IsSatisfied() const { return true; }
};

/// What the channel and the caller allow.
struct SaslChoice {
    std::vector<std::string> offered;  ///< By the server, in any case of letters.
    std::string wanted = {};           ///< The caller's own choice; empty for the strongest.
};

/// The strongest mechanism of those offered that fits the credentials: the SCRAM family, CRAM-MD5,
/// PLAIN and LOGIN for a password, OAUTHBEARER and XOAUTH2 for a token. Null when there is none.
std::unique_ptr<SaslMechanism> ChooseMechanism(const SaslChoice& choice,
                                               const SaslCredentials& credentials);

}  // namespace tessolt
