#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace support {

/// In which pieces a server hands its bytes to the network.
enum class Delivery { kWhole, kLines, kBytes };

/// The server's end of one connection, as a script sees it. Once the peer or the server has ended
/// the connection, every operation returns at once.
class ScriptedConnection {
public:
    ScriptedConnection(int socket, int wake) : socket_(socket), wake_(wake) {}
    ~ScriptedConnection();
    ScriptedConnection(const ScriptedConnection&) = delete;
    ScriptedConnection& operator=(const ScriptedConnection&) = delete;

    /// Sends all of `text` in the pieces of the connection's delivery. False once it has ended.
    bool send(std::string_view text);
    /// Sends `piece` again and again until `totalBytes` have gone out.
    bool flood(std::string_view piece, std::size_t totalBytes);
    /// The next line without its CR LF or LF, empty once the connection has ended.
    std::string readLine();
    /// Everything up to and with `end`, or what came until the connection ended.
    std::string readUntil(std::string_view end);
    /// What came and was not read yet, at least a byte of it; empty once the connection has ended.
    std::string readSome();
    /// Waits; ends early when the server is stopped.
    void delay(std::chrono::milliseconds time);
    /// Says nothing more until the peer ends the connection or the server is stopped. What the peer
    /// sends is read and recorded, or with `readNothing` left in the socket.
    void stall(bool readNothing = false);
    /// Ends the connection in order.
    void drop();
    /// Ends the connection by a reset.
    void reset();

    bool isOpen() const { return socket_ >= 0; }
    /// Everything that was received so far.
    const std::string& received() const { return received_; }
    void setDelivery(Delivery delivery) { delivery_ = delivery; }

private:
    bool waitFor(short events, int milliseconds);
    bool sendPiece(std::string_view piece);
    bool readMore();

    int socket_;
    int wake_;
    Delivery delivery_ = Delivery::kWhole;
    std::string received_;
    std::size_t handedOut_ = 0;
};

/// A TCP server on a free loopback port with a thread of its own. The thread takes one connection
/// after the other and runs the script on each, then closes it.
class ScriptedServer {
public:
    using Script = std::function<void(ScriptedConnection&)>;

    explicit ScriptedServer(Script script, Delivery delivery = Delivery::kWhole);
    /// Stops whatever the script waits for and joins the thread.
    ~ScriptedServer();
    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;

    std::uint16_t port() const { return port_; }
    void stop();
    /// What each connection that has ended had received.
    std::vector<std::string> received() const;
    /// Waits until `count` connections have ended, and returns what they had received.
    std::vector<std::string> receivedBy(
        std::size_t count, std::chrono::milliseconds limit = std::chrono::seconds(5)) const;

private:
    void run();

    Script script_;
    Delivery delivery_;
    int listener_ = -1;
    int wake_ = -1;
    std::uint16_t port_ = 0;
    mutable std::mutex mutex_;
    std::vector<std::string> received_;
    std::thread thread_;
};

/// One step of a dialog: a line that begins with `expect` (in any case) gets `reply`, which is sent
/// as it stands.
struct DialogStep {
    std::string expect;
    std::string reply;
};

/// Sends `greeting`, then answers line by line. A line that doesn't begin as the next step expects
/// gets `mismatchReply` and ends the dialog. The connection stays open until the peer ends it.
ScriptedServer::Script dialog(std::string greeting, std::vector<DialogStep> steps,
                              std::string mismatchReply = "500 unexpected\r\n");

/// A loopback port on which nothing listens.
std::uint16_t unusedPort();

}  // namespace support
