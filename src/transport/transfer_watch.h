#pragma once

#include <cstdint>

namespace tessolt {

/// Tells an observer how far a transfer has come, and asks it whether to go on. Without an
/// observer, or outside of a transfer, it does nothing.
class TransferWatch {
public:
    /// Gets the bytes that went over and those in all, 0 when nobody knows; gives 0 to go on.
    using Observer = std::int32_t (*)(void* context, std::uint64_t done, std::uint64_t all);

    /// How often the observer is asked, in milliseconds.
    static constexpr std::uint32_t kInterval = 50;

    /// Null for none. `context` goes to the observer as it is.
    void SetObserver(Observer observer, void* context);
    bool HasObserver() const { return observer_ != nullptr; }

    /// A transfer of so many bytes begins.
    void Begin(std::uint64_t all);
    /// So many more bytes went over.
    void Advance(std::uint64_t bytes) { done_ += bytes; }
    /// Asks the observer when it is time. False once it has cancelled, up to the end.
    bool GoesOn();
    /// The transfer has ended; a whole one is told as such. False when the observer has cancelled
    /// it before.
    bool End(bool isWhole);
    /// Whether the last transfer was cancelled.
    bool WasCancelled() const { return isCancelled_; }

    /// A wait cut so short that the observer is asked in time.
    std::uint32_t Slice(std::uint32_t milliseconds) const;

private:
    void Ask();

    Observer observer_ = nullptr;
    void* context_ = nullptr;
    std::uint64_t done_ = 0;
    std::uint64_t all_ = 0;
    std::uint32_t askedAt_ = 0;
    bool isActive_ = false;
    bool isCancelled_ = false;
};

}  // namespace tessolt
