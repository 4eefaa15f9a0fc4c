#include "mail/sasl/scram.h"

#include <algorithm>
#include <charconv>
#include <optional>
#include <utility>

#include "mail/sasl/sasl_base64.h"
#include "platform/random_bytes.h"

namespace tessolt {

namespace {

constexpr std::size_t kNonceBytes = 18;
constexpr std::uint32_t kLeastRounds = 4096;
constexpr std::uint32_t kMostRounds = 2'000'000;
/// No channel binding, no other identity; and the same in base64.
constexpr std::string_view kHeader = "n,,";
constexpr std::string_view kHeaderEncoded = "c=biws";

/// Takes the next attribute of a message, which must have that letter.
std::optional<std::string_view> takeAttribute(std::string_view& message, char letter) {
    if (message.size() < 2 || message[0] != letter || message[1] != '=') {
        return std::nullopt;
    }
    const std::size_t end = std::min(message.find(','), message.size());
    const std::string_view value = message.substr(2, end - 2);
    message.remove_prefix(std::min(end + 1, message.size()));
    return value;
}

std::uint32_t roundsOf(std::string_view text) {
    std::uint32_t rounds = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), rounds);
    return error == std::errc() && end == text.data() + text.size() ? rounds : 0;
}

std::string exclusiveOr(std::string_view a, std::string_view b) {
    std::string result(a);
    for (std::size_t i = 0; i < result.size() && i < b.size(); ++i) {
        result[i] = static_cast<char>(result[i] ^ b[i]);
    }
    return result;
}

}  // namespace

ScramMechanism::ScramMechanism(std::string_view name, platform::Digest digest,
                               const SaslCredentials& credentials, std::string nonce)
    : name_(name), digest_(digest), credentials_(credentials), nonce_(std::move(nonce)) {}

bool ScramMechanism::Answer(std::string_view challenge, std::string& answer) {
    const Step step = std::exchange(step_, Step::kFailed);
    answer.clear();
    if (step == Step::kFirst && challenge.empty() && !nonce_.empty()) {
        firstBare_ = "n=" + ScramName(credentials_.account) + ",r=" + nonce_;
        answer = std::string(kHeader) + firstBare_;
        step_ = Step::kProof;
    } else if (step == Step::kProof && Prove(challenge, answer)) {
        step_ = Step::kVerdict;
    } else if (step == Step::kVerdict) {
        const auto signature = takeAttribute(challenge, 'v');
        if (signature && platform::equalSecrets(*signature, serverSignature_)) {
            step_ = Step::kProved;
        }
    }
    return step_ != Step::kFailed;
}

bool ScramMechanism::Prove(std::string_view serverFirst, std::string& answer) {
    std::string_view rest = serverFirst;
    const auto nonce = takeAttribute(rest, 'r');
    const auto salt = takeAttribute(rest, 's');
    const auto count = takeAttribute(rest, 'i');
    const std::uint32_t rounds = count ? roundsOf(*count) : 0;
    // The nonce begins with ours and goes on: else an earlier login might be played again.
    if (!nonce || !salt || nonce->size() <= nonce_.size() || !nonce->starts_with(nonce_) ||
        rounds < kLeastRounds || rounds > kMostRounds) {
        return false;
    }
    const std::string salted =
        platform::passwordKey(digest_, credentials_.secret, Base64Decoded(*salt), rounds);
    const std::string clientKey = platform::hmacOf(digest_, salted, "Client Key");
    const std::string serverKey = platform::hmacOf(digest_, salted, "Server Key");
    const std::string final = std::string(kHeaderEncoded) + ",r=" + std::string(*nonce);
    const std::string all = firstBare_ + "," + std::string(serverFirst) + "," + final;
    const std::string signature =
        platform::hmacOf(digest_, platform::digestOf(digest_, clientKey), all);
    const std::string expected = platform::hmacOf(digest_, serverKey, all);
    if (salted.empty() || clientKey.empty() || signature.empty() || expected.empty()) {
        return false;
    }
    serverSignature_ = Base64Encoded(expected);
    answer = final + ",p=" + Base64Encoded(exclusiveOr(clientKey, signature));
    return true;
}

std::string ScramNonce() {
    char bytes[kNonceBytes];
    return platform::randomBytes(bytes, sizeof bytes)
               ? Base64Encoded(std::string_view(bytes, sizeof bytes))
               : std::string();
}

std::string ScramName(std::string_view account) {
    std::string name;
    for (const char c : account) {
        name += c == ',' ? "=2C" : c == '=' ? "=3D" : std::string(1, c);
    }
    return name;
}

}  // namespace tessolt
