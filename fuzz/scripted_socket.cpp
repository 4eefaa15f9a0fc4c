#include "scripted_socket.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

#include "harness.h"
#include "platform/socket.h"
#include "platform/socket_address.h"
#include "platform/wait_hook.h"

namespace fuzz {
namespace {

constexpr platform::SocketHandle kTheSocket = 1'000'000;
constexpr std::string_view kMarks = "\x1C\x1D\x1E\x1F";

Peer* peerInUse = nullptr;
/// What the peer said when it was asked last, unless that was bytes.
Peer::Answer lastAnswer = Peer::Answer::kNothingYet;

}  // namespace

Peer::Answer ScriptedPeer::give(char* buffer, std::size_t size, std::size_t& given) {
    given = 0;
    if (script_.empty()) {
        return Answer::kClosed;
    }
    const std::size_t most = std::min(byteWise_ ? 1 : size, script_.size());
    given = std::min(script_.find_first_of(kMarks), most);
    std::memcpy(buffer, script_.data(), given);
    script_.remove_prefix(given);
    if (given > 0) {
        return Answer::kBytes;
    }
    switch (kMarks.find(script_.front())) {
        case 0:
            return Answer::kReset;
        case 3:
            return Answer::kSilence;
        default:
            break;
    }
    // A client that waits without having sent anything gets the next turn all the same.
    const bool isTurn = script_.front() == kMarks[1];
    if (!isTurn || hasAsked_ || waited_) {
        hasAsked_ = hasAsked_ && !isTurn;
        waited_ = false;
        script_.remove_prefix(1);
    } else {
        waited_ = true;
    }
    return Answer::kNothingYet;
}

void ScriptedPeer::take(std::string_view bytes) {
    received_ += bytes;
    hasAsked_ = true;
}

void requireCommands(std::string_view sent, std::span<const std::string_view> verbs,
                     std::span<const std::string_view> last) {
    constexpr std::string_view kBase64 =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/=*";
    const std::string whole(sent);
    while (!sent.empty()) {
        const std::size_t end = std::min(sent.find("\r\n"), sent.size());
        const std::string_view line = sent.substr(0, end);
        sent.remove_prefix(std::min(end + 2, sent.size()));
        if (std::find(last.begin(), last.end(), line) != last.end()) {
            return;
        }
        const bool isVerb = std::any_of(verbs.begin(), verbs.end(),
                                        [&](auto verb) { return line.starts_with(verb); });
        const bool isWhole = line.find_first_of(std::string_view("\r\n\0", 3)) == line.npos;
        if (!isWhole || (!isVerb && line.find_first_not_of(kBase64) != line.npos)) {
            std::fprintf(stderr, "sent: %s\n", std::string(line).c_str());
            std::fprintf(stderr, "WHOLE: %s\n", whole.c_str());
            require(false);
        }
    }
}

void connectTo(Peer* peer) {
    peerInUse = peer;
    lastAnswer = Peer::Answer::kNothingYet;
    // Where nothing comes any more, all limits have run out.
    platform::setWaitHook([](void*) { return lastAnswer == Peer::Answer::kSilence ? 1 : 0; },
                          nullptr);
}

}  // namespace fuzz

// Linked before the library, these stand for its own.
namespace platform {

using fuzz::Peer;

int socketErrorNumber(int) {
    return kSocketNetworkDown;
}

int resolverErrorNumber(int) {
    return kSocketHostNotFound;
}

int openSocket(SocketHandle& socket) {
    socket = fuzz::kTheSocket;
    return 0;
}

void closeSocket(SocketHandle& socket) {
    socket = kNoSocket;
}

int resolveHost(const char*, std::uint32_t& address) {
    address = 1;
    return 0;
}

int startConnect(SocketHandle, std::uint32_t, std::uint16_t) {
    return fuzz::peerInUse ? 0 : kSocketConnectionRefused;
}

int connectOutcome(SocketHandle) {
    return 0;
}

bool waitReadable(SocketHandle, std::uint32_t) {
    return !askWaitHook();
}

bool waitWritable(SocketHandle, std::uint32_t) {
    return !askWaitHook();
}

int sendBytes(SocketHandle, const void* bytes, std::size_t size, std::size_t& sent) {
    sent = 0;
    if (!fuzz::peerInUse) {
        return kSocketConnectionReset;
    }
    // Not always all of it, as a network does.
    constexpr std::size_t kMost = 1460;
    sent = std::min(size, kMost);
    fuzz::peerInUse->take({static_cast<const char*>(bytes), sent});
    return 0;
}

int receiveBytes(SocketHandle, void* buffer, std::size_t size, std::size_t& received) {
    received = 0;
    fuzz::lastAnswer = fuzz::peerInUse
                           ? fuzz::peerInUse->give(static_cast<char*>(buffer), size, received)
                           : Peer::Answer::kReset;
    switch (fuzz::lastAnswer) {
        case Peer::Answer::kBytes:
        case Peer::Answer::kClosed:
            return 0;
        case Peer::Answer::kReset:
            return kSocketConnectionReset;
        case Peer::Answer::kNothingYet:
        case Peer::Answer::kSilence:
            break;
    }
    return kSocketWouldBlock;
}

int ReceiveWait::receive(SocketHandle socket, std::uint32_t milliseconds, void* buffer,
                         std::size_t size, std::size_t& received) {
    waitReadable(socket, milliseconds);
    return receiveBytes(socket, buffer, size, received);
}

bool SocketAddress::isIpv6() const {
    return false;
}

int resolveAddresses(const char*, std::uint16_t, std::vector<SocketAddress>& addresses) {
    addresses.emplace_back();
    return 0;
}

int startConnectTo(const SocketAddress&, SocketHandle& socket) {
    socket = fuzz::kTheSocket;
    return fuzz::peerInUse ? 0 : kSocketConnectionRefused;
}

std::size_t waitAnyWritable(const std::vector<SocketHandle>&, std::uint32_t) {
    return 0;
}

bool peerIsLoopback(SocketHandle) {
    return false;
}

}  // namespace platform
