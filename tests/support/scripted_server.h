#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace support {

/// The descriptor of this process's socket that is connected to a port of this machine, or -1.
int socketTo(std::uint16_t port);

/// In which pieces a server hands its bytes to the network.
enum class Delivery { kWhole, kLines, kBytes };

/// The server's end of a conversation: a connection, or a TLS channel on one. Once the peer or the
/// server has ended it, every operation returns at once.
class ServerStream {
public:
    virtual ~ServerStream() = default;
    /// Sends all of `text`. False once the stream has ended.
    virtual bool send(std::string_view text) = 0;
    /// Waits; ends early when the server is stopped.
    virtual void delay(std::chrono::milliseconds time) = 0;
    /// Ends the connection in order, or by a reset.
    virtual void drop() = 0;
    virtual void reset() = 0;

    /// Sends `piece` again and again until `totalBytes` have gone out.
    void flood(std::string_view piece, std::size_t totalBytes);
    /// The next line without its CR LF or LF, empty once the stream has ended.
    std::string readLine();
    /// Everything up to and with `end`, or what came until the stream ended.
    std::string readUntil(std::string_view end);
    /// The number of bytes asked for, or what came.
    std::string readBytes(std::size_t count);
    /// What came and was not read yet, at least a byte of it; empty once the stream has ended.
    std::string readSome();
    /// Says nothing more, but reads, until the peer has gone or the server is stopped.
    void stall();
    /// Everything that was received so far.
    const std::string& received() const { return received_; }

protected:
    /// Waits for bytes and appends them to `received_`. False once the stream has ended.
    virtual bool readMore() = 0;

    std::string received_;

private:
    std::size_t handedOut_ = 0;
};

/// The server's end of one TCP connection.
class ScriptedConnection : public ServerStream {
public:
    ScriptedConnection(int socket, int wake) : socket_(socket), wake_(wake) {}
    ~ScriptedConnection() override { ScriptedConnection::drop(); }
    ScriptedConnection(const ScriptedConnection&) = delete;
    ScriptedConnection& operator=(const ScriptedConnection&) = delete;

    bool send(std::string_view text) override;
    void delay(std::chrono::milliseconds time) override;
    void drop() override;
    void reset() override;
    /// Leaves what the peer sends in the socket until the server is stopped.
    void readNothing();
    void setDelivery(Delivery delivery) { delivery_ = delivery; }

private:
    bool readMore() override;
    bool isOpen() const { return socket_ >= 0; }
    bool waitFor(short events, int milliseconds);
    bool sendPiece(std::string_view piece);

    int socket_;
    int wake_;
    Delivery delivery_ = Delivery::kWhole;
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
    /// What each connection that has ended had received, from `count` of them on or after 5
    /// seconds.
    std::vector<std::string> receivedBy(std::size_t count) const;

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
/// gets an error reply and ends the dialog. The connection stays open until the peer ends it.
ScriptedServer::Script dialog(std::string greeting, std::vector<DialogStep> steps);

/// A server that says yes to whatever a transaction needs; `data` gets what each DATA brings.
ScriptedServer::Script politeSmtp(std::string* data = nullptr);

/// A loopback port on which nothing listens.
std::uint16_t unusedPort();

}  // namespace support
