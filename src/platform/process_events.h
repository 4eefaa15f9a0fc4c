/// What a long-running program hears from outside while it waits.
#pragma once

#include <cstdint>
#include <initializer_list>

namespace platform {

/// The signals that ask a service to end or to read its settings again, taken one by one instead of
/// interrupting. Made before the first thread starts.
class SignalQueue {
public:
    enum class Request { kNone, kStop, kReload };

    /// Holds SIGTERM, SIGINT and SIGHUP back from every thread made later, and ignores SIGPIPE.
    SignalQueue();
    ~SignalQueue();
    SignalQueue(const SignalQueue&) = delete;
    SignalQueue& operator=(const SignalQueue&) = delete;

    /// Readable when a signal has come.
    int handle() const { return fd_; }
    /// The next request, without waiting.
    Request take();

private:
    int fd_ = -1;
};

/// Lets one thread end the wait of another.
class Wakeup {
public:
    Wakeup();
    ~Wakeup();
    Wakeup(const Wakeup&) = delete;
    Wakeup& operator=(const Wakeup&) = delete;

    /// Readable from `ring` until `clear`.
    int handle() const { return fd_; }
    void ring();
    void clear();

private:
    int fd_ = -1;
};

/// Waits until one of the handles can be read from, for at most `milliseconds`. Negative handles
/// count as none.
void waitForAny(std::initializer_list<int> handles, std::uint32_t milliseconds);

/// Tells the service manager, if there is one, how the service is (sd_notify(3)): lines like
/// "READY=1" or "STATUS=text", joined by LF.
void notifyServiceManager(const char* state);
/// How often in milliseconds the service manager wants to hear "WATCHDOG=1", 0 for never: half of
/// the time after which it would step in.
std::uint32_t watchdogInterval();

/// Whether the stream of that number is a terminal.
bool isTerminal(int stream);

}  // namespace platform
