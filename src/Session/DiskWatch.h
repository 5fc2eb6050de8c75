#pragma once

#include <QTimer>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>

namespace tavro {

/// Watches the free space of the file system that takes are written to, so that each can be completed: its
/// end needs as much space again. Main thread.
class DiskWatch {
public:
    using Bytes = std::uintmax_t;
    /// Free bytes at a folder; empty when they are not known.
    using Available = std::function<std::optional<Bytes>(const std::filesystem::path&)>;

    static constexpr Bytes neededToBegin = 1'000'000'000;
    static constexpr Bytes reserve = 300'000'000; ///< beyond the size of the take

    explicit DiskWatch(std::filesystem::path folder, Available available = &DiskWatch::availableTo);

    /// The free bytes, when they are too few to begin a take.
    std::optional<Bytes> tooFewToBegin() const;

    /// Looks every two seconds, from now on. Calls `onShortage` once, with the free bytes, when they are too
    /// few to go on. `takeSize` tells the bytes of the take so far.
    void watch(std::function<Bytes()> takeSize, std::function<void(Bytes free)> onShortage);
    void stop() { timer.stop(); }

private:
    static std::optional<Bytes> availableTo(const std::filesystem::path& folder);

    const std::filesystem::path folder;
    const Available available;
    QTimer timer;
};

} // namespace tavro
