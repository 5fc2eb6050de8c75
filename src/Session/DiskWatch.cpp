#include "Session/DiskWatch.h"

#include <utility>

namespace tavro {

namespace {

constexpr std::chrono::seconds interval{2}; // a busy take writes some 15 MB in it

} // namespace

DiskWatch::DiskWatch(std::filesystem::path watched, Available freeBytes)
    : folder(std::move(watched))
    , available(std::move(freeBytes)) {
    timer.setInterval(interval);
}

std::optional<DiskWatch::Bytes> DiskWatch::availableTo(const std::filesystem::path& folder) {
    std::error_code failed;
    const auto space = std::filesystem::space(folder, failed);
    return failed ? std::nullopt : std::optional(space.available);
}

std::optional<DiskWatch::Bytes> DiskWatch::tooFewToBegin() const {
    const auto free = available(folder);
    return free && *free < neededToBegin ? free : std::nullopt;
}

void DiskWatch::watch(std::function<Bytes()> takeSize, std::function<void(Bytes)> onShortage) {
    timer.disconnect();
    timer.callOnTimeout([this, takeSize = std::move(takeSize), onShortage = std::move(onShortage)] {
        const auto free = available(folder);
        if (!free || *free >= reserve + takeSize())
            return;
        timer.stop();
        onShortage(*free);
    });
    timer.start();
}

} // namespace tavro
