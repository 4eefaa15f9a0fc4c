#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "mail/sasl/sasl_mechanism.h"
#include "platform/digests.h"

namespace tessolt {

/// The SCRAM family without channel binding (RFC 5802, RFC 7677). Neither side shows the password,
/// and the server proves that it knows it too. A server that wants fewer than 4096 rounds, or more
/// than two million, is refused: the one would help whoever listens to guess the password, the
/// other keep the client busy.
///
/// Account and password go in as they are: the preparation of RFC 4013 leaves ASCII alone, and
/// other texts have to be typed as they were when the password was set.
class ScramMechanism : public SaslMechanism {
public:
    /// `nonce` is printable, without a comma and never used before; empty fails the login.
    ScramMechanism(std::string_view name, platform::Digest digest,
                   const SaslCredentials& credentials, std::string nonce);

    std::string_view Name() const override { return name_; }
    bool Answer(std::string_view challenge, std::string& answer) override;
    bool IsSatisfied() const override { return step_ == Step::kProved; }

private:
    enum class Step { kFirst, kProof, kVerdict, kProved, kFailed };

    bool Prove(std::string_view serverFirst, std::string& answer);

    std::string_view name_;
    platform::Digest digest_;
    SaslCredentials credentials_;
    std::string nonce_;
    Step step_ = Step::kFirst;
    std::string firstBare_;
    std::string serverSignature_;
};

/// A nonce of 144 random bits, empty when the system has none to give.
std::string ScramNonce();
/// An account with "," and "=" escaped.
std::string ScramName(std::string_view account);

}  // namespace tessolt
