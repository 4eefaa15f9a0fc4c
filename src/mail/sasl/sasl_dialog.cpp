#include "mail/sasl/sasl_dialog.h"

#include "mail/sasl/sasl_base64.h"

namespace tessolt {

namespace {

/// No mechanism has more; a server that goes on asking isn't logging anybody in.
constexpr int kMostChallenges = 8;
constexpr const char* kLoggedAnswer = "<credentials>";
constexpr const char* kCancel = "*";
/// First words of no bytes.
constexpr const char* kNothing = "=";

SaslEnd endOf(const SaslReply& reply, const SaslMechanism& mechanism) {
    if (reply.kind == SaslReply::kDone && mechanism.IsSatisfied()) {
        return SaslEnd::kLoggedIn;
    }
    return reply.kind == SaslReply::kLost ? SaslEnd::kLost : SaslEnd::kRefused;
}

}  // namespace

SaslEnd RunSaslDialog(SaslMechanism& mechanism, std::size_t longestCommand,
                      const SaslExchange& exchange) {
    std::string command = "AUTH " + std::string(mechanism.Name());
    std::string logged = command;
    std::string words;
    bool wordsWait = mechanism.SpeaksFirst();
    if (wordsWait && !mechanism.Answer({}, words)) {
        return SaslEnd::kRefused;
    }
    const std::string encoded = words.empty() ? kNothing : Base64Encoded(words);
    if (wordsWait && command.size() + 1 + encoded.size() <= longestCommand) {
        command += " " + encoded;
        logged += std::string(" ") + kLoggedAnswer;
        wordsWait = false;
    }
    SaslReply reply = exchange(command, logged);
    for (int i = 0; reply.kind == SaslReply::kChallenge && i < kMostChallenges; ++i) {
        if (wordsWait) {
            wordsWait = false;
        } else if (!mechanism.Answer(Base64Decoded(reply.challenge), words)) {
            exchange(kCancel, kCancel);
            return SaslEnd::kRefused;
        }
        reply = exchange(Base64Encoded(words), kLoggedAnswer);
    }
    return endOf(reply, mechanism);
}

}  // namespace tessolt
